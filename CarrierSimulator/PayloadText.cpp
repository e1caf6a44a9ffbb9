#include "CarrierSimulator/PayloadText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <span>

#include "CarrierSimulator/CarrierClock.h"
#include "CarrierSimulator/CarrierCommand.h"

namespace simulator {
namespace {

using Payload = std::span<const uint8_t>;

constexpr std::size_t kShownBytes = 32;

unsigned int Word(Payload payload, std::size_t offset) {
    return payload[offset] + 256U * payload[offset + 1];
}

std::string Text(Payload payload) {
    std::string text = "\"";
    for (const uint8_t byte : payload) {
        if (byte != 0) {
            text += std::isprint(byte) != 0 ? static_cast<char>(byte) : '.';
        }
    }
    return text + '"';
}

std::string Time(Payload payload) {
    TimeRecord time{};
    std::copy_n(payload.begin(), std::min(payload.size(), time.size()), time.begin());
    return TextOf(time);
}

std::string Battery(Payload payload) {
    const uint32_t bits =
        payload[0] | uint32_t{payload[1]} << 8U | uint32_t{payload[2]} << 16U | uint32_t{payload[3]} << 24U;
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%g V", static_cast<double>(std::bit_cast<float>(bits)));
    return text.data();
}

std::string OnOff(Payload payload) {
    return payload[0] != 0 ? "on" : "off";
}
std::string Number(Payload payload) {
    return std::to_string(payload[0]);
}
std::string Nack(Payload payload) {
    return NackName(payload[0]);
}
std::string SdCard(Payload payload) {
    return payload[0] != 0 ? "mounted" : "not mounted";
}

std::string Heartbeat(Payload payload) {
    return "HAL " + std::to_string(Word(payload, 0)) + ", comm " + std::to_string(Word(payload, 2));
}

const char* DestinationName(uint8_t destination) {
    constexpr std::array<const char*, 4> kNames = {"application hex", "boot loader hex", "application bin",
                                                   "boot loader bin"};
    return destination < kNames.size() ? kNames[destination] : "unknown destination";
}

std::string FileStart(Payload payload) {
    const std::size_t size = Word(payload, 1) + std::size_t{65536} * Word(payload, 3);
    return std::string(DestinationName(payload[0])) + ", " + std::to_string(size) + " bytes";
}
std::string FileApply(Payload payload) {
    return DestinationName(payload[0]);
}

std::string Phase(Payload payload) {
    constexpr std::array<const char*, 8> kPhases = {"",
                                                    "boot loader is being sent",
                                                    "application is being sent",
                                                    "application is about to be applied",
                                                    "application applied",
                                                    "end",
                                                    "clear",
                                                    "failed"};
    const unsigned int phase = Word(payload, 0);
    const std::string meaning = phase >= 1 && phase < kPhases.size() ? kPhases[phase] : "unknown";
    return "phase " + std::to_string(phase) + " (" + meaning + ")";
}

std::string Admin(Payload payload) {
    return "until " + Time(payload.first(8)) + ", console " + OnOff(payload.subspan(8)) + ", shell " +
           OnOff(payload.subspan(9));
}

template <std::size_t N>
std::string Named(Payload payload, const std::array<const char*, N>& names) {
    std::string text;
    for (std::size_t index = 0; index < std::min(payload.size(), N); ++index) {
        text += (index == 0 ? "" : ", ") + std::string(names[index]) + " " + std::to_string(payload[index]);
    }
    return text;
}
std::string Leds(Payload payload) {
    constexpr std::array<const char*, 9> kNames = {"cloud green", "cloud yellow",   "WiFi green",
                                                   "WiFi yellow", "Ethernet green", "Ethernet yellow",
                                                   "USB green",   "operator green", "operator yellow"};
    return Named(payload, kNames);
}
std::string Tessimor(Payload payload) {
    constexpr std::array<const char*, 9> kNames = {
        "10 kHz",        "current sensor", "wire feed", "gas", "gas type", "before weld (0.1 s)", "after weld (0.1 s)",
        "weld end (ms)", "weld start (A)"};
    return Named(payload, kNames);
}

struct Row {
    uint8_t command;
    std::size_t minimum;  // payload bytes, below which nothing can be said
    std::size_t maximum;
    std::string (*meaning)(Payload);
};

constexpr std::array kRows = {
    Row{command::kNack, 1, 1, Nack},
    Row{command::kFileTransferStart, 5, 5, FileStart},
    Row{command::kFileTransferApply, 1, 1, FileApply},
    Row{command::kCarrierAlive, 6, 6, Heartbeat},
    Row{command::kDataTransmitEnable, 1, 1, OnOff},
    Row{command::kGetVBat, 4, 4, Battery},
    Row{command::kSetRtc, 8, 8, Time},
    Row{command::kGetRtc, 8, 8, Time},
    Row{command::kBoardRevision, 1, 1, Number},
    Row{command::kErrorMessage, 1, kMaxPayload, Text},
    Row{command::kUsbActivity, 1, 1, OnOff},
    Row{command::kAdminAccess, 10, 10, Admin},
    Row{command::kCurrentSensorSelection, 1, 1, Number},
    Row{command::kUpdatePhase, 2, 2, Phase},
    Row{command::kSdCardStatus, 1, 1, SdCard},
    Row{command::kSetStrovanelLedSettings, 1, 9, Leds},
    Row{command::kSetTessimorSettings, 9, 9, Tessimor},
};

bool IsPrintable(Payload payload) {
    return payload.size() > 2 && std::all_of(payload.begin(), payload.end(),
                                             [](uint8_t byte) { return byte == 0 || std::isprint(byte) != 0; });
}

}  // namespace

std::string PayloadMeaning(const FrameRecord& record) {
    // An answer carries what the command asked for.
    const bool isAck = record.command == command::kAck;
    const uint8_t code = isAck ? record.answerTo.value_or(record.command) : record.command;
    const auto row = std::find_if(kRows.begin(), kRows.end(), [code](const Row& each) { return each.command == code; });
    const bool isKnown =
        row != kRows.end() && record.payload.size() >= row->minimum && record.payload.size() <= row->maximum;
    if (isKnown) {
        return row->meaning(record.payload);
    }
    return isAck && IsPrintable(record.payload) ? Text(record.payload) : std::string();
}

std::string FrameText(const FrameRecord& record) {
    std::string text = record.direction == Direction::Received ? "<- " : "-> ";
    if (record.IsFrame()) {
        text += CommandName(record.command);
        if (!record.payload.empty()) {
            text += " [" + std::to_string(record.payload.size()) + "] " + HexText(record.payload, kShownBytes);
        }
        const std::string meaning = PayloadMeaning(record);
        text += meaning.empty() ? "" : " = " + meaning;
    } else {
        text += std::string("(") + KindName(record.kind) + ") [" + std::to_string(record.raw.size()) + "] " +
                HexText(record.raw, kShownBytes);
    }
    if (record.isLost) {
        text += record.direction == Direction::Received ? " (not heard)" : " (nobody there)";
    }
    return text;
}

}  // namespace simulator
