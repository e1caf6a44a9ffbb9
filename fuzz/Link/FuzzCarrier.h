// The carrier interface with its insides in view.
#pragma once

#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include <cstddef>

class FuzzCarrier : public CarrierCommInterface {
public:
    using CarrierCommInterface::CarrierCommInterface;

    // What the process does once in its life, to be done again. Before a FuzzCarrier is made.
    static void ResetProcessState();

    // Demands that all packets are in their places and no mutex is held.
    void CheckAtRest();

    // Whether the next firmware update is turned away.
    static bool IsUpdateBarred() { return updateFileMutex.test(); }

    // Handed on when the frame is whole and right, which is demanded.
    void HandleReceivedPacket(Packet& packet) override;
    e_commError ProcessResponseFromCarrier(Packet& response, CommCommands_t sent, int elapsedMs) override;
};
