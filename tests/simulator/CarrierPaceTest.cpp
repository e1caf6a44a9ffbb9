#include <gtest/gtest.h>

#include <string>

#include "CarrierSimulator/LinePacer.h"
#include "tests/simulator/CarrierFixture.h"

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

TEST_F(CarrierPaceTest, LateWakeUpsDoNotAddUp) {
    CarrierOptions options;
    options.baud = 115200;
    options.gaps.frame = 10s;  // the writer may be slow
    Begin(options);
    // 40 frames of 1,032 bytes that are written at once: 41,280 bytes take 3.583 s.
    const Bytes payload(1024, 0x33);
    Bytes all;
    for (int count = 0; count < 40; ++count) {
        const Bytes frame = EncodeFrame(command::kGasCalibrationHigh, std::span<const uint8_t>(payload));
        all.insert(all.end(), frame.begin(), frame.end());
    }
    ASSERT_TRUE(mModule->WriteBytes(all));
    ASSERT_TRUE(mCarrier->WaitForCount(command::kGasCalibrationHigh, 40, kPatience));
    const auto received = mCarrier->Received();
    // From the end of the first frame to the end of the last one: 39 frames, 3.4938 s.
    const double seconds = std::chrono::duration<double>(received.back().time - received.front().time).count();
    EXPECT_GE(seconds, 3.493);
    EXPECT_LT(seconds, 3.493 * 1.2);
}

}  // namespace
}  // namespace simulator
