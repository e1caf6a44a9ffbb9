#include <atomic>
#include <cerrno>
#include <memory>
#include <optional>
#include <stdexcept>

#include "tests/libVeltrix/BusFixture.h"

namespace {

using namespace std::chrono_literals;

class Handler : public BusFixture {
protected:
    Handler() { EXPECT_EQ(mClient.Connect(Socket()), 0); }

    EventClient mClient{"client"};
};

TEST_F(Handler, NotDeferredRunsOnTheLibrarysThread) {
    Recorder recorder;
    ASSERT_EQ(mClient.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &recorder, false), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(2)), 0);
    ASSERT_TRUE(recorder.WaitFor(2));
    const auto calls = recorder.Calls();
    EXPECT_NE(calls[0].thread, std::this_thread::get_id());
    EXPECT_EQ(calls[0].thread, calls[1].thread);
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 0);
}

TEST_F(Handler, MayPublishFromTheLibrarysThread) {
    HALInfo identity;
    identity.set_serialNumber("SN-7");
    const auto answer = [](EventClient* client, VeltrixDataTypeBase*, int, void* context) {
        EXPECT_EQ(client->Publish("hal_info", *static_cast<HALInfo*>(context)), 0);
    };
    const RequestType prototype;
    ASSERT_EQ(mClient.Subscribe("req_hal_info", answer, &prototype, &identity, false), 0);
    BusProbe probe(Socket());
    probe.Subscribe("hal_info");
    for (std::size_t i = 1; i <= 20; ++i) {
        probe.Publish("req_hal_info", "");
        ASSERT_TRUE(probe.WaitFor("hal_info", i));
    }
    EXPECT_EQ(probe.Payloads("hal_info")[0], R"({"serialNumber":"SN-7","machineType":"","revisionNumber":0})");
}

struct Attempts {
    std::string socket;
    std::atomic<int> subscribe{1};
    std::atomic<int> disconnect{1};
    std::atomic<int> connect{1};
    std::atomic<bool> isDone{false};
};

