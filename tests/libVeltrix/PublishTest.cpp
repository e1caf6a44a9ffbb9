#include <spdlog/sinks/base_sink.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "tests/libVeltrix/BusFixture.h"

namespace {

using namespace std::chrono_literals;

class Publish : public BusFixture {};

TEST_F(Publish, GoesOutInOrderAcknowledgedAndNeverRetained) {
    BusProbe probe(Socket());
    probe.Subscribe("#");
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    for (std::uint32_t i = 0; i < 1000; ++i) {
        ASSERT_EQ(client.Publish("process_ready", Numbered(i)), 0);
    }
    ASSERT_TRUE(probe.WaitFor("process_ready", 1000));
    const auto messages = probe.Messages();
    ASSERT_EQ(messages.size(), 1000U);
    for (std::uint32_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(messages[i].payload, Json(i));
        EXPECT_EQ(messages[i].qualityOfService, 1);
    }
    // Whoever comes later must find nothing.
    BusProbe late(Socket());
    late.Subscribe("#");
    ASSERT_EQ(client.Publish("last", Numbered(1)), 0);
    ASSERT_TRUE(late.WaitFor("last", 1));
    EXPECT_EQ(late.Messages().size(), 1U);
}

TEST_F(Publish, InvalidTopicsAreRefused) {
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    EXPECT_EQ(client.Publish("", Numbered(1)), -EINVAL);
    EXPECT_EQ(client.Publish("hal/#", Numbered(1)), -EINVAL);
    EXPECT_EQ(client.Publish("+", Numbered(1)), -EINVAL);
    EXPECT_EQ(client.Publish("\xFF", Numbered(1)), -EINVAL);
    EXPECT_EQ(client.Publish(std::string(65'536, 't'), Numbered(1)), -EINVAL);
}

TEST_F(Publish, WhatTheQueueCannotHoldIsRefusedAndNothingElseIsLost) {
    BusProbe probe(Socket());
    probe.Subscribe("#");
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    ASSERT_EQ(client.Publish("before", Numbered(1)), 0);
    ErrorLogType large;
    large.set_message(std::string(std::size_t{64} * 1024 * 1024, 'x'));
    EXPECT_EQ(client.Publish("error_log", large), -EMSGSIZE);
    ASSERT_EQ(client.Publish("behind", Numbered(2)), 0);
    ASSERT_TRUE(probe.WaitFor("behind", 1));
    EXPECT_EQ(probe.Messages().size(), 2U);
}

TEST_F(Publish, ConnectPublishDisconnectAThousandTimesLosesNothing) {
    BusProbe probe(Socket());
    probe.Subscribe("process_ready");
    const auto start = Clock::now();
    for (std::uint32_t i = 0; i < 1000; ++i) {
        EventClient client("client");
        ASSERT_EQ(client.Connect(Socket()), 0);
        ASSERT_EQ(client.Publish("process_ready", Numbered(i)), 0);
        ASSERT_EQ(client.Disconnect(), 0);
    }
    // A few milliseconds each, with room for a busy computer and sanitizers.
    EXPECT_LT(Clock::now() - start, 20s);
    ASSERT_TRUE(probe.WaitFor("process_ready", 1000));
    const auto payloads = probe.Payloads("process_ready");
    for (std::uint32_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(payloads[i], Json(i));
    }
}

TEST_F(Publish, TheEndOfTheLastCopyDeliversToo) {
    BusProbe probe(Socket());
    probe.Subscribe("process_ready");
    for (std::uint32_t i = 0; i < 100; ++i) {
        EventClient client("client");
        ASSERT_EQ(client.Connect(Socket()), 0);
        for (std::uint32_t j = 0; j < 50; ++j) {
            ASSERT_EQ(client.Publish("process_ready", Numbered(j)), 0);
        }
    }
    EXPECT_TRUE(probe.WaitFor("process_ready", 5000));
}

TEST_F(Publish, FromEightThreadsAtOnce) {
    constexpr std::uint32_t kThreads = 8;
    constexpr std::uint32_t kEach = 1000;
    BusProbe probe(Socket());
    probe.Subscribe("#");
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    std::vector<std::thread> threads;
    for (std::uint32_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([copy = client, thread]() mutable {
            for (std::uint32_t i = 0; i < kEach; ++i) {
                EXPECT_EQ(copy.Publish("topic_" + std::to_string(thread), Numbered(i)), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::uint32_t thread = 0; thread < kThreads; ++thread) {
        const std::string topic = "topic_" + std::to_string(thread);
        ASSERT_TRUE(probe.WaitFor(topic, kEach));
        const auto payloads = probe.Payloads(topic);
        for (std::uint32_t i = 0; i < kEach; ++i) {
            ASSERT_EQ(payloads[i], Json(i)) << topic;
        }
    }
}

TEST_F(Publish, ABurstTowardsAPresentBrokerIsNotCut) {
    BusProbe probe(Socket());
    probe.Subscribe("process_ready");
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    for (std::uint32_t i = 0; i < 20'000; ++i) {
        ASSERT_EQ(client.Publish("process_ready", Numbered(i)), 0);
    }
    EXPECT_TRUE(probe.WaitFor("process_ready", 20'000, 40s));
}

TEST_F(Publish, NeverWaitsForABrokerThatDoesNotAnswer) {
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    BusProbe probe(Socket());
    probe.Subscribe("process_ready");
    mBroker.Pause();
    const auto start = Clock::now();
    for (std::uint32_t i = 0; i < 5000; ++i) {
        ASSERT_EQ(client.Publish("process_ready", Numbered(i)), 0);
    }
    EXPECT_LT(Clock::now() - start, 2s);
    mBroker.Resume();
    EXPECT_TRUE(probe.WaitFor("process_ready", 5000));
}

TEST_F(Publish, TextsOfEveryKindArrive) {
    BusProbe probe(Socket());
    probe.Subscribe("error_log");
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    ErrorLogType error;
    error.set_code("{} %s \xFF");
    const std::string longText(1 << 20, 'm');
    error.set_message(longText);
    ASSERT_EQ(client.Publish("error_log", error), 0);
    ASSERT_TRUE(probe.WaitFor("error_log", 1));
    std::string wanted = "{\"code\":\"{} %s \xEF\xBF\xBD\",\"message\":\"";
    wanted.append(longText).append("\",\"timestamp\":\"1970-01-01T00:00:00.000Z\"}");
    EXPECT_EQ(probe.Payloads("error_log")[0], wanted);
}

TEST_F(Publish, DisconnectGivesUpAfterTwoSecondsAndSaysWhatWasLost) {
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    mBroker.Pause();
    for (std::uint32_t i = 0; i < 3; ++i) {
        ASSERT_EQ(client.Publish("process_ready", Numbered(i)), 0);
    }
    const auto start = Clock::now();
    EXPECT_EQ(client.Disconnect(), 0);
    EXPECT_GE(Clock::now() - start, 1900ms);
    EXPECT_LT(Clock::now() - start, 3000ms);
    EXPECT_EQ(CountInLog("with 3 publications undelivered"), 1U);
    mBroker.Resume();
}

// Makes the library's thread late: with what it says of the undelivered it waits, for half a second, until it is told
// that nobody waits for it any more.
class LateSink : public spdlog::sinks::base_sink<std::mutex> {
public:
    explicit LateSink(std::future<void> isLeftAlone) : mIsLeftAlone(std::move(isLeftAlone)) {}

    bool IsThrough() const { return mIsThrough; }

private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        if (std::string_view(message.payload.data(), message.payload.size()).ends_with(" undelivered")) {
            mIsLeftAlone.wait_for(500ms);
            mIsThrough = true;
        }
    }
    void flush_() override {}

    std::future<void> mIsLeftAlone;
    std::atomic<bool> mIsThrough{false};
};

TEST_F(Publish, DisconnectReturnsBehindTheLastWordOfAThreadThatIsLate) {
    std::promise<void> isOver;
    const auto sink = std::make_shared<LateSink>(isOver.get_future());
    VeltrixErrorLog::gRotatingLogger->sinks().push_back(sink);
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    mBroker.Pause();
    ASSERT_EQ(client.Publish("process_ready", Numbered(1)), 0);
    EXPECT_EQ(client.Disconnect(), 0);
    EXPECT_TRUE(sink->IsThrough());
    isOver.set_value();
    EXPECT_TRUE(WaitUntil([&sink] { return sink->IsThrough(); }));
    mBroker.Resume();
}

TEST_F(Publish, DisconnectWaitsForNothingWhenNothingIsLeft) {
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    mBroker.Pause();
    const auto start = Clock::now();
    EXPECT_EQ(client.Disconnect(), 0);
    EXPECT_LT(Clock::now() - start, 1900ms) << "as long as for what is left";
    mBroker.Resume();
}

}  // namespace
