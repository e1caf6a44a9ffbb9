// The start of the process with a bus: what it announces, where, and on which UART.
#include <fcntl.h>
#include <sys/file.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <regex>

#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/WaitUntil.h"

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

class StartTest : public EndToEndTest {
protected:
    // What the process itself has sent to the broker, in the order of its arrival: "PUBLISH <topic>",
    // "SUBSCRIBE <topic>".
    static std::vector<std::string> PacketsOfTheProcess(Machine& machine) {
        // The topic of a subscription stands in a line of its own, behind a tab.
        const std::regex packet(
            "Received (?:PUBLISH from VeltrixHAL-\\S+ \\([^']*'([^']*)'|"
            "SUBSCRIBE from VeltrixHAL-\\S+\n[^\n\t]*\t(\\S+))");
        const std::string log = machine.BusBroker().Log();
        std::vector<std::string> packets;
        for (std::sregex_iterator at(log.begin(), log.end(), packet); at != std::sregex_iterator(); ++at) {
            packets.push_back((*at)[1].matched ? "PUBLISH " + at->str(1) : "SUBSCRIBE " + at->str(2));
        }
        return packets;
    }
};

TEST_F(StartTest, AnnouncesItselfInOrder) {
    Machine& machine = BootMachine();
    EXPECT_THAT(machine.Bus().Payloads("hal_info"),
                ElementsAre(R"({"serialNumber":"SN-0042","machineType":"Strovanel 9","revisionNumber":7})"));
    EXPECT_THAT(machine.Bus().Payloads("process_ready"), ElementsAre(R"({"index":512})"));
    EXPECT_EQ(machine.Bus().Position(), 2U) << "the identity and the readiness, nothing else";
    const std::vector<std::string> packets = PacketsOfTheProcess(machine);
    const auto begin = packets.begin();
    const auto ready = std::find(begin, packets.end(), "PUBLISH process_ready");
    ASSERT_EQ(ready - begin, 16) << testing::PrintToString(packets);
    // The bus client puts a publication and a subscription that are asked for one behind the other on the line in
    // either order; but the next subscription is asked for when this one is granted.
    EXPECT_THAT(std::vector<std::string>(begin, begin + 2),
                UnorderedElementsAre("PUBLISH hal_info", "SUBSCRIBE req_hal_info"));
    EXPECT_EQ(*(ready - 1), "SUBSCRIBE req_delayed_device_settings");
    machine.Out().AwaitInOrder({"Running in the foreground", "Running with verbosity level 2.",
                                "Got identity SN-0042 (Strovanel 9) from /Veltrix/identity.config",
                                "Wait a few moments before using UART"});
    machine.Log().AwaitInOrder(
        {"[info] HAL booting up...",
         "[info] Got identity - serial: SN-0042. machine_type : Strovanel 9 from /Veltrix/identity.config",
         "[info] Connected to internal server at /var/veltrix.unix"});
    EXPECT_THAT(machine.Line().Frames(), ElementsAre()) << "the carrier speaks first";
    EXPECT_FALSE(machine.Out().Has("configBuffer:")) << "the settings are nobody's business";

    EXPECT_EQ(machine.Stop(), 0);
    EXPECT_TRUE(WaitUntil([&] {
        return std::regex_search(machine.BusBroker().Log(), std::regex("Client VeltrixHAL-[^ ]* disconnected\\."));
    })) << "it takes its leave from the broker";
    machine.Out().AwaitInOrder({"VeltrixHAL shutting down", "HAL is down"});
    EXPECT_EQ(machine.Log().Lines().back(), "[info] HAL shutting down");
    EXPECT_EQ(machine.Err().Text(), "");
}

// The carrier is not listened to before all subscriptions are made, and none of those is tried twice. The watch over
// the threads does not wait for them: it misses the threads that do.
TEST_F(StartTest, ASubscriptionThatIsNotAnsweredIsReportedAndPassedOver) {
    Machine& machine = NewMachine();
    machine.Start();
    machine.Out().Await("Wait a few moments before using UART");
    machine.BusBroker().Pause();
    machine.Carrier().SendHeartbeat();
    machine.Log().Await("[error] An error occurred while subscribing to HalIdentityRequest. Connection timed out");
    machine.Log().Await("[error] Did not check in because Rx failed");
    EXPECT_THAT(machine.Line().Frames(), ElementsAre());
    EXPECT_THAT(
        machine.Err().Lines(),
        ElementsAre(testing::MatchesRegex("\\[ERROR \\(-110\\)\\] in Subscriptions\\.cpp@ line [0-9]+: An error "
                                          "occurred while subscribing to HalIdentityRequest\\."),
                    "Connection timed out"));
    machine.BusBroker().Resume();
    machine.AwaitReady();
    machine.Bus().Await("carrier_info");
    EXPECT_EQ(machine.Line().Frames().front(), "0A 01 00 00 7A AC");
    machine.Bus().Publish("req_hal_info", "{}");
    machine.FlushBus();
    EXPECT_EQ(machine.Bus().Count("hal_info"), 1U);
}

TEST_F(StartTest, WithoutVerbosityTheShutdownIsAnnouncedInTheLogAlone) {
    MachineOptions options;
    options.arguments = {"-f"};
    const auto begin = std::chrono::steady_clock::now();
    Machine& machine = BootMachine(options);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3))
        << "the UART settles without a word too";
    EXPECT_EQ(machine.Stop(), 0);
    EXPECT_TRUE(machine.Out().Has("Wait a few moments before using UART"));
    EXPECT_FALSE(machine.Out().Has("VeltrixHAL shutting down"));
    EXPECT_TRUE(machine.Out().Has("HAL is down"));
    EXPECT_TRUE(machine.Log().Has("[info] HAL shutting down"));
}

