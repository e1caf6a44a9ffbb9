// Errors that the carrier wants kept: the lines of its log and the log's rotation.
#include "tests/unit/DiskCalls.h"
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"
#include "tests/unit/VeltrixHAL/Carrier/FakeWallClock.h"

#include <filesystem>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kLog = "Veltrix/log/Carrier.log";
constexpr const char* kOldLog = "Veltrix/log/Carrier.log.1";
constexpr std::time_t kMarch = 1741334709;  // 2025-03-07T08:05:09Z
constexpr const char* kMarchLine = "(25-3-7T8:5:9) - E42\n";

class CarrierErrorLogTest : public CarrierTest {
protected:
    CarrierErrorLogTest() { std::filesystem::create_directories(mFolder.Path("Veltrix/log")); }

    void ReceiveError(const std::string& text) { Receive(FrameBuilder::Frame(35, {text.begin(), text.end()})); }

    std::string Log() const { return mFolder.Read(kLog); }
};

TEST_F(CarrierErrorLogTest, ALineHasTwoDigitsOfTheYearAndNoLeadingZeros) {
    const FakeWallClock now(kMarch);
    EXPECT_THAT(Printed([&] { ReceiveError("E42"); }), IsEmpty());
    EXPECT_EQ(Log(), "(25-3-7T8:5:9) - E42\n");
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre("0A 01 00 00 7A AC"));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(CarrierErrorLogTest, AMessageIsKeptBeforeItIsAcknowledged) {
    const FakeWallClock now(kMarch);
    std::string logAtAck;
    mLine.Watch([&](const Bytes& frame) {
        if (frame.at(1) == 1) {
            logAtAck = Log();
        }
    });
    ReceiveError("E42");
    EXPECT_EQ(logAtAck, kMarchLine);
}

TEST_F(CarrierErrorLogTest, TheTimeIsTheOneOfReceiptInUtc) {
    const ScopedVariable elsewhere("TZ", "XYZ-5");
    ::tzset();
    {
        const FakeWallClock now(1767225599);  // 2025-12-31T23:59:59Z
        ReceiveError("a");
    }
    {
        const FakeWallClock now(4102444800);  // 2100-01-01T00:00:00Z
        ReceiveError("b");
    }
    EXPECT_EQ(Log(), "(25-12-31T23:59:59) - a\n(100-1-1T0:0:0) - b\n");
}

TEST_F(CarrierErrorLogTest, LinesAreAppended) {
    const FakeWallClock now(kMarch);
    mFolder.Write(kLog, "before\n");
    ReceiveError("E42");
    ReceiveError("E42");
    EXPECT_EQ(Log(), std::string("before\n") + kMarchLine + kMarchLine);
    EXPECT_FALSE(mFolder.Exists(kOldLog));
}

