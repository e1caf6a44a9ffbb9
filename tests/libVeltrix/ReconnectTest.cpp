#include <cerrno>
#include <filesystem>
#include <future>

#include "tests/libVeltrix/BusFixture.h"
#include "tests/libVeltrix/FakeBroker.h"

namespace {

using namespace std::chrono_literals;

class Reconnect : public BusFixture {
protected:
    Reconnect() {
        OpenDoor();
        EXPECT_EQ(mClient.Connect(mDoor), 0);
    }

    // A way to the broker for the client only: while it is closed, others are there before it.
    void OpenDoor() { std::filesystem::create_symlink(Socket(), mDoor); }
    void CloseDoor() { std::filesystem::remove(mDoor); }

    bool IsLossLogged() {
        return WaitUntil([this] { return CountInLog("Lost the broker") == 1; });
    }

    const std::string mDoor = Socket() + ".door";
    EventClient mClient{"client"};
};

TEST_F(Reconnect, AKilledBrokerThatComesBackIsSubscribedToAgain) {
    Recorder now;
    Recorder later;
    ASSERT_EQ(mClient.Subscribe("now", Recorder::Handle, &mNumberPrototype, &now, false), 0);
    ASSERT_EQ(mClient.Subscribe("later", Recorder::Handle, &mNumberPrototype, &later, true), 0);
    mBroker.Kill();
    mBroker.Start();
    BusProbe probe(Socket());
    // Nobody is told of the new subscription, so the message is repeated until it is heard.
    EXPECT_TRUE(WaitUntil([&] {
        probe.Publish("now", Json(1));
        probe.Publish("later", Json(2));
        mClient.ExecuteDeferredEventHandlers(10);
        return now.Count() > 0 && later.Count() > 0;
    }));
    EXPECT_EQ(CountInLog("Lost the broker at"), 1U);
    EXPECT_EQ(CountInLog("Reconnected to the broker at"), 1U);
}

TEST_F(Reconnect, PublicationsMadeMeanwhileArriveInOrderAndTheirPublisherHearsThem) {
    Recorder own;
    ASSERT_EQ(mClient.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &own, false), 0);
    mBroker.Stop();
    CloseDoor();
    for (std::uint32_t i = 0; i < 100; ++i) {
        ASSERT_EQ(mClient.Publish("process_ready", Numbered(i)), 0);
    }
    mBroker.Start();
    BusProbe probe(Socket());
    probe.Subscribe("process_ready");
    OpenDoor();
    ASSERT_TRUE(probe.WaitFor("process_ready", 100));
    ASSERT_TRUE(own.WaitFor(100));
    const auto payloads = probe.Payloads("process_ready");
    for (std::uint32_t i = 0; i < 100; ++i) {
        EXPECT_EQ(payloads[i], Json(i));
        EXPECT_EQ(own.Calls()[i].json, Json(i));
    }
}

