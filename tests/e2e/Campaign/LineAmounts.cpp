#include "tests/e2e/Campaign/LineAmounts.h"

#include <algorithm>
#include <array>

namespace {

struct Amount {
    const char* name;
    std::size_t LineAmounts::*value;
};

constexpr std::array kAmounts = {
    Amount{"faults from the module", &LineAmounts::faultsFromModule},
    Amount{"faults to the module", &LineAmounts::faultsToModule},
    Amount{"bus messages", &LineAmounts::busMessages},
    Amount{"acknowledged commands of the carrier", &LineAmounts::carrierCommands},
    Amount{"acknowledged errors of the carrier", &LineAmounts::carrierErrors},
    Amount{"switches of data reporting", &LineAmounts::reportingSwitches},
    Amount{"updates begun", &LineAmounts::updatesBegun},
    Amount{"updates ended", &LineAmounts::updatesEnded},
    Amount{"packets of updates", &LineAmounts::updatePackets},
};

std::size_t CountHeard(const std::vector<simulator::FrameRecord>& heard, std::uint8_t command) {
    return static_cast<std::size_t>(std::count_if(heard.begin(), heard.end(), [command](const auto& record) {
        return record.kind == simulator::LineItem::Kind::Frame && record.command == command;
    }));
}

}  // namespace

LineAmounts LineAmounts::Of(Machine& machine, const BusyLife& life) {
    LineAmounts amounts;
    amounts.faultsFromModule = machine.Carrier().Faults().Counts(simulator::Direction::Received).Total();
    amounts.faultsToModule = machine.Carrier().Faults().Counts(simulator::Direction::Sent).Total();
    amounts.busMessages = life.Bus().Sent();
    amounts.carrierCommands = life.Carrier().Acknowledged();
    amounts.carrierErrors = life.Carrier().ErrorsAcknowledged();
    amounts.updatesBegun = life.Firmware().Begun();
    amounts.updatesEnded = life.Firmware().Done() + life.Firmware().Kept();
    const std::vector<simulator::FrameRecord> heard = machine.Carrier().Received();
    amounts.reportingSwitches = CountHeard(heard, simulator::command::kDataTransmitEnable);
    amounts.updatePackets = CountHeard(heard, simulator::command::kFileTransferPacket);
    return amounts;
}

LineAmounts LineAmounts::WithoutUpdates() const {
    LineAmounts amounts = *this;
    amounts.updatesBegun = amounts.updatesEnded = amounts.updatePackets = 0;
    return amounts;
}

LineAmounts& LineAmounts::operator+=(const LineAmounts& other) {
    for (const Amount& amount : kAmounts) {
        this->*amount.value += other.*amount.value;
    }
    return *this;
}

std::string LineAmounts::Text() const {
    std::string text;
    for (const Amount& amount : kAmounts) {
        text += (text.empty() ? "" : ", ") + std::string(amount.name) + " " + std::to_string(this->*amount.value);
    }
    return text;
}

std::vector<std::string> LineAmounts::MissingFrom(const LineAmounts& least) const {
    std::vector<std::string> missing;
    for (const Amount& amount : kAmounts) {
        if (this->*amount.value < least.*amount.value) {
            missing.push_back(std::string(amount.name) + " " + std::to_string(this->*amount.value) + " of " +
                              std::to_string(least.*amount.value));
        }
    }
    return missing;
}
