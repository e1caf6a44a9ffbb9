#include "tests/e2e/Campaign/CarrierTraffic.h"

namespace {

namespace command = simulator::command;

constexpr std::size_t kLongestTail = 120;
constexpr std::size_t kLongestCommsTest = 200;

// As often as it stands here.
constexpr std::uint8_t kCommands[] = {
    command::kCarrierAlive,        command::kCarrierAlive, command::kCarrierAlive, command::kErrorMessage,
    command::kErrorMessage,        command::kErrorMessage, command::kCommsTest,    command::kCommsTest,
    command::kSdCardStatus,        command::kGetVBat,      command::kGetRtc,       command::kSampleData,
    command::kGetFirmwareVersions,
};

}  // namespace

void CarrierTraffic::SendOne() {
    const std::uint8_t code = kCommands[mChance.Below(std::size(kCommands))];
    ++mSent;
    switch (code) {
        case command::kCarrierAlive:
            mOpen.push_back(mCarrier.SendHeartbeat());
            break;
        case command::kErrorMessage:
            mOpen.push_back(SendError());
            break;
        case command::kCommsTest:
            mOpen.push_back(SendCommsTest());
            break;
        default:
            mOpen.push_back(mCarrier.Send(code));
    }
}

std::uint64_t CarrierTraffic::SendError() {
    std::string text = mName + std::to_string(++mErrors) + " ";
    for (std::size_t rest = mChance.Below(kLongestTail); rest > 0; --rest) {
        text += static_cast<char>('a' + mChance.Below(26));
    }
    return mCarrier.SendError(text);
}

// Any bytes, start bytes among them, behind a number.
std::uint64_t CarrierTraffic::SendCommsTest() {
    const std::string number = mName + std::to_string(mSent) + " ";
    simulator::Bytes payload(number.begin(), number.end());
    for (std::size_t rest = mChance.Below(kLongestCommsTest); rest > 0; --rest) {
        payload.push_back(mChance.OneIn(8) ? simulator::kStartByte : mChance.Byte());
    }
    return mCarrier.Send(command::kCommsTest, std::move(payload));
}

void CarrierTraffic::Settle() {
    while (!mOpen.empty()) {
        const auto outcome = mCarrier.Outcome(mOpen.front());
        if (outcome && !outcome->IsOver()) {
            return;
        }
        if (outcome && outcome->state == simulator::OwnCommand::State::Acked) {
            ++mAcknowledged;
            mErrorsAcknowledged += outcome->command == command::kErrorMessage ? 1U : 0U;
        }
        mOpen.pop_front();
    }
}
