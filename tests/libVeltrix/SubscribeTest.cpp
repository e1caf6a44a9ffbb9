#include <cerrno>

#include "tests/libVeltrix/BusFixture.h"

namespace {

using namespace std::chrono_literals;

class Subscribe : public BusFixture {
protected:
    Subscribe() { EXPECT_EQ(mClient.Connect(Socket()), 0); }

    int To(const std::string& topic, Recorder& recorder, bool deferred = false) {
        return mClient.Subscribe(topic, Recorder::Handle, &mNumberPrototype, &recorder, deferred);
    }

    EventClient mClient{"client"};
};

TEST_F(Subscribe, AClientHearsWhatItPublishesItself) {
    Recorder recorder;
    ASSERT_EQ(To("process_ready", recorder), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(512)), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Calls()[0].json, Json(512));
    EXPECT_EQ(recorder.Calls()[0].reserved, 0);
}

TEST_F(Subscribe, ClientsHearEachOther) {
    EventClient other("client");
    ASSERT_EQ(other.Connect(Socket()), 0);
    Recorder mine;
    Recorder theirs;
    ASSERT_EQ(To("one", mine), 0);
    ASSERT_EQ(other.Subscribe("two", Recorder::Handle, &mNumberPrototype, &theirs, false), 0);
    ASSERT_EQ(other.Publish("one", Numbered(1)), 0);
    ASSERT_EQ(mClient.Publish("two", Numbered(2)), 0);
    ASSERT_TRUE(mine.WaitFor(1));
    ASSERT_TRUE(theirs.WaitFor(1));
    EXPECT_EQ(mine.Calls()[0].json, Json(1));
    EXPECT_EQ(theirs.Calls()[0].json, Json(2));
}

TEST_F(Subscribe, AMessagePublishedAfterTheReturnIsNeverMissed) {
    BusProbe probe(Socket());
    std::vector<Recorder> recorders(100);
    for (std::size_t i = 0; i < recorders.size(); ++i) {
        const std::string topic = "topic_" + std::to_string(i);
        ASSERT_EQ(To(topic, recorders[i]), 0);
        probe.PublishLater(topic, Json(7));
    }
    for (const Recorder& recorder : recorders) {
        EXPECT_TRUE(recorder.WaitFor(1));
    }
}

TEST_F(Subscribe, TopicsMatchExactly) {
    Recorder recorder;
    ASSERT_EQ(To("hal_status", recorder), 0);
    BusProbe probe(Socket());
    for (const char* const other : {"hal", "hal_status_", "HAL_STATUS", "hal_status/x", "/hal_status", " hal_status"}) {
        probe.Publish(other, Json(1));
    }
    probe.Publish("hal_status", Json(2));
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Count(), 1U);
    EXPECT_EQ(recorder.Calls()[0].json, Json(2));
}

TEST_F(Subscribe, AFurtherHandlerOfATopicIsAddedToTheFirst) {
    Recorder first;
    Recorder second;
    Recorder deferred;
    ASSERT_EQ(To("process_ready", first), 0);
    ASSERT_EQ(To("process_ready", second), 0);
    ASSERT_EQ(To("process_ready", deferred, true), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    EXPECT_TRUE(RunDeferred(mClient, 1));
    EXPECT_TRUE(first.WaitFor(1));
    EXPECT_TRUE(second.WaitFor(1));
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(2)), 0);
    EXPECT_TRUE(RunDeferred(mClient, 1));
    EXPECT_EQ(first.Count(), 2U);
    EXPECT_EQ(second.Count(), 2U);
    EXPECT_EQ(deferred.Count(), 2U);
}

TEST_F(Subscribe, RetainedMessagesAreIgnored) {
    BusProbe probe(Socket());
    probe.Publish("power_down_status", Json(1), true);
    Recorder recorder;
    ASSERT_EQ(To("power_down_status", recorder), 0);
    ASSERT_EQ(mClient.Publish("power_down_status", Numbered(2)), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Count(), 1U);
    EXPECT_EQ(recorder.Calls()[0].json, Json(2));
}

TEST_F(Subscribe, TheCallersPrototypeGivesTheDefaultsAndStaysAsItIs) {
    ProcessReady prototype = Numbered(77);
    Recorder recorder;
    ASSERT_EQ(mClient.Subscribe("process_ready", Recorder::Handle, &prototype, &recorder, false), 0);
    BusProbe probe(Socket());
    probe.Publish("process_ready", "{}");
    probe.Publish("process_ready", "");
    probe.Publish("process_ready", Json(1));
    ASSERT_TRUE(recorder.WaitFor(3));
    EXPECT_EQ(recorder.Calls()[0].json, Json(77));
    EXPECT_EQ(recorder.Calls()[1].json, Json(77));
    EXPECT_EQ(recorder.Calls()[2].json, Json(1));
    EXPECT_EQ(prototype.get_index(), 77U);
}

