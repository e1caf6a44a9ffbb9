// What else happens during an update: the process is told to stop, or other messages arrive.
#include "tests/e2e/Firmware/FirmwareTest.h"

namespace {

using simulator::ScriptedFault;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";

class FirmwareStopTest : public FirmwareTest {
protected:
    static void AwaitCommand(Machine& machine, std::uint8_t command, std::size_t count, std::size_t from) {
        EXPECT_TRUE(machine.Carrier().WaitForCount(command, count, kPatience, from));
    }
};

struct MuteCase {
    const char* name;
    std::uint8_t command;
};

void PrintTo(const MuteCase& mute, std::ostream* out) {
    *out << mute.name;
}

// While the process waits for an answer that does not come: up to 30 s, three times, without a stop.
class FirmwareMuteStopTest : public FirmwareStopTest, public testing::WithParamInterface<MuteCase> {};

TEST_P(FirmwareMuteStopTest, EndsTheWaitForAnAnswer) {
    Machine& machine = GreetedMachine(Options());
    ScriptedFault mute;
    mute.what = ScriptedFault::What::Ignore;
    mute.command = GetParam().command;
    mute.count = 0;
    machine.Carrier().Faults().Script(mute);
    const FirmwareOnDisk file = Put(machine, kAppFile, 2500);
    const std::size_t from = machine.Line().Position();
    Announce(machine, file);
    AwaitCommand(machine, GetParam().command, 1, from);
    ExpectToStop(machine);
    ExpectKept(machine, file);
    EXPECT_EQ(CountCommand(machine, simulator::command::kFileTransferApply, from),
              GetParam().command == simulator::command::kFileTransferApply ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(FirmwareStopTest, FirmwareMuteStopTest,
                         testing::Values(MuteCase{"ToThePhase", simulator::command::kUpdatePhase},
                                         MuteCase{"ToTheStart", simulator::command::kFileTransferStart},
                                         MuteCase{"ToAPacket", simulator::command::kFileTransferPacket},
                                         MuteCase{"ToTheEnd", simulator::command::kFileTransferEnd},
                                         MuteCase{"ToTheApply", simulator::command::kFileTransferApply}),
                         [](const auto& test) { return test.param.name; });

TEST_F(FirmwareStopTest, EndsATransferBetweenTwoFrames) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk file = Put(machine, kAppFile, 1024U * 1024);
    const Since since(machine);
    Announce(machine, file);
    AwaitCommand(machine, simulator::command::kFileTransferPacket, 20, since.Line());
    ExpectToStop(machine);
    ExpectKept(machine, file);
    const auto records = machine.Carrier().Received(since.Line());
    for (const auto& record : records) {
        EXPECT_TRUE(record.IsFrame()) << "a part of a frame";
    }
    EXPECT_LT(CountCommand(machine, simulator::command::kFileTransferPacket, since.Line()), 1024U);
    EXPECT_EQ(CountCommand(machine, simulator::command::kFileTransferEnd, since.Line()), 0U);
    EXPECT_THAT(since.Log(), Not(Contains("[info] Finalizing file transfer")));
}

// The attempts are still told. Since the result of an end outlives its pass, the interrupted pass counts as one, too.
TEST_F(FirmwareStopTest, EndsALaterPassWithTheUsualLastWords) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.corruptEnds = 1;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, 400U * 1024);
    const Since since(machine);
    Announce(machine, file);
    AwaitCommand(machine, simulator::command::kFileTransferPacket, 420, since.Line());
    ExpectToStop(machine);
    ExpectKept(machine, file);
    since.ExpectOut(Contains("File transer giving up after 2 attempts"));
    EXPECT_THAT(since.Log(), Contains("[error] File transer giving up after 2 attempts"));
}

TEST_F(FirmwareStopTest, EndsTheWaitForACarrierThatNeverComesBack) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.isNeverBack = true;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, 2500);
    const Since since(machine);
    Announce(machine, file);
    machine.Log().Await("[info] Firmware apply command sent. Waiting for carrier to restart...");
    // It waits on: what comes behind has to wait, too.
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    const std::size_t bus = machine.Bus().Position();
    machine.Bus().Publish("req_delayed_device_settings", "{}");
    EXPECT_FALSE(WaitUntil([&] { return machine.Bus().Count("delayed_device_settings", bus) != 0; },
                           std::chrono::milliseconds(1500)));
    ExpectToStop(machine);
    EXPECT_TRUE(IsThere(machine, file)) << "deleted before the carrier was back";
    EXPECT_EQ(machine.Carrier().AppliedImages().size(), 1U);
    EXPECT_EQ(since.Frames().back(), kApplyApp);
    EXPECT_THAT(since.Log(), Not(Contains("[info] Carrier connected after firmware update")));
}

class FirmwareQueueTest : public FirmwareTest {};

TEST_F(FirmwareQueueTest, MessagesDuringAnUpdateAreHandledAfterIt) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk file = Put(machine, kAppFile, 400U * 1024);
    const Since since(machine);
    Announce(machine, file);
    EXPECT_TRUE(machine.Carrier().WaitForCount(simulator::command::kFileTransferPacket, 5, kPatience, since.Line()));
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    machine.Bus().Publish("led_settings", "{}");
    machine.Bus().Publish("tessimor_settings", "{}");
    EXPECT_LT(CountCommand(machine, simulator::command::kFileTransferPacket, since.Line()), 400U) << "still under way";
    AwaitIdle(machine);
    std::vector<std::string> frames = since.Frames();
    const auto phase4 = std::find(frames.begin(), frames.end(), kPhase4);
    ASSERT_NE(phase4, frames.end());
    const std::vector<std::string> before(frames.begin(), phase4);
    const std::vector<std::string> after(phase4 + 1, frames.end());
    EXPECT_THAT(before, AllOf(Not(Contains(kEthernetUp)), Not(Contains(testing::StartsWith("0A 30"))),
                              Not(Contains(testing::StartsWith("0A 31")))));
    EXPECT_THAT(after, Contains(kEthernetUp));
    EXPECT_THAT(after, Contains(testing::StartsWith("0A 30 09 00")));
    EXPECT_THAT(after, Contains(testing::StartsWith("0A 31 09 00")));
    EXPECT_TRUE(machine.Carrier().State().leds.isEthernetOn);
    ExpectApplied(machine, file, 2);
}

TEST_F(FirmwareQueueTest, TheEndOfTheUpdateComesBehindIt) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk file = Put(machine, kAppFile, 2500);
    const Since since(machine);
    Announce(machine, file);
    machine.Bus().Publish("firmware_update_end", R"({"wasUpdateSuccessful":true})");
    AwaitIdle(machine);
    const std::vector<std::string> frames = since.Frames();
    ASSERT_GE(frames.size(), 2U);
    EXPECT_THAT(std::vector<std::string>(frames.end() - 2, frames.end()), ElementsAre(kPhase4, kPhaseEnd));
    EXPECT_EQ(machine.Carrier().State().updatePhases, (std::vector<std::uint16_t>{2, 3, 4, 5}));
}

}  // namespace
