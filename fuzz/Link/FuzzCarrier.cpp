#include "fuzz/Link/FuzzCarrier.h"

#include "VeltrixHAL/HalGlobals.h"
#include "fuzz/Support/Check.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"

#include <pthread.h>

#include <ctime>

namespace {

class FramerProbe : public PacketFramer {
public:
    static Packet* PacketOf(const PacketFramer& framer) { return framer.*(&FramerProbe::mPacketPtr); }
    static unsigned int StateOf(const PacketFramer& framer) { return framer.*(&FramerProbe::mState); }
};

// std::mutex leaves open what happens to the thread that tries a mutex of its own; POSIX says that it is refused.
bool IsFree(std::mutex& mutex) {
    if (::pthread_mutex_trylock(mutex.native_handle()) != 0) {
        return false;
    }
    FUZZ_CHECK(::pthread_mutex_unlock(mutex.native_handle()) == 0);
    return true;
}

void CheckFrame(Packet& packet) {
    const unsigned char* const bytes = packet;
    const FrameBuilder::Bytes frame(bytes, bytes + packet.Size());
    FUZZ_CHECK(frame.size() >= 6);
    const std::size_t length = frame[2] + 256U * frame[3];
    FUZZ_CHECK(frame.size() == (length == 0 ? 6 : 6 + length + 2));
    const FrameBuilder::Bytes payload(frame.begin() + 6, frame.begin() + 6 + static_cast<std::ptrdiff_t>(length));
    FUZZ_CHECK(frame == FrameBuilder::Frame(frame[1], payload));
}

}  // namespace

void FuzzCarrier::ResetProcessState() {
    runOnce = true;
    dataReportingEnabled = false;
    setOnce = true;
    mArcMinThreshold = mDefaultArcAmpsMinThreshold;
    updateFileMutex.clear();
    gKeepRunning = true;
    HalGlobals::gIsWeldInProgress = false;
    HalGlobals::gProcessHealth = 0;
    HalGlobals::gInhibitLEDUpdatesDuringFileTransfer = false;
    HalGlobals::g_batteryVoltage = 0.0F;
    HalGlobals::g_TessimorUpdateTimer = std::time(nullptr) - 1000;
}

void FuzzCarrier::CheckAtRest() {
    FUZZ_CHECK(IsFree(mSerialReadMutex) && IsFree(mSerialWriteMutex));
    FUZZ_CHECK(IsFree(adminAccessMutex) && IsFree(serverCommandsMutex));
    FUZZ_CHECK(FramerProbe::StateOf(mFramer) <= 2);
    Packet* const beingFilled = FramerProbe::PacketOf(mFramer);
    std::size_t found = 0;
    for (Packet& packet : mRawPackets) {
        const bool isFree = mPacketPool.m_available.IndexOf(packet) != SinglyLinkedList::s_invalidIndex;
        FUZZ_CHECK(isFree != (&packet == beingFilled));
        ++found;
    }
    FUZZ_CHECK(found == 6 && mPacketPool.m_available.Count() + (beingFilled != nullptr ? 1 : 0) == 6);
}

void FuzzCarrier::HandleReceivedPacket(Packet& packet) {
    CheckFrame(packet);
    CarrierCommInterface::HandleReceivedPacket(packet);
}

e_commError FuzzCarrier::ProcessResponseFromCarrier(Packet& response, CommCommands_t sent, int elapsedMs) {
    CheckFrame(response);
    const e_commError result = CarrierCommInterface::ProcessResponseFromCarrier(response, sent, elapsedMs);
    FUZZ_CHECK(result >= commError_None && result <= commError_BusyRetry && result != commError_Timeout);
    return result;
}