TEST_F(Reconnect, OfMoreThanTenThousandPublicationsTheOldestAreDroppedWithOneWarning) {
    mBroker.Stop();
    ASSERT_TRUE(IsLossLogged());
    for (std::uint32_t i = 0; i < 10'500; ++i) {
        ASSERT_EQ(mClient.Publish("process_ready", Numbered(i)), 0);
    }
    // The first ones may still have been taken by a client that was about to let go of the broker.
    EXPECT_TRUE(WaitUntil([this] { return CountInLog("the oldest are dropped") == 1; }));
    CloseDoor();
    mBroker.Start();
    BusProbe probe(Socket());
    probe.Subscribe("process_ready");
    OpenDoor();
    ASSERT_TRUE(probe.WaitFor("process_ready", 10'000, 40s));
    const auto payloads = probe.Payloads("process_ready");
    EXPECT_EQ(payloads.size(), 10'000U);
    EXPECT_EQ(payloads.front(), Json(500));
    EXPECT_EQ(payloads.back(), Json(10'499));
    EXPECT_TRUE(WaitUntil([this] { return CountInLog("[info] 500 publications were dropped") == 1; }));
    EXPECT_EQ(CountInLog("the oldest are dropped"), 1U);
}

TEST_F(Reconnect, SubscribingWhileTheBrokerIsAwayWaitsForIt) {
    mBroker.Stop();
    ASSERT_TRUE(IsLossLogged());
    Recorder recorder;
    auto result = std::async(std::launch::async, [&] {
        return mClient.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &recorder, false);
    });
    mBroker.Start();
    EXPECT_EQ(result.get(), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    EXPECT_TRUE(recorder.WaitFor(1));
}

TEST_F(Reconnect, SubscribingToABrokerThatStaysAwayTimesOut) {
    mBroker.Stop();
    ASSERT_TRUE(IsLossLogged());
    Recorder recorder;
    const auto start = Clock::now();
    EXPECT_EQ(mClient.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &recorder, false), -ETIMEDOUT);
    EXPECT_LT(Clock::now() - start, 6s);
}

TEST_F(Reconnect, DisconnectIsQuickWhileTheBrokerIsAwayUnlessSomethingWaits) {
    EventClient loaded("client");
    ASSERT_EQ(loaded.Connect(Socket()), 0);
    mBroker.Stop();
    ASSERT_TRUE(WaitUntil([this] { return CountInLog("Lost the broker") == 2; }));
    auto start = Clock::now();
    EXPECT_EQ(mClient.Disconnect(), 0);
    EXPECT_LT(Clock::now() - start, 1900ms) << "as long as for what waits";
    ASSERT_EQ(loaded.Publish("process_ready", Numbered(1)), 0);
    start = Clock::now();
    EXPECT_EQ(loaded.Disconnect(), 0);
    EXPECT_GE(Clock::now() - start, 1900ms);
    EXPECT_LT(Clock::now() - start, 3s);
}

// Greets a client that has just been accepted.
void Greet(FakeBroker& broker) {
    broker.ReadPacket();
    broker.Write(std::string("\x20\x02\x00\x00", 4));
}

void ConnectTo(FakeBroker& broker, EventClient& client) {
    auto result = std::async(std::launch::async, [&] { return client.Connect(broker.Socket()); });
    broker.Accept();
    Greet(broker);
    ASSERT_EQ(result.get(), 0);
}

// By hand: within the second that is left, a real broker need not be up on a busy computer.
TEST_F(Reconnect, DisconnectStillDeliversToABrokerThatComesBackInTime) {
    FakeBroker broker;
    EventClient client("client");
    ConnectTo(broker, client);
    broker.HangUp();
    ASSERT_TRUE(IsLossLogged());
    ASSERT_EQ(client.Publish("t", Numbered(1)), 0);
    auto result = std::async(std::launch::async, [&client] { return client.Disconnect(); });
    broker.Accept();  // after 1 s
    Greet(broker);
    const std::string publication = broker.ReadPacket();
    EXPECT_EQ(publication.substr(7), Json(1));  // behind the header, "t" with its length, and the id
    broker.Write(std::string("\x40\x02\x00", 3) + publication[6]);
    EXPECT_EQ(broker.ReadPacket(), std::string("\xE0\x00", 2));
    EXPECT_EQ(result.get(), 0);
    EXPECT_EQ(CountInLog("undelivered"), 0U);
}

TEST_F(Reconnect, PausesDoubleFromOneSecond) {
    FakeBroker broker;
    EventClient client("client");
    ConnectTo(broker, client);
    auto lost = Clock::now();
    broker.HangUp();
    for (const auto pause : {1000ms, 2000ms, 4000ms}) {
        broker.Accept();
        EXPECT_GE(Clock::now() - lost, pause - 50ms);
        EXPECT_LT(Clock::now() - lost, 2 * pause - 50ms) << "as long as the next one";
        lost = Clock::now();
        broker.HangUp();
    }
    EXPECT_EQ(client.Disconnect(), 0);
}

TEST_F(Reconnect, PausesStartAnewOnceTheBrokerWasThere) {
    FakeBroker broker;
    EventClient client("client");
    ConnectTo(broker, client);
    broker.HangUp();
    broker.Accept();  // after 1 s, in vain
    broker.HangUp();
    broker.Accept();  // after 2 s
    Greet(broker);
    ASSERT_TRUE(WaitUntil([this] { return CountInLog("Reconnected to the broker at") == 1; }));
    const auto lost = Clock::now();
    broker.HangUp();
    broker.Accept();
    EXPECT_GE(Clock::now() - lost, 950ms);
    EXPECT_LT(Clock::now() - lost, 3950ms) << "as long as the next one of the old row";
    EXPECT_EQ(client.Disconnect(), 0);
}

TEST_F(Reconnect, PausesGrowToTenSecondsAndNoFurther) {
    FakeBroker broker;
    EventClient client("client");
    ConnectTo(broker, client);
    broker.HangUp();
    for (int attempt = 0; attempt < 4; ++attempt) {  // 1, 2, 4 and 8 s
        broker.Accept();
        if (attempt < 3) {
            broker.HangUp();
        }
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        const auto lost = Clock::now();
        broker.HangUp();
        broker.Accept();
        EXPECT_GE(Clock::now() - lost, 10s);
        EXPECT_LT(Clock::now() - lost, 13s);
    }
    broker.HangUp();
    EXPECT_EQ(client.Disconnect(), 0);
}

TEST_F(Reconnect, AnAttemptThatIsNotAnsweredIsGivenUpAfterFiveSecondsAndTriedAgain) {
    FakeBroker broker;
    EventClient client("client");
    ConnectTo(broker, client);
    const auto lost = Clock::now();
    broker.HangUp();
    broker.Accept();  // after 1 s
    broker.ReadPacket();
    EXPECT_EQ(broker.ReadToEnd(), "");
    EXPECT_GE(Clock::now() - lost, 5950ms);
    EXPECT_LT(Clock::now() - lost, 9s);
    broker.Accept();
    Greet(broker);
    EXPECT_TRUE(WaitUntil([this] { return CountInLog("Reconnected to the broker at") == 1; }));
    EXPECT_EQ(CountInLog("Lost the broker at"), 1U);
    EXPECT_EQ(client.Disconnect(), 0);
}

TEST_F(Reconnect, WhatWasNotAcknowledgedIsSentAgain) {
    FakeBroker broker;
    EventClient client("client");
    ConnectTo(broker, client);
    ASSERT_EQ(client.Publish("t", Numbered(1)), 0);
    const std::string first = broker.ReadPacket();
    broker.HangUp();
    broker.Accept();
    Greet(broker);
    EXPECT_EQ(broker.ReadPacket(), first);
    broker.Write(std::string("\x40\x02\x00", 3) + first[6]);  // acknowledged: the id's low byte is behind "t"
    EXPECT_EQ(client.Disconnect(), 0);
    EXPECT_EQ(broker.ReadPacket(), std::string("\xE0\x00", 2));
}

}  // namespace
