#include "tests/e2e/Harness/Machine.h"

#include <csignal>
#include <stdexcept>

namespace {

constexpr const char* kSocket = "/var/veltrix.unix";
constexpr const char* kUart = "/dev/ttymxc3";

simulator::CarrierOptions CarrierOptionsOf(const MachineOptions& options, const Sandbox& sandbox) {
    simulator::CarrierOptions carrier = options.carrier;
    carrier.link = sandbox.Path(kUart);
    return carrier;
}

}  // namespace

Machine::Machine(const MachineOptions& options)
    : mOptions(options), mCarrier(CarrierOptionsOf(options, mSandbox)), mLog(mSandbox.Path("/Veltrix/log/HAL.log")) {
    Broker::Options broker;
    broker.socket = mSandbox.Path(kSocket);
    broker.isQueueUnlimited = options.isBusQueueUnlimited;
    mBroker = std::make_unique<Broker>(broker);
    mBus = std::make_unique<BusView>(broker.socket);
    if (options.isCarrierThere && !mCarrier.Start()) {
        throw std::runtime_error("no carrier: " + mCarrier.Error());
    }
    if (options.identity) {
        mSandbox.Write("/Veltrix/identity.config", *options.identity);
    }
    if (options.settings) {
        mSandbox.Write("/Veltrix/settings.json", *options.settings);
    }
}

Machine::~Machine() {
    mHal.reset();
    mCarrier.Stop();
}

HalProcess& Machine::Hal() {
    if (mHal == nullptr) {
        throw std::runtime_error("the process was not started");
    }
    return *mHal;
}

void Machine::Start() {
    mHal = std::make_unique<HalProcess>(mSandbox, mOptions.arguments, mOptions.areErrorsInOut);
}

void Machine::AwaitReady() {
    mBus->Await("process_ready");
}

void Machine::Boot() {
    Start();
    AwaitReady();
}

std::optional<int> Machine::Stop() {
    Hal().Signal(SIGTERM);
    return Hal().WaitForExit();
}

void Machine::ReconnectBus() {
    mBus = std::make_unique<BusView>(mBroker->Socket());
}

void Machine::Greet(std::uint16_t halVersion) {
    const std::size_t from = mBus->Position();
    mCarrier.SendHeartbeat(halVersion, 0);
    mBus->Await("carrier_info", from);
    FlushLine();
}

void Machine::FlushBus() {
    const std::size_t from = mBus->Position();
    mBus->Publish("req_delayed_device_settings", "{}");
    mBus->Await("delayed_device_settings", from);
}

void Machine::FlushLine() {
    const std::size_t from = mLine.Position();
    const std::string text = "flush " + std::to_string(++mFlushes);
    const simulator::Bytes payload(text.begin(), text.end());
    mCarrier.Send(simulator::command::kCommsTest, payload);
    if (!mCarrier.WaitForFrame(simulator::command::kAck, payload, kPatience, from)) {
        throw std::runtime_error("the process does not echo a comms test");
    }
}

std::string Machine::Report() {
    std::string report = "log:\n" + mLog.Text();
    if (mHal != nullptr) {
        report += "\nstandard output:\n" + mHal->Out().Text() + "\nstandard error:\n" + mHal->Err().Text();
    }
    return report + "\nline:\n" + mLine.Trace() + "\nbus:\n" + mBus->Trace();
}

std::string Machine::FindRootInTexts() {
    std::string found;
    const auto look = [&](const std::string& text, const char* where) {
        if (text.find(mSandbox.Root()) != std::string::npos) {
            found += std::string(where) + " ";
        }
    };
    look(mLog.Text(), "log");
    if (mHal != nullptr) {
        look(mHal->Out().Text(), "standard output");
        look(mHal->Err().Text(), "standard error");
    }
    return found;
}
