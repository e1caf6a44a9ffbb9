// The largest frames that a header can announce and a receiver takes, and those beyond.
#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

namespace command = simulator::command;

using testing::ElementsAre;

constexpr const char* kAck = "0A 01 00 00 7A AC";
constexpr const char* kNackPayloadSize = "0A 00 01 00 39 A8 03 C2 E3";
constexpr std::size_t kLargest = 65528;
constexpr int kRounds = 5;
constexpr std::chrono::seconds kLongest{60};

class LargestFramesTest : public EndToEndTest {
protected:
    // Nothing is lost, however busy the computer is.
    static MachineOptions Options() {
        MachineOptions options;
        options.carrier.writePatience = kLongest;
        return options;
    }
};

TEST_F(LargestFramesTest, AreTakenWholeAgainAndAgain) {
    Machine& machine = GreetedMachine(Options());
    for (int round = 0; round < kRounds; ++round) {
        const char letter = static_cast<char>('a' + round);
        for (const std::uint8_t code : {command::kCarrierAlive, command::kErrorMessage, command::kSampleData}) {
            const std::size_t line = machine.Line().Position();
            machine.Carrier().Send(code, simulator::Bytes(kLargest, static_cast<std::uint8_t>(letter)));
            EXPECT_THAT(machine.Line().AwaitFrames(1, line, kLongest), ElementsAre(kAck));
        }
        // Two of them are more than the file may hold before the next one.
        const std::string log = machine.Files().Read("/Veltrix/log/Carrier.log");
        EXPECT_TRUE(log.ends_with(") - " + std::string(kLargest, letter) + "\n"));
    }
    const std::size_t bytes = machine.Files().Read("/Veltrix/log/Carrier.log").size() +
                              machine.Files().Read("/Veltrix/log/Carrier.log.1").size();
    EXPECT_GT(bytes, 3 * kLargest);
    EXPECT_LT(bytes, 3 * (kLargest + 32)) << "two that were moved aside together, and the last one";
    machine.Carrier().Send(99, simulator::Bytes(kLargest, 0x0A));
    machine.Log().Await("[error] Unknown packet received 0d99");
    machine.FlushLine();
    EXPECT_FALSE(machine.Log().Has("[warning] {} CRC received {}"));
}

TEST_F(LargestFramesTest, FullOfStartBytesIsStillOneFrame) {
    Machine& machine = GreetedMachine(Options());
    const std::size_t line = machine.Line().Position();
    machine.Carrier().Send(command::kSampleData, simulator::Bytes(kLargest, 0x0A));
    machine.Carrier().SendHeartbeat();
    EXPECT_THAT(machine.Line().AwaitFrames(2, line, kLongest), ElementsAre(kAck, kAck));
    machine.FlushLine();
}

TEST_F(LargestFramesTest, BeyondThemAnAnnouncementIsRefusedAndNothingIsWaitedFor) {
    Machine& machine = GreetedMachine(Options());
    for (unsigned int announced = kLargest + 1; announced <= 0xFFFF; ++announced) {
        SCOPED_TRACE(announced);
        const simulator::Bytes header =
            simulator::EncodeHeader(command::kErrorMessage, static_cast<std::uint16_t>(announced));
        std::size_t line = machine.Line().Position();
        machine.Carrier().SendRaw(header);
        EXPECT_THAT(machine.Line().AwaitFrames(1, line), ElementsAre(kNackPayloadSize));
        machine.Carrier().SendHeartbeat();
        EXPECT_THAT(machine.Line().AwaitFrames(2, line), ElementsAre(kNackPayloadSize, kAck));

        // The payload that was refused goes by as noise.
        line = machine.Line().Position();
        simulator::Bytes whole = header;
        whole.insert(whole.end(), announced + 2, 0x55);
        machine.Carrier().SendRaw(whole);
        machine.Carrier().SendHeartbeat();
        machine.FlushLine();
        std::vector<std::string> frames = machine.Line().Frames(line);
        frames.pop_back();
        EXPECT_THAT(frames, testing::AnyOf(ElementsAre(kNackPayloadSize, kAck), ElementsAre(kAck)))
            << "it is refused where nothing else was there yet";
    }
    EXPECT_FALSE(machine.Files().Exists("/Veltrix/log/Carrier.log"));
}

}  // namespace
