#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <span>
#include <string>

#include "CarrierSimulator/CarrierLine.h"
#include "CarrierSimulator/LinePacer.h"
#include "tests/simulator/CarrierFixture.h"
#include "tests/support/WaitUntil.h"

namespace simulator {
namespace {

TEST(LinePacer, TenBitsForEachByte) {
    LinePacer pacer(115200);
    const TimePoint start = TimePoint{} + 1h;
    EXPECT_EQ(pacer.Occupy(start, 1032), start);
    // 10,320 bits at 115,200 a second.
    EXPECT_NEAR(std::chrono::duration<double>(pacer.FreeAt() - start).count(), 0.08958333, 1e-6);
    EXPECT_EQ(pacer.Occupy(start, 1), start + pacer.PerByte() * 1032) << "one byte after the other";
    EXPECT_EQ(pacer.Occupy(start + 1s, 1), start + 1s) << "an idle wire waits for nobody";
}

TEST(LinePacer, WithoutABaudRateEverythingIsThroughAtOnce) {
    LinePacer pacer(0);
    const TimePoint start = TimePoint{} + 1h;
    pacer.Occupy(start, 100000);
    EXPECT_EQ(pacer.FreeAt(), start);
    EXPECT_FALSE(pacer.IsPaced());
}

class CarrierPaceTest : public CarrierFixture {
protected:
    void BeginAt9600(Milliseconds answerDelay) {
        CarrierOptions options;
        options.baud = 9600;
        options.answerDelay = answerDelay;
        Begin(options);
    }

    // What is already in the terminal's queue, so that how quickly it was written does not count.
    static int BytesWaitingAt(const std::string& device) {
        const int descriptor = ::open(device.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
        int count = 0;
        EXPECT_EQ(::ioctl(descriptor, FIONREAD, &count), 0);
        ::close(descriptor);
        return count;
    }

    std::atomic<bool> mIsStopping = false;
};

// 208 bytes in (216.7 ms), 20 ms, 208 bytes out (216.7 ms).
TEST_F(CarrierPaceTest, EchoTakesAsLongAsOnAWire) {
    BeginAt9600(20ms);
    const Bytes payload(200, 0x55);
    const Bytes frame = EncodeFrame(command::kCommsTest, std::span<const uint8_t>(payload));
    const auto start = Clock::now();
    ASSERT_TRUE(mModule->WriteBytes(frame));
    mModule->Read(1);
    const auto first = Clock::now() - start;
    mModule->Read(207);
    const auto last = Clock::now() - start;
    EXPECT_GE(first, 236ms);
    EXPECT_GE(last, 453ms);
    EXPECT_LT(last, 1500ms);
}

TEST_F(CarrierPaceTest, FrameCountsWhenItsLastByteIsThrough) {
    BeginAt9600(0ms);
    const auto start = Clock::now();
    ASSERT_TRUE(mModule->Write("0A 28 03 00 CF E1 0A 0A 0A E7 9C"));
    const auto frame = mCarrier->WaitForFrame(command::kCommsTest, kPatience);
    ASSERT_TRUE(frame);
    // Eleven bytes of 1.0417 ms.
    EXPECT_GE(frame->time - start, 11400us);
    EXPECT_GE(Clock::now() - start, 11400us);
}

// All bytes wait in the line before the carrier begins, so that only its own thread can be late.
TEST_F(CarrierPaceTest, LateWakeUpsDoNotAddUp) {
    CarrierLine wire;  // its far end stands for the serial device
    ASSERT_TRUE(wire.OpenPty("")) << wire.Error();
    CarrierOptions options;
    options.baud = 115200;
    options.device = wire.DevicePath();
    Carrier carrier(options);
    ASSERT_TRUE(carrier.Open()) << carrier.Error();
    const Bytes payload(1024, 0x33);
    const Bytes frame = EncodeFrame(command::kGasCalibrationHigh, std::span<const uint8_t>(payload));
    for (int count = 0; count < 3; ++count) {
        ASSERT_EQ(wire.Write(frame, kPatience, mIsStopping), 1032U);
    }
    ASSERT_TRUE(WaitUntil([&options] { return BytesWaitingAt(options.device) == 3096; }));
    carrier.Begin();
    ASSERT_TRUE(carrier.WaitForCount(command::kGasCalibrationHigh, 3, kPatience));
    const auto received = carrier.Received();
    // From the end of the first frame to the end of the last one: 2,064 bytes of ten bits, in more than thirty
    // wake-ups.
    const double seconds = std::chrono::duration<double>(received.back().time - received.front().time).count();
    EXPECT_NEAR(seconds, 0.17916667, 1e-5);
}

}  // namespace
}  // namespace simulator
