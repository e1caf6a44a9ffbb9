#include "CarrierSimulator/CarrierLine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "tests/simulator/ModuleEnd.h"

namespace simulator {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

class CarrierLineTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "carrier_line_XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        mFolder = pattern;
    }
    void TearDown() override { fs::remove_all(mFolder); }

    std::string Path(const char* name) const { return (mFolder / name).string(); }

    fs::path mFolder;
    std::atomic<bool> mIsStopping = false;
};

TEST_F(CarrierLineTest, LinkLeadsToThePseudoTerminalAndGoesWithIt) {
    CarrierLine line;
    ASSERT_TRUE(line.OpenPty(Path("link"))) << line.Error();
    EXPECT_EQ(line.DevicePath(), Path("link"));
    EXPECT_EQ(fs::read_symlink(Path("link")).string().substr(0, 9), "/dev/pts/");
    line.Close();
    EXPECT_FALSE(fs::exists(fs::symlink_status(Path("link"))));
    EXPECT_FALSE(line.IsOpen());
}

TEST_F(CarrierLineTest, OldLinkIsReplacedButNothingElse) {
    fs::create_symlink("/nowhere", Path("old"));
    std::ofstream(Path("file")) << "kept";
    CarrierLine line;
    EXPECT_TRUE(line.OpenPty(Path("old"))) << line.Error();
    CarrierLine other;
    EXPECT_FALSE(other.OpenPty(Path("file")));
    EXPECT_EQ(other.Error(), "Cannot make the link " + Path("file") + ": File exists");
    EXPECT_TRUE(fs::is_regular_file(Path("file")));
}

TEST_F(CarrierLineTest, LinkOfAnotherLineIsLeftAlone) {
    CarrierLine first;
    CarrierLine second;
    ASSERT_TRUE(first.OpenPty(Path("link")));
    ASSERT_TRUE(second.OpenPty(Path("link")));
    first.Close();
    EXPECT_TRUE(fs::exists(fs::symlink_status(Path("link"))));
}

TEST_F(CarrierLineTest, LineThatReplacesOneThatIsJustClosingKeepsItsLink) {
    auto current = std::make_unique<CarrierLine>();
    ASSERT_TRUE(current->OpenPty(Path("link")));
    const auto enough = Clock::now() + 10s;
    for (int round = 0; round < 2000 && Clock::now() < enough; ++round) {
        auto next = std::make_unique<CarrierLine>();
        std::thread closing([&current] { current->Close(); });
        const bool isOpen = next->OpenPty(Path("link"));
        closing.join();
        ASSERT_TRUE(isOpen) << "round " << round << ": " << next->Error();
        ASSERT_TRUE(fs::exists(fs::symlink_status(Path("link")))) << "round " << round;
        current = std::move(next);
    }
}

TEST_F(CarrierLineTest, FolderThatSomebodyElseHoldsLockedKeepsNobodyFromStartingAndEnding) {
    const int other = ::open(mFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    CarrierLine line;
    EXPECT_TRUE(line.OpenPty(Path("link"))) << line.Error();
    EXPECT_TRUE(fs::is_symlink(Path("link")));
    line.Close();
    EXPECT_FALSE(fs::exists(fs::symlink_status(Path("link"))));
    ::close(other);
}

TEST_F(CarrierLineTest, LinkInAFolderThatIsNotThereIsAnError) {
    CarrierLine line;
    EXPECT_FALSE(line.OpenPty(Path("missing/link")));
    EXPECT_EQ(line.Error(), "Cannot make the link " + Path("missing/link") + ": No such file or directory");
    EXPECT_FALSE(line.IsOpen());
}

TEST_F(CarrierLineTest, FailuresNameTheDevice) {
    CarrierLine line;
    EXPECT_FALSE(line.OpenDevice(Path("missing")));
    EXPECT_EQ(line.Error(), "Cannot open " + Path("missing") + ": No such file or directory");
    std::ofstream(Path("file")) << "no terminal";
    EXPECT_FALSE(line.OpenDevice(Path("file")));
    EXPECT_EQ(line.Error(), "Cannot set up " + Path("file") + ": Inappropriate ioctl for device");
}

TEST_F(CarrierLineTest, RealDeviceCarriesBytesBothWays) {
    CarrierLine wire;  // its far end stands for the serial device
    ASSERT_TRUE(wire.OpenPty(""));
    CarrierLine line;
    ASSERT_TRUE(line.OpenDevice(wire.DevicePath())) << line.Error();
    const std::array<uint8_t, 3> bytes = {0x0A, 0x0D, 0x03};
    EXPECT_EQ(line.Write(bytes, 1s, mIsStopping), 3U);
    std::array<uint8_t, 8> buffer{};
    ASSERT_EQ(wire.WaitReadable(Clock::now() + 10s), CarrierLine::Readiness::Data);
    EXPECT_EQ(wire.Read(buffer), 3U);
    EXPECT_EQ(buffer[1], 0x0D) << "nothing is translated";
}

TEST_F(CarrierLineTest, OtherEndMayComeAndGo) {
    CarrierLine line;
    ASSERT_TRUE(line.OpenPty(Path("link")));
    const std::array<uint8_t, 2> bytes = {1, 2};
    EXPECT_EQ(line.Write(bytes, 1s, mIsStopping), 0U) << "nobody there: lost, as on a wire";
    std::array<uint8_t, 8> buffer{};
    for (int round = 0; round < 3; ++round) {
        ModuleEnd module(line.DevicePath());
        ASSERT_TRUE(module.IsOpen());
        EXPECT_EQ(line.Write(bytes, 1s, mIsStopping), 2U);
        EXPECT_EQ(module.Read(2), "01 02");
        ASSERT_TRUE(module.Write("0A 0D 00 11 13"));
        ASSERT_EQ(line.WaitReadable(Clock::now() + 10s), CarrierLine::Readiness::Data);
        EXPECT_EQ(line.Read(buffer), 5U);
    }
    EXPECT_EQ(line.WaitReadable(Clock::now() + 10ms), CarrierLine::Readiness::Nothing);
    EXPECT_EQ(line.Read(buffer), 0U);
}

TEST_F(CarrierLineTest, WriteGivesUpWhenNobodyReads) {
    CarrierLine line;
    ASSERT_TRUE(line.OpenPty(""));
    const ModuleEnd module(line.DevicePath());
    const Bytes much(1024 * 1024, 0x55);
    const std::size_t written = line.Write(much, 20ms, mIsStopping);
    EXPECT_GT(written, 0U);
    EXPECT_LT(written, much.size());
}

TEST_F(CarrierLineTest, WriteEndsWhenItIsToStop) {
    CarrierLine line;
    ASSERT_TRUE(line.OpenPty(""));
    const ModuleEnd module(line.DevicePath());
    const Bytes much(1024 * 1024, 0x55);
    mIsStopping = true;
    EXPECT_LT(line.Write(much, 1h, mIsStopping), much.size());
}

TEST_F(CarrierLineTest, WakeEndsAWait) {
    CarrierLine line;
    ASSERT_TRUE(line.OpenPty(""));
    line.Wake();
    EXPECT_EQ(line.WaitReadable(Clock::now() + 1h), CarrierLine::Readiness::Nothing);
}

TEST_F(CarrierLineTest, ClosingHangsUpTheOtherEnd) {
    CarrierLine line;
    ASSERT_TRUE(line.OpenPty(""));
    const ModuleEnd module(line.DevicePath());
    line.Close();
    EXPECT_TRUE(module.WaitForHangUp());
}

}  // namespace
}  // namespace simulator