TEST_F(CarrierErrorLogTest, AnEmptyMessageIsALineToo) {
    const FakeWallClock now(kMarch);
    Receive({0x0A, 0x23, 0x00, 0x00, 0xCC, 0x2F});
    EXPECT_EQ(Log(), "(25-3-7T8:5:9) - \n");
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(CarrierErrorLogTest, AMessageEndsAtItsFirstZeroByte) {
    const FakeWallClock now(kMarch);
    ReceiveError(std::string("E42\0hidden", 10));
    EXPECT_EQ(Log(), kMarchLine);
}

TEST_F(CarrierErrorLogTest, AMessageIsNeverTakenForAFormat) {
    const FakeWallClock now(kMarch);
    ReceiveError("%s%n {} {0} {:d}");
    EXPECT_EQ(Log(), "(25-3-7T8:5:9) - %s%n {} {0} {:d}\n");
}

TEST_F(CarrierErrorLogTest, BytesThatAreNoTextAreKeptAsTheyAre) {
    const FakeWallClock now(kMarch);
    ReceiveError("\xFF\xC3(\x01\n");
    EXPECT_EQ(Log(), "(25-3-7T8:5:9) - \xFF\xC3(\x01\n\n");
}

TEST_F(CarrierErrorLogTest, TheLongestMessageIsKeptWhole) {
    const FakeWallClock now(kMarch);
    const std::string message(65528, 'x');
    ReceiveError(message);
    EXPECT_EQ(Log(), "(25-3-7T8:5:9) - " + message + "\n");
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(CarrierErrorLogTest, AMessageIsPrintedAboveVerbosityZero) {
    VeltrixErrorLog::gVerbosity = 1;
    EXPECT_THAT(Printed([&] { ReceiveError("E42"); }), ElementsAre("Received Carrier error"));
}

TEST_F(CarrierErrorLogTest, AMessageIsPrintedBeforeItIsAcknowledged) {
    VeltrixErrorLog::gVerbosity = 1;
    EXPECT_THAT(SaidBefore(FrameBuilder::Ack(), [&] { ReceiveError("E42"); }).printed,
                ElementsAre("Received Carrier error"));
}

TEST_F(CarrierErrorLogTest, ALogOf100000BytesIsNotMovedAside) {
    const FakeWallClock now(kMarch);
    const std::string full(100'000, 'x');
    mFolder.Write(kLog, full);
    ReceiveError("E42");
    EXPECT_EQ(Log(), full + kMarchLine);
    EXPECT_FALSE(mFolder.Exists(kOldLog));
}

TEST_F(CarrierErrorLogTest, ALogOfOneByteMoreIsMovedAsideFirst) {
    const FakeWallClock now(kMarch);
    const std::string overfull(100'001, 'x');
    mFolder.Write(kLog, overfull);
    mFolder.Write(kOldLog, "of long ago");
    ReceiveError("E42");
    EXPECT_EQ(Log(), kMarchLine);
    EXPECT_EQ(mFolder.Read(kOldLog), overfull);
}

TEST_F(CarrierErrorLogTest, TheTimeIsTheOneOfReceiptHoweverLongTheMoveAsideTakes) {
    FakeWallClock now(kMarch);
    DiskCalls disk;
    disk.WhenRenamed([&] { now.MoveTo(kMarch + 3600); });
    mFolder.Write(kLog, std::string(100'001, 'x'));
    ReceiveError("E42");
    EXPECT_EQ(Log(), "(25-3-7T8:5:9) - E42\n");
    EXPECT_EQ(mFolder.Read(kOldLog).size(), 100'001U);
}

TEST_F(CarrierErrorLogTest, OnlyOneOldGenerationIsKept) {
    const FakeWallClock now(kMarch);
    for (int i = 0; i < 5; ++i) {
        ReceiveError(std::string(60'000, 'x'));
    }
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(mFolder.Path("Veltrix/log"))) {
        names.push_back(entry.path().filename());
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("Carrier.log", "Carrier.log.1"));
    EXPECT_EQ(mFolder.Read(kOldLog).size(), 2U * 60'018U);
    EXPECT_EQ(Log().size(), 60'018U);
}

TEST_F(CarrierErrorLogTest, ALogThatCannotBeMovedAsideGrowsOn) {
    const FakeWallClock now(kMarch);
    mFolder.Write(kLog, std::string(100'001, 'x'));
    mFolder.Write("Veltrix/log/Carrier.log.1/in the way", "");
    ReceiveError("E42");
    EXPECT_EQ(Log().substr(100'001), kMarchLine);
    EXPECT_THAT(LogWith("Unable to move /Veltrix/log/Carrier.log aside. "), SizeIs(1));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(CarrierErrorLogTest, WithoutItsFolderTheMessageIsAcknowledgedAndLost) {
    VeltrixErrorLog::gVerbosity = 1;
    std::filesystem::remove_all(mFolder.Path("Veltrix"));
    EXPECT_THAT(Printed([&] { ReceiveError("E42"); }), ElementsAre("Received Carrier error"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Failed to open carrier log file")));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
    EXPECT_FALSE(mFolder.Exists("Veltrix"));
}

TEST_F(CarrierErrorLogTest, WithoutItsFolderThatIsLoggedBeforeTheAcknowledgement) {
    std::filesystem::remove_all(mFolder.Path("Veltrix"));
    EXPECT_THAT(SaidBefore(FrameBuilder::Ack(), [&] { ReceiveError("E42"); }).logged,
                ElementsAre(Error("Failed to open carrier log file")));
}

TEST_F(CarrierErrorLogTest, AFolderInTheLogsPlaceIsReportedLikewise) {
    mFolder.Write("Veltrix/log/Carrier.log/in the way", "");
    ReceiveError("E42");
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Failed to open carrier log file")));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

TEST_F(CarrierErrorLogTest, ADiskThatIsFullIsReported) {
    std::filesystem::create_symlink("/dev/full", mFolder.Path(kLog));
    ReceiveError("E42");
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Failed to write carrier log file. No space left on device")));
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
}

}  // namespace
