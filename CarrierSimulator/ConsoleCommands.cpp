#include "CarrierSimulator/ConsoleCommands.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <optional>

#include "CarrierSimulator/CarrierCommand.h"

namespace simulator {
namespace {

// Cuts the first word off the text.
std::string_view NextWord(std::string_view& text) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t\r"), text.size());
    text.remove_prefix(begin);
    const std::string_view word = text.substr(0, std::min(text.find_first_of(" \t\r"), text.size()));
    text.remove_prefix(word.size());
    return word;
}

// What is left of the line, without the blanks around it.
std::string Rest(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin));
}

// The next word as a number of this type; the fallback when there is none; nothing when it is no such number.
template <typename Number>
std::optional<Number> NextNumber(std::string_view& arguments, std::optional<Number> fallback = std::nullopt) {
    const std::string_view word = NextWord(arguments);
    if (word.empty()) {
        return fallback;
    }
    Number number{};
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && stop == word.data() + word.size() ? std::optional(number) : std::nullopt;
}

constexpr double kMaxSeconds = 1.0e9;

std::optional<Milliseconds> NextSeconds(std::string_view& arguments) {
    const std::optional<double> seconds = NextNumber<double>(arguments);
    if (!seconds || !(*seconds >= 0) || *seconds > kMaxSeconds) {
        return std::nullopt;
    }
    return Milliseconds(static_cast<int64_t>(*seconds * 1000));
}

ConsoleReply Error(const std::string& what) {
    return {"error: " + what + "\n"};
}

// A command gives nothing when its arguments are wrong; its row then says what they should be.
using Reply = std::optional<ConsoleReply>;
constexpr std::nullopt_t kWrongArguments = std::nullopt;
const ConsoleReply kDone;

using Arguments = std::string_view;

// --- The commands; each gets the line behind its name.

