// The process ends while its threads still run. Two hundred ends, each in the midst of traffic on the bus and the line.
#include <csignal>
#include <iostream>
#include <memory>
#include <thread>

#include "CarrierSimulator/Carrier.h"
#include "tests/e2e/Campaign/CampaignSeeds.h"
#include "tests/e2e/Campaign/Chance.h"
#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/BusProbe.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::uint64_t kFirstSeed = 6000;
constexpr std::size_t kSideBySide = 25;
constexpr int kRounds = 2;
constexpr milliseconds kLongestStop{6000};
constexpr std::size_t kLongestTrafficMs = 1500;
constexpr std::uint64_t kParts = 4;
constexpr milliseconds kTrafficPeriod{10};

// A process with a carrier of its own, on a bus that it shares.
struct Station {
    explicit Station(const std::string& bus) : carrier(Options(sandbox)) {
        if (!carrier.Start()) {
            throw std::runtime_error(carrier.Error());
        }
        hal = std::make_unique<HalProcess>(sandbox, std::vector<std::string>{"-f", "-v", "2", "-s", bus});
    }

    static simulator::CarrierOptions Options(const Sandbox& sandbox) {
        simulator::CarrierOptions options;
        options.link = sandbox.Path("/dev/ttymxc3");
        options.heartbeatPeriod = milliseconds(40);
        options.logLimit = 1000;
        return options;
    }

    Sandbox sandbox;
    simulator::Carrier carrier;
    std::unique_ptr<HalProcess> hal;
    steady_clock::time_point stopAt;
    steady_clock::time_point stopped;
};

class StopsUnderTrafficTest : public testing::TestWithParam<std::uint64_t> {
protected:
    void SendTraffic(const std::vector<std::unique_ptr<Station>>& stations) {
        mProbe.PublishLater("weld_trace_data", R"({"sequence":1,"data":{"amps":1,"volts":2,"wfs":3}})");
        mProbe.PublishLater("system_led_status", mPass % 2 == 0 ? R"({"ethernetIsUp":true})" : "{}");
        mProbe.PublishLater("led_settings", R"({"wifiGreenLed":7})");
        mProbe.PublishLater("req_hal_info", "{}");
        mProbe.PublishLater("incoming_commands", R"({"arcStartThreshold":12})");
        mProbe.PublishLater("tessimor_settings", "{\"is10KHzRawData\":");
        simulator::Carrier& carrier = stations[mPass++ % stations.size()]->carrier;
        carrier.SendError("E42");
        carrier.SendSdCardQuery();
        carrier.SendRaw({0x0A, 0x01, 0x00, 0x00, 0x00, 0x00});
    }

    void RunRound(Chance& chance) {
        std::vector<std::unique_ptr<Station>> stations;
        for (std::size_t i = 0; i < kSideBySide; ++i) {
            stations.push_back(std::make_unique<Station>(mBroker.Socket()));
        }
        mReady += kSideBySide;
        ASSERT_TRUE(mProbe.WaitFor("process_ready", mReady, std::chrono::seconds(60)));
        for (const auto& station : stations) {
            station->stopAt = steady_clock::now() + milliseconds(chance.Below(kLongestTrafficMs));
        }
        std::size_t left = stations.size();
        while (left > 0) {
            SendTraffic(stations);
            std::this_thread::sleep_for(kTrafficPeriod);
            for (const auto& station : stations) {
                left -= Advance(*station) ? 1U : 0U;
            }
        }
    }

    // True when it has come to its end now.
    static bool Advance(Station& station) {
        const auto now = steady_clock::now();
        const steady_clock::time_point never{};
        if (station.stopped == never && now >= station.stopAt) {
            station.hal->Signal(SIGTERM);
            station.stopped = now;
        }
        if (station.stopped == never || station.stopAt == steady_clock::time_point::max()) {
            return false;
        }
        const bool isOverdue = now - station.stopped > kLongestStop;
        if (station.hal->IsRunning() && !isOverdue) {
            return false;
        }
        station.stopAt = steady_clock::time_point::max();
        EXPECT_FALSE(isOverdue);
        EXPECT_EQ(station.hal->WaitForExit(milliseconds(0)), 0) << station.hal->Err().Text();
        EXPECT_TRUE(station.hal->Out().Has("HAL is down"));
        EXPECT_EQ(station.hal->Err().Text().find("terminate"), std::string::npos) << station.hal->Err().Text();
        return true;
    }

    Broker mBroker;
    BusProbe mProbe{mBroker.Socket()};
    std::size_t mReady = 0;
    std::size_t mPass = 0;
};

// Each part draws by seeds of its own.
TEST_P(StopsUnderTrafficTest, EndWithStatusZero) {
    mProbe.Subscribe("process_ready");
    for (const std::uint64_t first : CampaignSeeds(kFirstSeed, 1)) {
        std::cout << "VELTRIX_CAMPAIGN_SEED=" << first << std::endl;
        SCOPED_TRACE("VELTRIX_CAMPAIGN_SEED=" + std::to_string(first));
        Chance chance(kParts * first + GetParam());
        for (int round = 0; round < kRounds; ++round) {
            RunRound(chance);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(FiftyEach, StopsUnderTrafficTest, testing::Range<std::uint64_t>(0, kParts));

}  // namespace
