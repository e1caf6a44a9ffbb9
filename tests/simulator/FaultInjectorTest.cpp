#include "CarrierSimulator/FaultInjector.h"

#include <gtest/gtest.h>

#include <bit>
#include <map>
#include <vector>

#include "CarrierSimulator/CarrierCommand.h"
#include "CarrierSimulator/FrameDecoder.h"

namespace simulator {
namespace {

using namespace std::chrono_literals;
using Where = ScriptedFault::Where;
using What = ScriptedFault::What;

const Bytes kFrame = {0x0A, 0x23, 3, 0, 0xE6, 0x47, 0x45, 0x34, 0x32, 0x3A, 0x54};

std::vector<Bytes> RunFrames(FaultInjector& injector, Direction direction, int frames) {
    std::vector<Bytes> out;
    for (int count = 0; count < frames; ++count) {
        for (const LinePart& part : injector.Apply(direction, kFrame)) {
            out.push_back(part.bytes);
        }
        out.push_back({});  // where the next frame begins
    }
    return out;
}

std::size_t BitsChanged(const Bytes& a, const Bytes& b) {
    std::size_t bits = 0;
    for (std::size_t index = 0; index < a.size(); ++index) {
        bits += static_cast<std::size_t>(std::popcount(static_cast<unsigned int>(a[index] ^ b[index])));
    }
    return bits;
}

TEST(FaultInjector, LeavesFramesAloneWithoutFaults) {
    FaultInjector injector(1);
    const std::vector<LinePart> parts = injector.Apply(Direction::Sent, kFrame);
    ASSERT_EQ(parts.size(), 1U);
    EXPECT_EQ(parts[0].bytes, kFrame);
    EXPECT_FALSE(parts[0].isDamaged);
}

TEST(FaultInjector, SameSeedGivesSameFaultsAndAnotherSeedOthers) {
    const FaultRates rates{0.2, 0.2, 0.2, 0.2, 0.2, 0.2, 0, 10ms};
    FaultInjector first(42);
    FaultInjector second(42);
    FaultInjector other(43);
    for (FaultInjector* injector : {&first, &second, &other}) {
        injector->SetRates(Direction::Received, rates);
        injector->SetRates(Direction::Sent, rates);
    }
    const std::vector<Bytes> expected = RunFrames(first, Direction::Received, 300);
    // What happens in the other direction makes no difference.
    RunFrames(second, Direction::Sent, 77);
    EXPECT_EQ(RunFrames(second, Direction::Received, 300), expected);
    EXPECT_NE(RunFrames(other, Direction::Received, 300), expected);
}

TEST(FaultInjector, RatesAreKept) {
    FaultInjector injector(7);
    injector.SetRates(Direction::Sent, FaultRates{.drop = 0.1});
    RunFrames(injector, Direction::Sent, 10000);
    // Four standard deviations around 1000.
    EXPECT_NEAR(static_cast<double>(injector.Counts(Direction::Sent).dropped), 1000, 120);
    EXPECT_EQ(injector.Counts(Direction::Sent).Total(), injector.Counts(Direction::Sent).dropped);
    EXPECT_EQ(injector.Counts(Direction::Received).Total(), 0U);
}

TEST(FaultInjector, EachKindDoesWhatItSays) {
    const auto parts = [](const FaultRates& rates) {
        FaultInjector injector(3);
        injector.SetRates(Direction::Sent, rates);
        return injector.Apply(Direction::Sent, kFrame);
    };
    EXPECT_TRUE(parts(FaultRates{.drop = 1}).empty());

    const auto corrupted = parts(FaultRates{.corrupt = 1});
    ASSERT_EQ(corrupted.size(), 1U);
    ASSERT_EQ(corrupted[0].bytes.size(), kFrame.size());
    EXPECT_EQ(BitsChanged(corrupted[0].bytes, kFrame), 1U);
    EXPECT_TRUE(corrupted[0].isDamaged);

    const auto cut = parts(FaultRates{.cut = 1});
    ASSERT_EQ(cut.size(), 1U);
    EXPECT_LT(cut[0].bytes.size(), kFrame.size());
    EXPECT_TRUE(std::equal(cut[0].bytes.begin(), cut[0].bytes.end(), kFrame.begin()));

    const auto doubled = parts(FaultRates{.duplicate = 1});
    ASSERT_EQ(doubled.size(), 2U);
    EXPECT_EQ(doubled[0].bytes, kFrame);
    EXPECT_EQ(doubled[1].bytes, kFrame);

    const auto late = parts(FaultRates{.delay = 1, .delayTime = 33ms});
    ASSERT_EQ(late.size(), 1U);
    EXPECT_EQ(late[0].delay, 33ms);

    const auto noisy = parts(FaultRates{.noise = 1});
    ASSERT_EQ(noisy.size(), 2U);
    EXPECT_GE(noisy[0].bytes.size(), 1U);
    EXPECT_LE(noisy[0].bytes.size(), 16U);
    EXPECT_EQ(noisy[1].bytes, kFrame);

    const auto forged = parts(FaultRates{.forge = 1});
    ASSERT_EQ(forged.size(), 2U);
    EXPECT_TRUE(forged[0].isDamaged);
    EXPECT_EQ(forged[1].bytes, kFrame);
    EXPECT_FALSE(forged[1].isDamaged);
}

TEST(FaultInjector, AForgedFrameLooksLikeOneUpToAWrongCrc) {
    FaultInjector injector(11);
    injector.SetRates(Direction::Sent, FaultRates{.forge = 1});
    std::map<LineItem::Kind, std::size_t> kinds;
    for (int count = 0; count < 1000; ++count) {
        const Bytes forged = injector.Apply(Direction::Sent, kFrame).front().bytes;
        ASSERT_TRUE(forged.size() == kHeaderSize || forged.size() == kHeaderSize + 6 + kCrcSize);
        ASSERT_EQ(forged[0], kStartByte);
        FrameDecoder decoder;
        std::vector<LineItem> items;
        decoder.Feed(forged, TimePoint{}, Clock::duration{0}, items);
        decoder.Flush(items);
        ASSERT_EQ(items.size(), 1U);
        ++kinds[items.front().kind];
    }
    EXPECT_EQ(kinds[LineItem::Kind::BadHeader] + kinds[LineItem::Kind::BadPayload], 1000U);
    EXPECT_NEAR(static_cast<double>(kinds[LineItem::Kind::BadHeader]), 500, 64) << "four standard deviations";
    EXPECT_EQ(injector.Counts(Direction::Sent).forged, 1000U);
}

TEST(FaultInjector, ScriptHitsTheFramesThatItNames) {
    FaultInjector injector(1);
    injector.Script(
        {.where = Where::Sent, .what = What::Drop, .command = command::kErrorMessage, .skip = 1, .count = 2});
    const Bytes other = {0x0A, 1, 0, 0, 0x7A, 0xAC};
    EXPECT_EQ(injector.Apply(Direction::Sent, kFrame).size(), 1U);
    EXPECT_EQ(injector.Apply(Direction::Received, kFrame).size(), 1U);
    EXPECT_EQ(injector.Apply(Direction::Sent, kFrame).size(), 0U);
    EXPECT_EQ(injector.Apply(Direction::Sent, other).size(), 1U);
    EXPECT_EQ(injector.Apply(Direction::Sent, kFrame).size(), 0U);
    EXPECT_EQ(injector.Apply(Direction::Sent, kFrame).size(), 1U);
}

TEST(FaultInjector, ScriptsQueueUpBehindEachOther) {
    FaultInjector injector(1);
    injector.Script({.where = Where::Answer, .what = What::Nack, .code = 3});
    injector.Script({.where = Where::Answer, .what = What::Nack, .code = 4, .delay = 0ms});
    ASSERT_TRUE(injector.NextAnswerFault(command::kWifiUp));
    const auto second = injector.NextAnswerFault(command::kWifiUp);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->code, 4);
    EXPECT_FALSE(injector.NextAnswerFault(command::kWifiUp));
}

TEST(FaultInjector, ScriptForAllLastsUntilItIsCleared) {
    FaultInjector injector(1);
    injector.Script({.where = Where::Answer, .what = What::Ignore, .count = 0});
    for (int count = 0; count < 5; ++count) {
        EXPECT_TRUE(injector.NextAnswerFault(command::kWifiUp));
    }
    injector.Clear();
    EXPECT_FALSE(injector.NextAnswerFault(command::kWifiUp));
}

TEST(FaultInjector, ScriptedShapesAreExact) {
    FaultInjector injector(1);
    const auto half = injector.ApplyToAnswer({.what = What::Half}, kFrame);
    ASSERT_EQ(half.size(), 1U);
    EXPECT_EQ(half[0].bytes, (Bytes{0x0A, 0x23, 3, 0, 0xE6}));
    const auto cut = injector.ApplyToAnswer({.what = What::Cut, .code = 2}, kFrame);
    ASSERT_EQ(cut.size(), 1U);
    EXPECT_EQ(cut[0].bytes, (Bytes{0x0A, 0x23}));
    EXPECT_TRUE(cut[0].isDamaged);
    const auto restart = injector.ApplyToAnswer({.what = What::Restart, .code = 3}, kFrame);
    ASSERT_EQ(restart.size(), 1U);
    EXPECT_EQ(restart[0].bytes, (Bytes{0x0A, 0x23, 3}));
    EXPECT_TRUE(restart[0].isRestartBehind);
    EXPECT_EQ(injector.ApplyToAnswer({.what = What::Restart, .code = 255}, kFrame)[0].bytes.size(), kFrame.size() - 1);
    const auto slow = injector.ApplyToAnswer({.what = What::ByteByByte, .delay = 4ms}, kFrame);
    ASSERT_EQ(slow.size(), 1U);
    EXPECT_EQ(slow[0].pausePerByte, 4ms);
    const auto late = injector.ApplyToAnswer({.what = What::Late, .delay = 250ms}, kFrame);
    ASSERT_EQ(late.size(), 1U);
    EXPECT_EQ(late[0].delay, 250ms);
    EXPECT_EQ(injector.ApplyToAnswer({.what = What::Duplicate}, kFrame).size(), 2U);
    EXPECT_TRUE(injector.ApplyToAnswer({.what = What::Drop}, kFrame).empty());
}

}  // namespace
}  // namespace simulator