Reply SendError(Arguments arguments, Carrier& carrier) {
    carrier.SendError(Rest(arguments));
    return kDone;
}
Reply SendPowerFail(Arguments, Carrier& carrier) {
    carrier.SendPowerFail();
    return kDone;
}
Reply SendReset(Arguments, Carrier& carrier) {
    carrier.SendReset();
    return kDone;
}
Reply SendSdCardQuery(Arguments, Carrier& carrier) {
    carrier.SendSdCardQuery();
    return kDone;
}
Reply SendVersionsRequest(Arguments, Carrier& carrier) {
    carrier.SendVersionsRequest();
    return kDone;
}
Reply SendHeartbeat(Arguments, Carrier& carrier) {
    carrier.SendHeartbeat();
    return kDone;
}
Reply SendCommsTest(Arguments arguments, Carrier& carrier) {
    const std::optional<uint16_t> size = NextNumber<uint16_t>(arguments, uint16_t{16});
    if (!size) {
        return kWrongArguments;
    }
    carrier.SendCommsTest(*size);
    return kDone;
}
Reply SendCommand(Arguments arguments, Carrier& carrier) {
    const std::optional<uint8_t> code = CommandFromText(NextWord(arguments));
    Bytes payload;
    if (!code || !BytesFromHex(arguments, payload)) {
        return kWrongArguments;
    }
    carrier.Send(*code, payload);
    return kDone;
}
Reply SendRaw(Arguments arguments, Carrier& carrier) {
    Bytes bytes;
    if (!BytesFromHex(arguments, bytes) || bytes.empty()) {
        return kWrongArguments;
    }
    carrier.SendRaw(bytes);
    return kDone;
}
Reply Script(Carrier& carrier, const ScriptedFault& fault) {
    carrier.Faults().Script(fault);
    return kDone;
}
Reply NackNext(Arguments arguments, Carrier& carrier) {
    const std::optional<uint8_t> code = NextNumber<uint8_t>(arguments);
    const std::optional<std::size_t> count = NextNumber<std::size_t>(arguments, std::size_t{1});
    if (!code || !count) {
        return kWrongArguments;
    }
    ScriptedFault fault;
    fault.what = ScriptedFault::What::Nack;
    fault.code = *code;
    fault.count = *count;
    return Script(carrier, fault);
}
Reply BusyNext(Arguments arguments, Carrier& carrier) {
    const std::optional<std::size_t> count = NextNumber<std::size_t>(arguments, std::size_t{1});
    const std::optional<unsigned int> interval = NextNumber<unsigned int>(arguments, 20U);
    if (!count || !interval) {
        return kWrongArguments;
    }
    FirmwareFaults faults = carrier.GetFirmwareFaults();
    faults.busyNacks = *count;
    faults.busyPackets = 1;
    faults.busyInterval = Milliseconds(*interval);
    carrier.SetFirmwareFaults(faults);
    return kDone;
}
Reply DropNext(Arguments arguments, Carrier& carrier) {
    const std::optional<std::size_t> count = NextNumber<std::size_t>(arguments, std::size_t{1});
    if (!count) {
        return kWrongArguments;
    }
    ScriptedFault fault;
    fault.where = ScriptedFault::Where::Received;
    fault.what = ScriptedFault::What::Drop;
    fault.count = *count;
    return Script(carrier, fault);
}
Reply DelayNext(Arguments arguments, Carrier& carrier) {
    const std::optional<unsigned int> delay = NextNumber<unsigned int>(arguments);
    const std::optional<std::size_t> count = NextNumber<std::size_t>(arguments, std::size_t{1});
    if (!delay || !count) {
        return kWrongArguments;
    }
    ScriptedFault fault;
    fault.what = ScriptedFault::What::Late;
    fault.delay = Milliseconds(*delay);
    fault.count = *count;
    return Script(carrier, fault);
}
Reply AnswerNextWith(Arguments arguments, Carrier& carrier) {
    const std::optional<uint8_t> code = CommandFromText(NextWord(arguments));
    const std::optional<std::size_t> count = NextNumber<std::size_t>(arguments, std::size_t{1});
    if (!code || !count) {
        return kWrongArguments;
    }
    ScriptedFault fault;
    fault.what = ScriptedFault::What::OtherCommand;
    fault.code = *code;
    fault.count = *count;
    return Script(carrier, fault);
}
Reply SetRates(Arguments arguments, Carrier& carrier) {
    const std::optional<double> rate = NextNumber<double>(arguments);
    if (!rate || !(*rate >= 0 && *rate <= 1)) {
        return kWrongArguments;
    }
    const FaultRates rates{.drop = *rate,
                           .corrupt = *rate,
                           .cut = *rate,
                           .duplicate = *rate,
                           .delay = *rate,
                           .noise = *rate,
                           .forge = *rate};
    carrier.Faults().SetRates(Direction::Received, rates);
    carrier.Faults().SetRates(Direction::Sent, rates);
    return kDone;
}
Reply CleanLine(Arguments, Carrier& carrier) {
    carrier.Faults().Clear();
    carrier.SetFirmwareFaults(FirmwareFaults{});
    return kDone;
}
Reply BeSilent(Arguments arguments, Carrier& carrier) {
    const std::optional<Milliseconds> time = NextSeconds(arguments);
    if (!time) {
        return kWrongArguments;
    }
    carrier.SetSilent(*time);
    return kDone;
}
Reply Restart(Arguments arguments, Carrier& carrier) {
    if (Rest(arguments).empty()) {
        carrier.Restart();
        return kDone;
    }
    const std::optional<Milliseconds> time = NextSeconds(arguments);
    if (!time) {
        return kWrongArguments;
    }
    carrier.Restart(*time);
    return kDone;
}
Reply SetPeriod(Arguments arguments, Carrier& carrier) {
    const std::optional<unsigned int> period = NextNumber<unsigned int>(arguments);
    if (!period) {
        return kWrongArguments;
    }
    carrier.SetHeartbeatPeriod(Milliseconds(*period));
    return kDone;
}
Reply SetBattery(Arguments arguments, Carrier& carrier) {
    const std::optional<float> volts = NextNumber<float>(arguments);
    if (!volts) {
        return kWrongArguments;
    }
    carrier.SetBattery(*volts);
    return kDone;
}
Reply SetClock(Arguments arguments, Carrier& carrier) {
    const std::string text = Rest(arguments);
    const std::optional<TimeRecord> time = TimeRecordFromText(text);
    if (!time && text != "now") {
        return kWrongArguments;
    }
    carrier.SetClock(time);
    return kDone;
}
Reply SetVersion(Arguments arguments, Carrier& carrier) {
    carrier.SetAppVersion(Rest(arguments));
    return kDone;
}
Reply SetNextVersion(Arguments arguments, Carrier& carrier) {
    carrier.SetNextAppVersion(Rest(arguments));
    return kDone;
}
Reply RefuseImage(Arguments arguments, Carrier& carrier) {
    const std::string text = Rest(arguments);
    if (text != "on" && text != "off") {
        return kWrongArguments;
    }
    FirmwareFaults faults = carrier.GetFirmwareFaults();
    faults.corruptEnds = text == "on" ? kAlways : 0;
    carrier.SetFirmwareFaults(faults);
    return kDone;
}

