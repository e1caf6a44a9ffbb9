// One whole machine: the process under test, its broker, its carrier and its files, away from every other machine.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CarrierSimulator/Carrier.h"
#include "tests/e2e/Harness/BusView.h"
#include "tests/e2e/Harness/CarrierView.h"
#include "tests/e2e/Harness/HalLogFile.h"
#include "tests/e2e/Harness/HalProcess.h"
#include "tests/e2e/Harness/Sandbox.h"
#include "tests/support/Broker.h"

struct MachineOptions {
    // Its link is set by the machine. No heartbeats of its own accord unless a period is given.
    simulator::CarrierOptions carrier;
    // Contents of the two files; nothing for no file.
    std::optional<std::string> identity =
        R"({"serialNumber":"SN-0042","machineType":"Strovanel 9","revisionNumber":7})";
    std::optional<std::string> settings = R"({"Core":0})";
    std::vector<std::string> arguments = {"-f", "-v", "2"};
    bool isCarrierThere = true;
    // Let the broker keep any number of messages for a slow subscriber, instead of its own 1,000.
    bool isBusQueueUnlimited = false;
    // What the process writes to standard error comes to Out, in its place between the rest, and not to Err.
    bool areErrorsInOut = false;
};

// Everything but the process runs from the construction on, so that a test can still lay out files before Start.
// Operations throw std::runtime_error when what they do or wait for does not work out. One thread.
class Machine {
public:
    explicit Machine(const MachineOptions& options = {});
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    // For the process; before Start.
    void AddArguments(const std::vector<std::string>& arguments) {
        mOptions.arguments.insert(mOptions.arguments.end(), arguments.begin(), arguments.end());
    }
    // Starts the process, on the default socket and UART below the sandbox's root.
    void Start();
    // Waits until it has announced that it is ready.
    void AwaitReady();
    // Both.
    void Boot();
    // SIGTERM; the exit status (see HalProcess::WaitForExit).
    std::optional<int> Stop();

    // A new look at the bus, after its broker was away; what was seen before is forgotten.
    void ReconnectBus();

    // The carrier's first heartbeat and everything that follows from it.
    void Greet(std::uint16_t halVersion = 8);

    // When it returns, the process has handled every bus message that was published before: it has answered a question
    // that was put behind them. Not "req_hal_info", which is answered as it arrives.
    void FlushBus();
    // When it returns, the process has handled every frame that the carrier has sent before. Not while it may be
    // waiting for the answer to a command: a frame that comes in place of an answer is refused.
    void FlushLine();

    Sandbox& Files() { return mSandbox; }
    Broker& BusBroker() { return *mBroker; }
    BusView& Bus() { return *mBus; }
    simulator::Carrier& Carrier() { return mCarrier; }
    CarrierView& Line() { return mLine; }
    HalProcess& Hal();
    OutputText& Out() { return Hal().Out(); }
    OutputText& Err() { return Hal().Err(); }
    const HalLogFile& Log() const { return mLog; }

    // What happened on every side, for a test that failed.
    std::string Report();
    // Where the root's own path shows up in what the process said; it should know its paths only as they are on the
    // real machine. Empty for nowhere.
    std::string FindRootInTexts();

private:
    MachineOptions mOptions;
    Sandbox mSandbox;
    std::unique_ptr<Broker> mBroker;
    simulator::Carrier mCarrier;
    CarrierView mLine{mCarrier};
    std::unique_ptr<BusView> mBus;
    HalLogFile mLog;
    std::unique_ptr<HalProcess> mHal;
    unsigned int mFlushes = 0;
};
