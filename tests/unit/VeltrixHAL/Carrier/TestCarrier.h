// The carrier interface with its inside open to tests.
#pragma once

#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"
#include "tests/unit/VeltrixHAL/Support/FakeSerial.h"

#include <algorithm>
#include <memory>

class TestCarrier : public CarrierCommInterface {
public:
    using CarrierCommInterface::CarrierCommInterface;

    using CarrierCommInterface::CheckIfCarrierVersionIsValid;
    using CarrierCommInterface::dataReportingEnabled;
    using CarrierCommInterface::MakeFirmwarePayloadReady;
    using CarrierCommInterface::mArcMinThreshold;
    using CarrierCommInterface::mBoardRevision;
    using CarrierCommInterface::mBusinessUnit;
    using CarrierCommInterface::mCarrierAppVersion;
    using CarrierCommInterface::mCarrierBootloaderVersion;
    using CarrierCommInterface::mCarrierHALVersion;
    using CarrierCommInterface::mCarrierIsReadyForFile;
    using CarrierCommInterface::mDefaultArcAmpsMaxThreshold;
    using CarrierCommInterface::mDefaultArcAmpsMinThreshold;
    using CarrierCommInterface::mLowestAcceptedArcMinThreshold;
    using CarrierCommInterface::mOldLedStatus;
    using CarrierCommInterface::mProductId;
    using CarrierCommInterface::mWaitingForLine;
    using CarrierCommInterface::runOnce;
    using CarrierCommInterface::setOnce;
    using CarrierCommInterface::updateFileMutex;

    // What is kept once for the process goes back to how the process starts.
    static void ResetClassState() {
        runOnce = true;
        dataReportingEnabled = false;
        setOnce = true;
        mArcMinThreshold = mDefaultArcAmpsMinThreshold;
        updateFileMutex.clear();
    }

    // A frame that came while `sent` was being waited for.
    e_commError Reply(const FakeSerial::Bytes& frame, CommCommands_t sent) {
        const auto packet = std::make_unique<Packet>();
        packet->Grow(static_cast<unsigned int>(frame.size()));
        std::copy(frame.begin(), frame.end(), static_cast<unsigned char*>(*packet));
        return ProcessResponseFromCarrier(*packet, sent, 0);
    }
};