struct Misbehaviour {
    const char* name;
    void (*set)(FirmwareFaults&, std::size_t);
};

constexpr std::array kMisbehaviours = {
    Misbehaviour{"refuse-start", [](FirmwareFaults& faults, std::size_t count) { faults.refuseStarts = count; }},
    Misbehaviour{"never-ready", [](FirmwareFaults& faults, std::size_t count) { faults.isNeverReady = count != 0; }},
    Misbehaviour{"nack-packet",
                 [](FirmwareFaults& faults, std::size_t number) {
                     faults.nackPacket = number;
                     faults.nackPacketTimes = kAlways;
                 }},
    Misbehaviour{"nack-end", [](FirmwareFaults& faults, std::size_t count) { faults.nackEnds = count; }},
    Misbehaviour{"corrupt-end", [](FirmwareFaults& faults, std::size_t count) { faults.corruptEnds = count; }},
    Misbehaviour{"refuse-apply", [](FirmwareFaults& faults, std::size_t count) { faults.refuseApplies = count; }},
    Misbehaviour{"never-back", [](FirmwareFaults& faults, std::size_t count) { faults.isNeverBack = count != 0; }},
};

Reply Misbehave(Arguments arguments, Carrier& carrier) {
    const std::string_view name = NextWord(arguments);
    const std::optional<std::size_t> count = NextNumber<std::size_t>(arguments, std::size_t{1});
    const auto found = std::find_if(kMisbehaviours.begin(), kMisbehaviours.end(),
                                    [name](const Misbehaviour& each) { return each.name == name; });
    if (!count || found == kMisbehaviours.end()) {
        return kWrongArguments;
    }
    FirmwareFaults faults = carrier.GetFirmwareFaults();
    found->set(faults, *count);
    carrier.SetFirmwareFaults(faults);
    return kDone;
}

Reply Show(Arguments, Carrier& carrier) {
    const CarrierStatistics counts = carrier.Statistics();
    std::string text = StateText(carrier.State());
    const auto put = [&text](const char* key, std::size_t value) {
        text += key + (": " + std::to_string(value)) + "\n";
    };
    put("frames_received", counts.framesReceived);
    put("damaged_received", counts.damagedReceived);
    put("bytes_received", counts.bytesReceived);
    put("frames_sent", counts.framesSent);
    put("bytes_sent", counts.bytesSent);
    put("bytes_lost", counts.bytesLost);
    put("acks_received", counts.acksReceived);
    put("nacks_received", counts.nacksReceived);
    put("answers_unexpected", counts.answersUnexpected);
    put("receive_faults", counts.receiveFaults.Total());
    put("send_faults", counts.sendFaults.Total());
    return ConsoleReply{text};
}
Reply Progress(Arguments, Carrier& carrier) {
    const FirmwareStatus firmware = carrier.State().firmware;
    return ConsoleReply{"file " + std::to_string(firmware.received) + "/" + std::to_string(firmware.announced) + "\n"};
}
Reply Help(Arguments, Carrier&) {
    return ConsoleReply{ConsoleHelp()};
}
Reply Quit(Arguments, Carrier&) {
    return ConsoleReply{"", true};
}