TEST_F(Handler, WhatWouldWaitForTheLibrarysThreadIsRefusedOnIt) {
    Attempts attempts;
    attempts.socket = Socket();
    const auto attempt = [](EventClient* client, VeltrixDataTypeBase* message, int, void* context) {
        auto* const results = static_cast<Attempts*>(context);
        results->subscribe = client->Subscribe("other", Recorder::Handle, message, nullptr, true);
        results->disconnect = client->Disconnect();
        results->connect = client->Connect(results->socket);
        results->isDone = true;
    };
    ASSERT_EQ(mClient.Subscribe("process_ready", attempt, &mNumberPrototype, &attempts, false), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    ASSERT_TRUE(WaitUntil([&] { return attempts.isDone.load(); }));
    EXPECT_EQ(attempts.subscribe, -EDEADLK);
    EXPECT_EQ(attempts.disconnect, -EDEADLK);
    EXPECT_EQ(attempts.connect, -EISCONN);
    EXPECT_EQ(mClient.Publish("process_ready", Numbered(2)), 0) << "it must still be connected";
}

TEST_F(Handler, MayUseAShortLivedClientOfItsOwn) {
    struct Work {
        std::string socket;
        std::atomic<bool> isDone = false;
    };
    Work work{.socket = Socket()};
    const auto publish = [](EventClient*, VeltrixDataTypeBase* message, int, void* context) {
        auto* const self = static_cast<Work*>(context);
        {
            EventClient other("client");
            EXPECT_EQ(other.Connect(self->socket), 0);
            EXPECT_EQ(other.Publish("answer", *message), 0);
            EXPECT_EQ(other.Disconnect(), 0);
        }
        self->isDone = true;
    };
    ASSERT_EQ(mClient.Subscribe("process_ready", publish, &mNumberPrototype, &work, false), 0);
    BusProbe probe(Socket());
    probe.Subscribe("answer");
    probe.Publish("process_ready", Json(3));
    ASSERT_TRUE(probe.WaitFor("answer", 1));
    EXPECT_EQ(probe.Payloads("answer")[0], Json(3));
    // The log and the broker have to outlive the other client.
    ASSERT_TRUE(WaitUntil([&work] { return work.isDone.load(); }));
}

// Throws for odd numbers.
void ThrowSometimes(EventClient*, VeltrixDataTypeBase* message, int, void* context) {
    const std::uint32_t number = dynamic_cast<ProcessReady&>(*message).get_index();
    ++*static_cast<std::atomic<int>*>(context);
    if (number == 1) {
        throw std::runtime_error("it {} went wrong");
    }
    if (number == 3) {
        throw 42;
    }
}

TEST_F(Handler, AnExceptionIsCaughtAndLoggedWithTheTopicOnEitherThread) {
    for (const bool deferred : {false, true}) {
        const std::string topic = deferred ? "later" : "now";
        std::atomic<int> calls{0};
        ASSERT_EQ(mClient.Subscribe(topic, ThrowSometimes, &mNumberPrototype, &calls, deferred), 0);
        for (std::uint32_t i = 0; i < 5; ++i) {
            ASSERT_EQ(mClient.Publish(topic, Numbered(i)), 0);
        }
        ASSERT_TRUE(WaitUntil([&] {
            mClient.ExecuteDeferredEventHandlers(0);
            return calls == 5;
        }));
        EXPECT_EQ(CountInLog("[warning] The handler of \"" + topic + "\" failed: it {} went wrong\n"), 1U);
        EXPECT_EQ(CountInLog("[warning] The handler of \"" + topic + "\" failed\n"), 1U);
    }
}

struct LastCopy {
    std::optional<EventClient> client;
    std::atomic<bool> isDone{false};
};

void EndLastCopy(EventClient*, VeltrixDataTypeBase*, int, void* context) {
    auto* const last = static_cast<LastCopy*>(context);
    last->client.reset();
    last->isDone = true;
}

TEST_F(Handler, TheLastCopyMayEndOnTheLibrarysThread) {
    LastCopy last{EventClient("vanishing"), {}};
    ASSERT_EQ(last.client->Connect(Socket()), 0);
    ASSERT_EQ(last.client->Subscribe("process_ready", EndLastCopy, &mNumberPrototype, &last, false), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    EXPECT_TRUE(WaitUntil([&] { return last.isDone.load(); }));
    EXPECT_TRUE(WaitUntil([this] {
        const std::string log = mBroker.Log();
        const std::size_t at = log.find("Client vanishing-");
        return at != std::string::npos && log.find(" disconnected.", at) != std::string::npos;
    })) << mBroker.Log();
}

TEST_F(Handler, TheLastCopyMayEndInADeferredHandler) {
    LastCopy last{EventClient("vanishing"), {}};
    ASSERT_EQ(last.client->Connect(Socket()), 0);
    ASSERT_EQ(last.client->Subscribe("process_ready", EndLastCopy, &mNumberPrototype, &last, true), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    EXPECT_EQ(last.client->ExecuteDeferredEventHandlers(10'000), 1);
    EXPECT_TRUE(last.isDone);
}

struct Gate {
    std::atomic<bool> isEntered{false};
    std::atomic<bool> isOpen{false};
};

void WaitAtGate(EventClient*, VeltrixDataTypeBase*, int, void* context) {
    auto* const gate = static_cast<Gate*>(context);
    gate->isEntered = true;
    WaitUntil([gate] { return gate->isOpen.load(); }, 30s);
}

TEST_F(Handler, OneThatHangsHoldsUpDisconnectForTwoSecondsOnly) {
    Gate gate;
    EventClient client("hanging");
    ASSERT_EQ(client.Connect(Socket()), 0);
    ASSERT_EQ(client.Subscribe("process_ready", WaitAtGate, &mNumberPrototype, &gate, false), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    ASSERT_TRUE(WaitUntil([&] { return gate.isEntered.load(); }));
    const auto start = Clock::now();
    EXPECT_EQ(client.Disconnect(), 0);
    EXPECT_LT(Clock::now() - start, 3s);
    gate.isOpen = true;
    EXPECT_TRUE(WaitUntil([this] {
        const std::string log = mBroker.Log();
        return log.find(" disconnected.", log.find("Client hanging-")) != std::string::npos;
    }));
}

}  // namespace