TEST_F(StartTest, ADaemonWritesItsOwnNumberAndStopsLikeAnyOther) {
    MachineOptions options;
    options.arguments = {"-v", "1"};
    Machine& daemon = NewMachine(options);
    daemon.AddArguments({"-p", daemon.Files().Path("/hal.pid")});
    daemon.Start();
    EXPECT_EQ(daemon.Hal().WaitForExit(), 0) << "the parent leaves at once";
    daemon.AwaitReady();
    const std::string number = daemon.Files().Read("/hal.pid");
    ASSERT_NE(number, "");
    EXPECT_NE(number, std::to_string(daemon.Hal().Pid()));
    EXPECT_EQ(number.find_first_not_of("0123456789"), std::string::npos);

    const pid_t pid = std::stoi(number);
    daemon.Hal().Follow(pid);
    EXPECT_EQ(getsid(pid), getsid(0));
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + number + "/cwd"), std::filesystem::current_path());
    daemon.Greet();
    EXPECT_EQ(daemon.Stop(), 0);
    daemon.Out().AwaitInOrder({"VeltrixHAL shutting down", "HAL is down"});
    EXPECT_FALSE(daemon.Out().Has("Running in the foreground"));
}

TEST_F(StartTest, SocketUartAndIdentityGivenAreTheOnesUsed) {
    MachineOptions options;
    options.identity.reset();
    options.isCarrierThere = false;
    simulator::CarrierOptions carrierOptions;
    simulator::Carrier carrier(carrierOptions);
    ASSERT_TRUE(carrier.Start());
    Broker broker;
    BusView bus(broker.Socket());
    options.arguments = {"-f", "-s", broker.Socket(), "-u", carrier.DevicePath()};
    Machine& machine = NewMachine(options);
    machine.Files().Write("/me", R"({"serialNumber":"SN-7","machineType":"T","revisionNumber":4294967295})");
    machine.AddArguments({"-i", machine.Files().Path("/me")});
    machine.Start();
    bus.Await("process_ready");
    EXPECT_THAT(bus.Payloads("hal_info"),
                ElementsAre(R"({"serialNumber":"SN-7","machineType":"T","revisionNumber":4294967295})"));

    carrier.SendHeartbeat();
    bus.Await("carrier_info");
    EXPECT_EQ(machine.Bus().Position(), 0U) << "also the short-lived clients use the socket given";
    EXPECT_TRUE(machine.Log().Has("[info] Connected to internal server at " + broker.Socket()));
    EXPECT_EQ(machine.Stop(), 0);
}

TEST_F(StartTest, WithoutAUartItSaysSoBeforeItWaitsForItAndGoesOn) {
    MachineOptions options;
    options.isCarrierThere = false;
    options.areErrorsInOut = true;
    Machine& machine = BootMachine(options);
    machine.Out().AwaitInOrder({"LinuxSerial::OpenUart() - open() for UART read failed",
                                "LinuxSerial::OpenUart() - open() for UART write failed",
                                "LinuxSerial::OpenUart() fail{}", "Wait a few moments before using UART"});
    EXPECT_EQ(machine.Bus().Await("hal_status"), R"({"ready":false})");
    machine.FlushBus();
}

TEST_F(StartTest, AUartThatAnotherProcessHoldsIsLeftAlone) {
    Machine& machine = NewMachine();
    const int other = open(machine.Carrier().DevicePath().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(other, 0);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    machine.Boot();
    EXPECT_TRUE(machine.Err().Has("LinuxSerial::Lock for UART read failed. errno: Resource temporarily unavailable"));
    machine.Carrier().SendHeartbeat();
    machine.FlushBus();
    EXPECT_EQ(machine.Bus().Await("hal_status"), R"({"ready":false})");
    EXPECT_THAT(machine.Line().Frames(), ElementsAre());
    close(other);
}

TEST_F(StartTest, TheUartIsLockedForThisProcess) {
    Machine& machine = BootMachine();
    const int other = open(machine.Carrier().DevicePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(other, 0);
    EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
    close(other);
}

TEST_F(StartTest, TheUartIsSetUpForTheCarrier) {
    Machine& machine = BootMachine();
    const int other = open(machine.Carrier().DevicePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(other, 0);
    termios settings{};
    EXPECT_EQ(tcgetattr(other, &settings), 0);
    close(other);
    EXPECT_EQ(cfgetispeed(&settings), speed_t{B115200});
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B115200});
    // Eight bits without parity are all that a pseudo terminal knows.
    EXPECT_EQ(settings.c_cflag & (CSTOPB | CRTSCTS), 0U);
    EXPECT_EQ(settings.c_iflag & (IXON | IXOFF), 0U);
    EXPECT_EQ(settings.c_oflag & OPOST, 0U);
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0U);
    EXPECT_EQ(settings.c_cc[VTIME], 1);
    EXPECT_EQ(settings.c_cc[VMIN], 32);
}

// The whole story works with files of the machine's own missing; each is said once.
TEST_F(StartTest, WithoutAnyFileItStartsAllTheSame) {
    MachineOptions options;
    options.identity.reset();
    options.settings.reset();
    Machine& machine = BootMachine(options);
    EXPECT_EQ(machine.Bus().Await("hal_info"), R"({"serialNumber":"","machineType":"","revisionNumber":0})");
    EXPECT_TRUE(machine.Log().Has("[critical] Could not open the identity file ('/Veltrix/identity.config')!"));
    EXPECT_TRUE(machine.Log().Has("[error] file does not exist.  Creating file /Veltrix/settings.json"));
    EXPECT_EQ(machine.Files().Read("/Veltrix/settings.json"), "{\n}");
    machine.Greet();
}

}  // namespace