struct Row {
    const char* name;
    const char* arguments;
    const char* help;
    Reply (*run)(Arguments, Carrier&);
};

// The one list: what is understood is what the help shows.
constexpr std::array kRows = {
    Row{"heartbeat", "", "send a heartbeat", SendHeartbeat},
    Row{"error", "TEXT", "send an error message", SendError},
    Row{"powerfail", "", "tell of a power failure", SendPowerFail},
    Row{"reset", "", "ask the module to restart", SendReset},
    Row{"sdcard", "", "ask whether an SD card is mounted", SendSdCardQuery},
    Row{"versions", "", "ask for the module's firmware version", SendVersionsRequest},
    Row{"commstest", "[N]", "send N bytes (16) that are to come back", SendCommsTest},
    Row{"send", "COMMAND [HEX]", "send a command, by name or number, with this payload", SendCommand},
    Row{"raw", "HEX", "send these bytes as they are", SendRaw},
    Row{"nack", "CODE [N]", "refuse the next N commands (1; 0 for all) with Nack CODE", NackNext},
    Row{"busy", "[N] [MS]", "N Busy Nacks (1), MS apart (20), before the answer to the next file packet", BusyNext},
    Row{"drop", "[N]", "lose the next N frames (1; 0 for all) from the module", DropNext},
    Row{"late", "MS [N]", "answer the next N commands (1; 0 for all) MS late", DelayNext},
    Row{"answer", "COMMAND [N]", "answer the next N commands (1; 0 for all) with this command", AnswerNextWith},
    Row{"faults", "RATE", "let every kind of fault of the line happen at this rate, 0 to 1", SetRates},
    Row{"clean", "", "end all faults", CleanLine},
    Row{"silence", "S", "send nothing for S seconds (0 ends it)", BeSilent},
    Row{"restart", "[S]", "restart, gone for S seconds", Restart},
    Row{"period", "MS", "heartbeat period; 0 for none", SetPeriod},
    Row{"battery", "V", "set the battery voltage", SetBattery},
    Row{"clock", "TIME", "set the clock: a time like 2025-03-07T08:05:09Z, or \"now\"", SetClock},
    Row{"version", "TEXT", "set the application version", SetVersion},
    Row{"next-version", "TEXT", "set the application version after the next update", SetNextVersion},
    Row{"refuse-image", "on|off", "find every received file corrupt", RefuseImage},
    Row{"misbehave", "refuse-start|never-ready|nack-packet|nack-end|corrupt-end|refuse-apply|never-back [N]",
        "during an update, N times (1); nack-packet: the N-th packet of each file, always", Misbehave},
    Row{"progress", "", "show how much of the file has come", Progress},
    Row{"show", "", "show everything that is known, as \"key: value\" lines", Show},
    Row{"help", "", "show this list", Help},
    Row{"quit", "", "end", Quit},
};

}  // namespace

ConsoleReply RunConsoleCommand(std::string_view line, Carrier& carrier) {
    std::string_view arguments = line;
    const std::string_view name = NextWord(arguments);
    if (name.empty()) {
        return {};
    }
    for (const Row& row : kRows) {
        if (row.name == name) {
            const Reply reply = row.run(arguments, carrier);
            return reply ? *reply : Error(std::string("usage: ") + row.name + " " + row.arguments);
        }
    }
    return Error("unknown command \"" + std::string(name) + "\"; \"help\" lists all");
}

std::string ConsoleHelp() {
    constexpr std::size_t kColumn = 26;
    std::string text;
    for (const Row& row : kRows) {
        std::string left = std::string("  ") + row.name + " " + row.arguments;
        left.resize(std::max(left.size() + 1, kColumn), ' ');
        text += left + row.help + "\n";
    }
    return text;
}

}  // namespace simulator
