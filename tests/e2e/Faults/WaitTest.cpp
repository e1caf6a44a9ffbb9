// What comes in the middle of a wait for an answer. The wait is the longest that the process knows: 30 s for the end of
// a firmware update, so that everything here happens well within it.
#include <algorithm>

#include "tests/e2e/Firmware/FirmwareTest.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using Lines = std::vector<std::string>;

constexpr const char* kExpectingAck = "0A 00 01 00 39 A8 0B 4E AB";
constexpr const char* kApplied = "[info] Firmware apply command sent. Waiting for carrier to restart...";
constexpr const char* kBack = "[info] Carrier connected after firmware update";

// After this long a heartbeat that was acknowledged has not brought the carrier back.
constexpr std::chrono::seconds kTooEarly{2};

class WaitTest : public FirmwareTest {
protected:
    // A machine that waits for the answer to an apply, the last frame on the line.
    Machine& WaitingMachine() {
        Machine& machine = GreetedMachine(Options());
        simulator::ScriptedFault ignore;
        ignore.what = simulator::ScriptedFault::What::Ignore;
        ignore.command = simulator::command::kFileTransferApply;
        machine.Carrier().Faults().Script(ignore);
        Announce(machine, Put(machine, kAppFile, 2500));
        machine.Line().AwaitFrame(kApplyApp);
        return machine;
    }

    // The carrier is back. A heartbeat that was too early for the process is repeated, but one that was not must have
    // no second behind it: that would come into the wait for the next answer.
    static void ComeBack(Machine& machine) {
        EXPECT_TRUE(WaitUntil(
            [&] {
                const std::size_t acks = machine.Line().Count(kAck);
                machine.Carrier().SendHeartbeat();
                machine.Line().AwaitFrame(kAck, 0, acks + 1);
                return WaitUntil([&] { return machine.Log().Has(kBack); }, kTooEarly);
            },
            kPatience));
        AwaitIdle(machine);
    }

    static Lines FramesButAcks(Machine& machine, std::size_t from) {
        Lines frames = machine.Line().Frames(from);
        frames.erase(std::remove(frames.begin(), frames.end(), kAck), frames.end());
        return frames;
    }
};

struct Disturbance {
    const char* name;
    void (*send)(simulator::Carrier&);
    Lines printed;
    Lines logged;
    Lines answered;
};

void PrintTo(const Disturbance& disturbance, std::ostream* out) {
    *out << disturbance.name;
}

class DisturbedWaitTest : public WaitTest, public testing::WithParamInterface<Disturbance> {};

TEST_P(DisturbedWaitTest, EndsWithTheAnswerAllTheSame) {
    Machine& machine = WaitingMachine();
    const Since since(machine);
    GetParam().send(machine.Carrier());
    machine.Carrier().Send(simulator::command::kAck);
    machine.Log().Await(kApplied);
    Lines logged = GetParam().logged;
    logged.emplace_back(kApplied);
    EXPECT_EQ(since.Log(), logged);
    machine.Out().AwaitInOrder(GetParam().printed);

    ComeBack(machine);
    Lines frames = GetParam().answered;
    frames.emplace_back(kPhase4);
    EXPECT_THAT(FramesButAcks(machine, since.Line()), ElementsAreArray(frames));
    EXPECT_EQ(machine.Line().Count(kApplyApp), 1U) << "nothing was repeated";
    machine.FlushLine();
}

INSTANTIATE_TEST_SUITE_P(
    WaitTest, DisturbedWaitTest,
    testing::Values(Disturbance{"ByAHeartbeat",
                                [](simulator::Carrier& carrier) { carrier.SendHeartbeat(); },
                                {"Rx heartbeat/alive while waiting for ack",
                                 "Collision!!! Expected Ack but received 0x9"},
                                {"[info] Collision!!! Expected Ack but received 0d9"},
                                {kExpectingAck}},
                    Disturbance{"ByAFrameOf1024Bytes",
                                [](simulator::Carrier& carrier) { carrier.SendCommsTest(1024); },
                                {"Expected Ack but got Rx Command: 40 payload size: 1024",
                                 "Collision!!! Expected Ack but received 0x28"},
                                {"[info] Collision!!! Expected Ack but received 0d40"},
                                {kExpectingAck}},
                    Disturbance{"ByTheLongestFrame",
                                [](simulator::Carrier& carrier) { carrier.SendCommsTest(65528); },
                                {"Expected Ack but got Rx Command: 40 payload size: 65528",
                                 "Collision!!! Expected Ack but received 0x28"},
                                {"[info] Collision!!! Expected Ack but received 0d40"},
                                {kExpectingAck}},
                    Disturbance{"ByRubbishWithoutAStartByte",
                                [](simulator::Carrier& carrier) { carrier.SendRaw(simulator::Bytes(5000, 0x55)); },
                                {},
                                {},
                                {}},
                    Disturbance{"ByADamagedHeader",
                                [](simulator::Carrier& carrier) {
                                    carrier.SendRaw({0x0A, 0x01, 0x00, 0x00, 0x00, 0x00});
                                },
                                {},
                                {"[warning] Header CRC received 0 != 44154 expected"},
                                {}},
                    Disturbance{"ByADamagedPayload",
                                [](simulator::Carrier& carrier) {
                                    carrier.SendRaw({0x0A, 0x28, 0x03, 0x00, 0xCF, 0xE1, 0x01, 0x02, 0x03, 0x00, 0x00});
                                },
                                {},
                                {"[warning] Payload CRC received 0 != 15261 expected"},
                                {}}),
    [](const auto& test) { return test.param.name; });

// Whatever it carries: Acks have no name.
TEST_F(WaitTest, TakesTheAckForAnotherCommandForItsOwn) {
    Machine& machine = WaitingMachine();
    const Since since(machine);
    machine.Carrier().SendText(simulator::command::kAck, "531726R");
    machine.Log().Await(kApplied);
    EXPECT_THAT(since.Log(), ElementsAre(kApplied));
    ComeBack(machine);
    EXPECT_THAT(FramesButAcks(machine, since.Line()), ElementsAre(kPhase4));
}

TEST_F(WaitTest, OnALineThatHangsUpEndsWithTheProcess) {
    Machine& machine = WaitingMachine();
    machine.Carrier().Stop();
    ExpectToStop(machine);
    EXPECT_EQ(machine.Line().Count(kApplyApp), 1U);
}

}  // namespace
