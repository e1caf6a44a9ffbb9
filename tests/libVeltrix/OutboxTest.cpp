#include "libVeltrix/src/Outbox.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using VeltrixDetail::Outbox;
using VeltrixDetail::Publication;

constexpr std::size_t kWindow = 20;

Publication Numbered(int number) {
    return {"topic", std::to_string(number)};
}

int TakeNumber(Outbox& outbox) {
    const auto next = outbox.TakeNext();
    return next ? std::stoi(next->payload) : -1;
}

TEST(Outbox, GivesOutInOrder) {
    Outbox outbox;
    EXPECT_TRUE(outbox.IsEmpty());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(outbox.Push(Numbered(i), 10), 0U);
    }
    EXPECT_FALSE(outbox.IsEmpty());
    EXPECT_EQ(TakeNumber(outbox), 0);
    EXPECT_EQ(TakeNumber(outbox), 1);
    EXPECT_EQ(TakeNumber(outbox), 2);
    EXPECT_EQ(TakeNumber(outbox), -1);
}

TEST(Outbox, DropsTheOldestPastItsBound) {
    Outbox outbox;
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(outbox.Push(Numbered(i), 10), 0U);
    }
    EXPECT_EQ(outbox.Push(Numbered(10), 10), 1U);
    EXPECT_EQ(outbox.Push(Numbered(11), 5), 6U);
    EXPECT_EQ(TakeNumber(outbox), 7);
    EXPECT_EQ(outbox.Size(), 4U);
}

TEST(Outbox, IsBoundedInBytesToo) {
    Outbox outbox;
    const std::string tenMebibytes(10 * 1024 * 1024, 'x');
    std::size_t dropped = 0;
    for (int i = 0; i < 20; ++i) {
        dropped += outbox.Push({"topic", tenMebibytes}, 10'000);
    }
    EXPECT_EQ(dropped, 14U);  // six of them and their topics fit into 64 MiB
    EXPECT_EQ(outbox.Size(), 6U);
}

TEST(Outbox, HoldsBackWhileAFullWindowIsNotAcknowledged) {
    Outbox outbox;
    for (int i = 0; i < 30; ++i) {
        outbox.Push(Numbered(i), 100);
    }
    for (int i = 0; i < static_cast<int>(kWindow); ++i) {
        auto next = outbox.TakeNext();
        ASSERT_TRUE(next.has_value());
        outbox.MarkSent(100 + i, std::move(*next));
    }
    EXPECT_FALSE(outbox.TakeNext().has_value());
    outbox.MarkDelivered(105);
    EXPECT_EQ(TakeNumber(outbox), 20);
    outbox.MarkDelivered(999);  // unknown
    EXPECT_EQ(outbox.Size(), 19U + 9U);
}

TEST(Outbox, SendsAgainWhatWasNotAcknowledgedBeforeEverythingElse) {
    Outbox outbox;
    for (int i = 0; i < 4; ++i) {
        outbox.Push(Numbered(i), 100);
    }
    for (int i = 0; i < 3; ++i) {
        outbox.MarkSent(100 + i, *outbox.TakeNext());
    }
    outbox.MarkDelivered(101);
    EXPECT_EQ(outbox.TakeBackUnacknowledged(100), 0U);
    EXPECT_EQ(TakeNumber(outbox), 0);
    EXPECT_EQ(TakeNumber(outbox), 2);
    EXPECT_EQ(TakeNumber(outbox), 3);
    EXPECT_TRUE(outbox.IsEmpty());
}

TEST(Outbox, WhatComesBackCountsForTheBound) {
    Outbox outbox;
    for (int i = 0; i < 3; ++i) {
        outbox.Push(Numbered(i), 100);
    }
    outbox.MarkSent(100, *outbox.TakeNext());
    EXPECT_EQ(outbox.TakeBackUnacknowledged(2), 1U);
    EXPECT_EQ(TakeNumber(outbox), 1);
}

}  // namespace
