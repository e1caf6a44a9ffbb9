#include "CarrierSimulator/FirmwareReceiver.h"

#include "CarrierSimulator/FirmwareImage.h"

namespace simulator {
namespace {

constexpr uint8_t kLastDestination = 3;

// Far beyond any announced size: what keeps sending is cut off here.
constexpr std::size_t kExcess = 1024U * 1024;

}  // namespace

FirmwareReceiver::Refusal FirmwareReceiver::Start(std::span<const uint8_t> payload) {
    if (payload.size() != 5) {
        return nack::kInvalidPayload;
    }
    if (payload[0] > kLastDestination) {
        return nack::kFileTypeUnknown;
    }
    const std::size_t size =
        payload[1] | std::size_t{payload[2]} << 8U | std::size_t{payload[3]} << 16U | std::size_t{payload[4]} << 24U;
    if (size > mOptions.maxFileSize) {
        return nack::kFileSizeTooLarge;
    }
    mStatus.stage = FirmwareStage::Receiving;
    mStatus.destination = payload[0];
    mStatus.announced = size;
    mStatus.received = 0;
    mStatus.packets = 0;
    ++mStatus.starts;
    mReceived.clear();
    mReceived.reserve(size);
    return std::nullopt;
}

FirmwareReceiver::Refusal FirmwareReceiver::Packet(std::span<const uint8_t> payload) {
    if (mStatus.stage != FirmwareStage::Receiving) {
        return nack::kDownloadNotReady;
    }
    if (mReceived.size() + payload.size() > mOptions.maxFileSize + kExcess) {
        return nack::kRxBufferOverflow;
    }
    mReceived.insert(mReceived.end(), payload.begin(), payload.end());
    mStatus.received = mReceived.size();
    ++mStatus.packets;
    return std::nullopt;
}

// An end that comes again, because its answer was lost, gets the same answer.
FirmwareReceiver::Refusal FirmwareReceiver::End() {
    if (mStatus.stage == FirmwareStage::Verified) {
        return std::nullopt;
    }
    if (mStatus.stage == FirmwareStage::Idle) {
        return nack::kDownloadNotReady;
    }
    if (!IsGood()) {
        GiveUp();
        return mOptions.mismatchCode;
    }
    mStatus.stage = FirmwareStage::Verified;
    ++mStatus.goodEnds;
    return std::nullopt;
}

void FirmwareReceiver::GiveUp() {
    mStatus.stage = FirmwareStage::Idle;
    ++mStatus.badEnds;
}

bool FirmwareReceiver::IsGood() const {
    switch (mOptions.check) {
        case ImageCheck::None:
            return true;
        case ImageCheck::Size:
            return mReceived.size() == mStatus.announced;
        case ImageCheck::Crc32:
            break;
    }
    return mReceived.size() == mStatus.announced && HasGoodTrailer(mReceived);
}

FirmwareReceiver::Refusal FirmwareReceiver::Apply(std::span<const uint8_t> payload) {
    if (payload.size() != 1) {
        return nack::kInvalidPayload;
    }
    if (mStatus.stage != FirmwareStage::Verified) {
        return nack::kDownloadNotReady;
    }
    if (payload[0] != mStatus.destination) {
        return nack::kFileTypeUnknown;
    }
    mStatus.stage = FirmwareStage::Idle;
    ++mStatus.applies;
    mApplied.push_back(AppliedImage{mStatus.destination, mReceived});
    if (mApplied.size() > mOptions.keptImages) {
        mApplied.erase(mApplied.begin());
    }
    return std::nullopt;
}

void FirmwareReceiver::Restart() {
    mStatus.stage = FirmwareStage::Idle;
}

const char* StageName(FirmwareStage stage) {
    switch (stage) {
        case FirmwareStage::Receiving:
            return "receiving";
        case FirmwareStage::Verified:
            return "verified";
        case FirmwareStage::Idle:
            break;
    }
    return "idle";
}

}  // namespace simulator
