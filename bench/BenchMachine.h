// One machine under measurement: sandbox, broker, carrier and the real process, past its start sequence.
#pragma once

#include "CarrierSimulator/Carrier.h"
#include "tests/e2e/Harness/BusView.h"
#include "tests/e2e/Harness/HalProcess.h"
#include "tests/e2e/Harness/Sandbox.h"
#include "tests/support/Broker.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

class BenchMachine {
public:
    explicit BenchMachine(simulator::CarrierOptions options)
        : broker(BrokerOptions()), bus(broker.Socket()), carrier(std::move(options)), process(StartProcess()) {
        bus.Await("process_ready");
        carrier.SendHeartbeat();
        bus.Await("carrier_info");
    }

    Sandbox sandbox;
    Broker broker;
    BusView bus;
    simulator::Carrier carrier;
    HalProcess process;

private:
    Broker::Options BrokerOptions() const {
        sandbox.Write("/Veltrix/identity.config", R"({"serialNumber":"B1","machineType":"bench","revisionNumber":1})");
        sandbox.Write("/Veltrix/settings.json", "{\n}");
        std::filesystem::create_directories(sandbox.Path("/var"));
        Broker::Options options;
        options.socket = sandbox.Path("/var/veltrix.unix");
        return options;
    }

    HalProcess StartProcess() {
        if (!carrier.Start()) {
            throw std::runtime_error(carrier.Error());
        }
        return HalProcess(sandbox, {"-f", "-u", carrier.DevicePath()});
    }
};
