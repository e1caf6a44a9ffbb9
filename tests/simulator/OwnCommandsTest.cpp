#include "CarrierSimulator/OwnCommands.h"

#include <gtest/gtest.h>

#include <vector>

#include "CarrierSimulator/CarrierCommand.h"

namespace simulator {
namespace {

using namespace std::chrono_literals;
using State = OwnCommand::State;

const TimePoint kStart = TimePoint{} + 1h;

std::vector<uint64_t> TakeAll(OwnCommands& book, TimePoint now) {
    std::vector<uint64_t> ids;
    while (const OwnCommand* own = book.TakeDue(now)) {
        ids.push_back(own->id);
        book.NoteSent(ids.back(), now);
    }
    return ids;
}

State StateOf(const OwnCommands& book, uint64_t id) {
    return book.Find(id)->state;
}

TEST(OwnCommands, AnswerBelongsToTheOldestThatWaits) {
    OwnCommands book({});
    const uint64_t first = book.Add(command::kErrorMessage, {1}, true);
    const uint64_t second = book.Add(command::kPowerFail, {}, true);
    EXPECT_EQ(TakeAll(book, kStart), (std::vector<uint64_t>{first, second}));
    const OwnCommand* answered = book.NoteAck({7, 8}, kStart + 10ms);
    ASSERT_NE(answered, nullptr);
    EXPECT_EQ(answered->id, first);
    EXPECT_EQ(book.Find(first)->answer, (Bytes{7, 8}));
    EXPECT_EQ(StateOf(book, first), State::Acked);
    EXPECT_EQ(StateOf(book, second), State::Sent);
    EXPECT_EQ(book.NoteNack(13, kStart + 20ms)->id, second);
    EXPECT_EQ(StateOf(book, second), State::Nacked);
    EXPECT_EQ(book.Find(second)->nackCodes, (Bytes{13}));
    EXPECT_EQ(book.NoteAck({}, kStart + 30ms), nullptr);
    EXPECT_EQ(book.Deadline(), std::nullopt);
}

TEST(OwnCommands, WithoutAnAnswerItIsGivenUpInTime) {
    OwnCommands book({.attempts = 1, .answerTime = 500ms});
    const uint64_t id = book.Add(command::kErrorMessage, {}, true);
    TakeAll(book, kStart);
    EXPECT_EQ(book.Deadline(), kStart + 500ms);
    EXPECT_TRUE(TakeAll(book, kStart + 499ms).empty());
    EXPECT_EQ(StateOf(book, id), State::Sent);
    EXPECT_TRUE(TakeAll(book, kStart + 500ms).empty());
    EXPECT_EQ(StateOf(book, id), State::Unanswered);
}

TEST(OwnCommands, SeveralThatRanOutAtOnceAreAllGivenUp) {
    OwnCommands book({.attempts = 1, .answerTime = 500ms});
    const uint64_t first = book.Add(command::kErrorMessage, {}, true);
    const uint64_t second = book.Add(command::kErrorMessage, {}, true);
    TakeAll(book, kStart);
    const uint64_t third = book.Add(command::kErrorMessage, {}, true);
    EXPECT_EQ(TakeAll(book, kStart + 600ms), (std::vector<uint64_t>{third}));
    EXPECT_EQ(StateOf(book, first), State::Unanswered);
    EXPECT_EQ(StateOf(book, second), State::Unanswered);
}

TEST(OwnCommands, IsSentAgainAfterSilenceAndAfterANack) {
    OwnCommands book({.attempts = 3, .answerTime = 500ms});
    const uint64_t id = book.Add(command::kErrorMessage, {}, true);
    TakeAll(book, kStart);
    EXPECT_EQ(TakeAll(book, kStart + 500ms).size(), 1U);
    book.NoteNack(11, kStart + 510ms);
    EXPECT_TRUE(TakeAll(book, kStart + 522ms).empty());
    EXPECT_EQ(TakeAll(book, kStart + 523ms).size(), 1U);
    book.NoteNack(11, kStart + 530ms);
    EXPECT_EQ(StateOf(book, id), State::Nacked);
    EXPECT_EQ(book.Find(id)->timesSent, 3U);
}

TEST(OwnCommands, OneByOneTheNextWaitsAndASecondAnswerStaysWithTheFirst) {
    OwnCommands book({.answerTime = 500ms, .isOneByOne = true, .pauseAfterAnswer = 50ms});
    const uint64_t first = book.Add(command::kErrorMessage, {}, true);
    const uint64_t second = book.Add(command::kErrorMessage, {}, true);
    EXPECT_EQ(TakeAll(book, kStart), (std::vector<uint64_t>{first}));
    book.NoteAckOnLine();
    book.NoteAck({}, kStart + 10ms);
    EXPECT_TRUE(TakeAll(book, kStart + 59ms).empty());
    book.NoteAckOnLine();
    book.NoteAck({}, kStart + 20ms);
    EXPECT_EQ(TakeAll(book, kStart + 70ms), (std::vector<uint64_t>{second}));
    EXPECT_EQ(book.Find(first)->acks, 2U);
    EXPECT_EQ(book.Find(first)->acksOnLine, 2U);
    EXPECT_EQ(book.Find(second)->acks, 0U);
}

TEST(OwnCommands, ThePauseEndsWhenEveryCopyIsAnswered) {
    OwnCommands book({.answerTime = 500ms, .isOneByOne = true, .pauseAfterAnswer = 100ms});
    const uint64_t first = book.Add(command::kErrorMessage, {}, true);
    const uint64_t second = book.Add(command::kErrorMessage, {}, true);
    const uint64_t third = book.Add(command::kErrorMessage, {}, true);
    TakeAll(book, kStart);
    book.NoteCopy(first);
    book.NoteCopy(first);
    book.NoteAckOnLine();
    book.NoteAck({}, kStart + 10ms);
    EXPECT_TRUE(TakeAll(book, kStart + 11ms).empty()) << "one of two is still to be answered";
    book.NoteRefusalOnLine();
    EXPECT_EQ(TakeAll(book, kStart + 12ms), (std::vector<uint64_t>{second})) << "a refusal is an answer, too";
    EXPECT_EQ(book.Find(first)->refusalsOnLine, 1U);
    book.NoteCopy(second);
    book.NoteAckOnLine();
    book.NoteAck({}, kStart + 20ms);
    EXPECT_EQ(TakeAll(book, kStart + 20ms), (std::vector<uint64_t>{third}));
}

TEST(OwnCommands, WhatNobodyAnswersIsOverWhenItIsSent) {
    OwnCommands book({.isOneByOne = true});
    const uint64_t first = book.Add(command::kDropbear, {}, false);
    const uint64_t second = book.Add(command::kPowerFail, {}, true);
    EXPECT_EQ(TakeAll(book, kStart), (std::vector<uint64_t>{first, second}));
    EXPECT_EQ(StateOf(book, first), State::NotAnswered);
}

TEST(OwnCommands, RestartLeavesNothingWaiting) {
    OwnCommands book({});
    const uint64_t id = book.Add(command::kPowerFail, {}, true);
    TakeAll(book, kStart);
    book.Abandon();
    EXPECT_EQ(StateOf(book, id), State::Unanswered);
    EXPECT_EQ(book.NoteAck({}, kStart), nullptr);
}

TEST(OwnCommands, RemembersOnlyTheLatest) {
    OwnCommands book({.remembered = 10});
    for (int count = 0; count < 100; ++count) {
        book.Add(command::kPowerFail, {}, true);
        TakeAll(book, kStart);
        book.NoteAck({}, kStart);
    }
    EXPECT_LE(book.All().size(), 11U);
    EXPECT_EQ(book.All().back().id, 100U);
}

}  // namespace
}  // namespace simulator
