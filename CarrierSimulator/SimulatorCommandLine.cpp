#include "CarrierSimulator/SimulatorCommandLine.h"

#include <CLI/CLI.hpp>
#include <map>
#include <vector>

#include "CarrierSimulator/ConsoleCommands.h"

namespace simulator {
namespace {

// Options that CLI11 fills as plain numbers, on their way into the settings.
struct Numbers {
    unsigned int boardRevision = 0;
    std::string imageCheck = "size";
    bool isPlain = false;
    long heartbeatPeriod = 1000;
    long answerDelay = 0;
    long restartTime = 300;
    long faultDelay = 50;
    std::string clock = "now";
    FaultRates rates;
    std::string faultDirection = "both";
};

const std::map<std::string, ImageCheck> kImageChecks = {
    {"none", ImageCheck::None}, {"size", ImageCheck::Size}, {"crc32", ImageCheck::Crc32}};

void AddIdentity(CLI::App& app, SimulatorSettings& settings, Numbers& numbers) {
    CarrierIdentity& identity = settings.carrier.identity;
    const char* group = "Who the carrier is";
    app.add_option("--app-version", identity.appVersion, "Application version text")
        ->capture_default_str()
        ->group(group);
    app.add_option("--boot-version", identity.bootVersion, "Boot-loader version text")
        ->capture_default_str()
        ->group(group);
    app.add_option("--board-revision", numbers.boardRevision, "Board revision, 0 to 255")
        ->check(CLI::Range(0, 255))
        ->capture_default_str()
        ->group(group);
    app.add_option("--hal-version", identity.halVersion, "HAL protocol version in heartbeats")
        ->capture_default_str()
        ->group(group);
    app.add_option("--comm-type", identity.commType, "Communication type in heartbeats")
        ->capture_default_str()
        ->group(group);
    app.add_option("--clock", numbers.clock, "\"now\" (runs) or a time like 2025-03-07T08:05:09Z (stands), UTC")
        ->capture_default_str()
        ->check([](const std::string& text) {
            return text == "now" || TimeRecordFromText(text) ? std::string() : "no time: " + text;
        })
        ->group(group);
    app.add_option("--battery", identity.battery, "Battery voltage in volts")->capture_default_str()->group(group);
}

void AddLine(CLI::App& app, SimulatorSettings& settings, Numbers& numbers) {
    CarrierOptions& carrier = settings.carrier;
    const char* group = "The line";
    auto* link = app.add_option("--link", carrier.link, "Symbolic link to make to the pseudo terminal")->group(group);
    app.add_option("--device", carrier.device, "Serial device to use in place of a pseudo terminal (115200 8N1)")
        ->excludes(link)
        ->group(group);
    app.add_option("--baud", carrier.baud, "Pace of both directions in baud; 0 is as fast as it goes")
        ->capture_default_str()
        ->group(group);
    app.add_option("--answer-delay", numbers.answerDelay, "Milliseconds from a frame's last byte to its answer")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str()
        ->group(group);
    app.add_option("--heartbeat-period", numbers.heartbeatPeriod,
                   "Milliseconds between heartbeats; 0 is on request only")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str()
        ->group(group);
}

void AddFaults(CLI::App& app, SimulatorSettings& settings, Numbers& numbers) {
    const char* group = "Faults of the line (0 never, 1 every frame)";
    app.add_option("--seed", settings.carrier.seed, "Seed of all draws")->capture_default_str()->group(group);
    struct Rate {
        const char* name;
        double FaultRates::*value;
        const char* help;
    };
    for (const Rate& rate : {Rate{"--drop", &FaultRates::drop, "Frames lost"},
                             Rate{"--corrupt", &FaultRates::corrupt, "Frames with a bit flipped"},
                             Rate{"--cut", &FaultRates::cut, "Frames that end early"},
                             Rate{"--duplicate", &FaultRates::duplicate, "Frames that come twice"},
                             Rate{"--delay", &FaultRates::delay, "Frames that come late"},
                             Rate{"--noise", &FaultRates::noise, "Frames with invented bytes before them"},
                             Rate{"--forge", &FaultRates::forge, "Frames with an invented frame before them"}}) {
        app.add_option(rate.name, numbers.rates.*rate.value, rate.help)
            ->check(CLI::Range(0.0, 1.0))
            ->capture_default_str()
            ->group(group);
    }
    app.add_option("--delay-time", numbers.faultDelay, "Milliseconds by which late frames come late")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str()
        ->group(group);
    app.add_option("--fault-direction", numbers.faultDirection, "Frames that suffer, as seen from the carrier")
        ->check(CLI::IsMember({"both", "received", "sent"}))
        ->capture_default_str()
        ->group(group);
}

void AddFirmware(CLI::App& app, SimulatorSettings& settings, Numbers& numbers) {
    const char* group = "Firmware";
    app.add_option("--image-check", numbers.imageCheck,
                   "How a received file is judged: none, size, or crc32 (size and CRC-32 in its last four bytes)")
        ->check(CLI::IsMember(kImageChecks))
        ->capture_default_str()
        ->group(group);
    app.add_option("--next-version", settings.carrier.nextAppVersion, "Application version after an update")
        ->group(group);
    app.add_option("--next-boot-version", settings.carrier.nextBootVersion, "Boot-loader version after an update")
        ->group(group);
    app.add_option("--restart-time", numbers.restartTime, "Milliseconds that a restart takes")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str()
        ->group(group);
}

void AddOutput(CLI::App& app, SimulatorSettings& settings, Numbers& numbers) {
    const char* group = "Output";
    app.add_flag("--quiet,-q", settings.isQuiet, "No line for each frame")->group(group);
    app.add_flag("--no-color", numbers.isPlain, "No colours (there are none where no terminal is)")->group(group);
    app.add_flag("--exit-on-eof", settings.endsWithInput, "End when standard input ends")->group(group);
}

void Settle(SimulatorSettings& settings, const Numbers& numbers) {
    CarrierOptions& carrier = settings.carrier;
    settings.isColoured = !numbers.isPlain;
    carrier.identity.boardRevision = static_cast<uint8_t>(numbers.boardRevision);
    carrier.firmware.check = kImageChecks.at(numbers.imageCheck);
    // Nobody asks the program for what is past.
    carrier.firmware.keptImages = 0;
    carrier.logLimit = 0;
    carrier.heartbeatPeriod = Milliseconds(numbers.heartbeatPeriod);
    carrier.answerDelay = Milliseconds(numbers.answerDelay);
    carrier.restartTime = Milliseconds(numbers.restartTime);
    carrier.clock = numbers.clock == "now" ? std::nullopt : TimeRecordFromText(numbers.clock);
    FaultRates rates = numbers.rates;
    rates.delayTime = Milliseconds(numbers.faultDelay);
    if (numbers.faultDirection != "sent") {
        carrier.receiveFaults = rates;
    }
    if (numbers.faultDirection != "received") {
        carrier.sendFaults = rates;
    }
}

}  // namespace

std::optional<SimulatorSettings> ReadCommandLine(int argc, char** argv, int& status) {
    SimulatorSettings settings;
    Numbers numbers;
    numbers.boardRevision = settings.carrier.identity.boardRevision;
    CLI::App app("The carrier at the far end of the module's UART, on a pseudo terminal.");
    app.footer("Commands on standard input:\n" + ConsoleHelp());
    AddIdentity(app, settings, numbers);
    AddLine(app, settings, numbers);
    AddFaults(app, settings, numbers);
    AddFirmware(app, settings, numbers);
    AddOutput(app, settings, numbers);
    CLI::App* image = app.add_subcommand("make-image", "Write a random firmware file with a good CRC-32 at its end");
    image->add_option("FILE", settings.imagePath, "File to write")->required();
    image->add_option("SIZE", settings.imageSize, "Its size in bytes, the four of the CRC-32 included")->required();
    image->add_option("--seed", settings.carrier.seed, "Seed of its bytes")->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        status = app.exit(error);
        return std::nullopt;
    }
    settings.isMakingImage = image->parsed();
    Settle(settings, numbers);
    return settings;
}

}  // namespace simulator