TEST_F(Subscribe, WhatMakesNoSenseIsInvalid) {
    Recorder recorder;
    EXPECT_EQ(To("", recorder), -EINVAL);
    EXPECT_EQ(To("#", recorder), -EINVAL);
    EXPECT_EQ(To("hal/+", recorder), -EINVAL);
    EXPECT_EQ(To("hal_status#", recorder), -EINVAL);
    EXPECT_EQ(To("hal\xFFstatus", recorder), -EINVAL);
    EXPECT_EQ(To(std::string("hal\0status", 10), recorder), -EINVAL);
    EXPECT_EQ(To(std::string(65'536, 't'), recorder), -EINVAL);
    EXPECT_EQ(mClient.Subscribe("hal_status", nullptr, &mNumberPrototype, nullptr, true), -EINVAL);
    EXPECT_EQ(mClient.Subscribe("hal_status", Recorder::Handle, nullptr, &recorder, true), -EINVAL);
    EXPECT_EQ(To(std::string(65'535, 't'), recorder), 0);
}

TEST_F(Subscribe, ABrokerThatDoesNotAnswerIsWaitedForFiveSeconds) {
    Recorder recorder;
    mBroker.Pause();
    const auto start = Clock::now();
    EXPECT_EQ(To("hal_status", recorder), -ETIMEDOUT);
    EXPECT_GE(Clock::now() - start, 4900ms);
    EXPECT_LT(Clock::now() - start, 6000ms);
    mBroker.Resume();
    // The belated grant is no subscription; a new one works.
    Recorder second;
    EXPECT_EQ(To("hal_status", second), 0);
    ASSERT_EQ(mClient.Publish("hal_status", Numbered(1)), 0);
    EXPECT_TRUE(second.WaitFor(1));
    EXPECT_EQ(recorder.Count(), 0U);
}

TEST_F(Subscribe, WhoeverWaitedInVainForTheBrokerDoesNotWaitAgainToLeaveIt) {
    Recorder recorder;
    mBroker.Pause();
    EXPECT_EQ(To("hal_status", recorder), -ETIMEDOUT);
    ASSERT_EQ(mClient.Publish("hal_status", Numbered(1)), 0);
    const auto start = Clock::now();
    EXPECT_EQ(mClient.Disconnect(), 0);
    EXPECT_LT(Clock::now() - start, 1900ms) << "as long as for a broker that may still answer";
    mBroker.Resume();
}

TEST_F(Subscribe, ABrokerThatAnswersAgainIsWaitedForAgain) {
    Recorder recorder;
    mBroker.Pause();
    EXPECT_EQ(To("hal_status", recorder), -ETIMEDOUT);
    mBroker.Resume();
    ASSERT_EQ(To("hal_status", recorder), 0);
    BusProbe probe(Socket());
    probe.Subscribe("process_ready");
    mBroker.Pause();
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    std::thread resume([this] {
        std::this_thread::sleep_for(300ms);
        mBroker.Resume();
    });
    EXPECT_EQ(mClient.Disconnect(), 0);
    resume.join();
    EXPECT_TRUE(probe.WaitFor("process_ready", 1));
}

TEST_F(Subscribe, ADisconnectEndsTheWait) {
    mBroker.Pause();
    EventClient copy = mClient;
    std::thread disconnector([&copy] { EXPECT_EQ(copy.Disconnect(), 0); });
    Recorder recorder;
    const auto start = Clock::now();
    EXPECT_EQ(To("hal_status", recorder), -ENOTCONN);
    EXPECT_LT(Clock::now() - start, 4000ms);
    disconnector.join();
    mBroker.Resume();
}

TEST_F(Subscribe, EndsWithTheDisconnect) {
    Recorder recorder;
    ASSERT_EQ(To("hal_status", recorder), 0);
    ASSERT_EQ(mClient.Disconnect(), 0);
    ASSERT_EQ(mClient.Connect(Socket()), 0);
    Recorder second;
    ASSERT_EQ(To("other", second), 0);
    ASSERT_EQ(mClient.Publish("hal_status", Numbered(1)), 0);
    ASSERT_EQ(mClient.Publish("other", Numbered(2)), 0);
    EXPECT_TRUE(second.WaitFor(1));
    EXPECT_EQ(recorder.Count(), 0U);
}

}  // namespace
