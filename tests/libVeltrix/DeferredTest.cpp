#include <algorithm>
#include <cerrno>

#include "tests/libVeltrix/BusFixture.h"

namespace {

using namespace std::chrono_literals;

class Deferred : public BusFixture {
protected:
    Deferred() { EXPECT_EQ(mClient.Connect(Socket()), 0); }

    void SubscribeTo(const std::string& topic, Recorder& recorder, bool deferred = true) {
        ASSERT_EQ(mClient.Subscribe(topic, Recorder::Handle, &mNumberPrototype, &recorder, deferred), 0);
    }

    // Returns when everything published before is in the client's queue.
    void Settle(BusProbe& probe) {
        if (!mHasMark) {
            SubscribeTo("mark", mMarks, false);
            mHasMark = true;
        }
        const std::size_t before = mMarks.Count();
        probe.Publish("mark", "{}");
        ASSERT_TRUE(WaitUntil([&] { return mMarks.Count() > before; }, 40s));
    }

    EventClient mClient{"client"};
    Recorder mMarks;
    bool mHasMark = false;
};

TEST_F(Deferred, HandlersRunOnTheCallersThreadInTheOrderOfArrival) {
    Recorder all;
    for (const char* const topic : {"a", "b", "c"}) {
        SubscribeTo(topic, all);
    }
    BusProbe probe(Socket());
    for (std::uint32_t i = 0; i < 30; ++i) {
        probe.PublishLater(std::string(1, static_cast<char>('a' + i * 7 % 3)), Json(i));
    }
    Settle(probe);
    EXPECT_EQ(all.Count(), 0U);
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 30);
    const auto calls = all.Calls();
    ASSERT_EQ(calls.size(), 30U);
    for (std::uint32_t i = 0; i < 30; ++i) {
        EXPECT_EQ(calls[i].json, Json(i));
        EXPECT_EQ(calls[i].thread, std::this_thread::get_id());
        EXPECT_EQ(calls[i].reserved, 0);
    }
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 0);
}

TEST_F(Deferred, WaitsForAFirstMessageNoLongerThanAsked) {
    Recorder recorder;
    SubscribeTo("process_ready", recorder);
    auto start = Clock::now();
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(50), 0);
    EXPECT_GE(Clock::now() - start, 50ms);
    start = Clock::now();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 0);
        EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(-5), 0);
    }
    EXPECT_LT(Clock::now() - start, 5s) << "200 calls that each wait would take longer";
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(10'000), 1);
    EXPECT_LT(Clock::now() - start, 5s);
}

struct Feeder {
    BusProbe* probe;
    int runs = 0;
};

TEST_F(Deferred, OnlyHandlersQueuedAtEntryRun) {
    BusProbe probe(Socket());
    probe.Subscribe("process_ready");
    Feeder feeder{&probe};
    // Publishes on its own topic, and returns when the message has been round the broker and is waiting.
    const auto feed = [](EventClient* client, VeltrixDataTypeBase* message, int, void* context) {
        auto* const self = static_cast<Feeder*>(context);
        ++self->runs;
        EXPECT_EQ(client->Publish("process_ready", *message), 0);
        EXPECT_TRUE(self->probe->WaitFor("process_ready", static_cast<std::size_t>(self->runs) + 1));
    };
    ASSERT_EQ(mClient.Subscribe("process_ready", feed, &mNumberPrototype, &feeder, true), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    for (int round = 1; round <= 5; ++round) {
        EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(10'000), 1);
        EXPECT_EQ(feeder.runs, round);
    }
}

TEST_F(Deferred, MessagesPastTenThousandPushOutTheOldest) {
    Recorder recorder;
    SubscribeTo("process_ready", recorder);
    BusProbe probe(Socket());
    for (std::uint32_t i = 0; i < 10'050; ++i) {
        probe.PublishLater("process_ready", Json(i));
    }
    Settle(probe);
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 10'000);
    EXPECT_EQ(recorder.Calls().front().json, Json(50));
    EXPECT_EQ(recorder.Calls().back().json, Json(10'049));
    EXPECT_GE(CountInLog("waiting messages on \"process_ready\" dropped"), 1U);
}

TEST_F(Deferred, AFloodOfSamplesCostsNothingElse) {
    const WeldTraceData sample;
    Recorder samples;
    Recorder ends;
    ASSERT_EQ(mClient.Subscribe("weld_trace_data", Recorder::Handle, &sample, &samples, true), 0);
    SubscribeTo("weld_trigger_end", ends);
    BusProbe probe(Socket());
    probe.PublishLater("weld_trigger_end", Json(1));
    for (int i = 0; i < 20'000; ++i) {
        probe.PublishLater("weld_trace_data",
                           R"({"sequence":)" + std::to_string(i) + R"(,"data":{"amps":200.5,"volts":24.1,"wfs":301}})");
    }
    probe.PublishLater("weld_trigger_end", Json(2));
    Settle(probe);
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 10'000);
    EXPECT_EQ(samples.Count(), 9998U);
    ASSERT_EQ(ends.Count(), 2U);
    EXPECT_EQ(ends.Calls()[0].json, Json(1));
    EXPECT_EQ(ends.Calls()[1].json, Json(2));
}

TEST_F(Deferred, WaitingMessagesAreDroppedByDisconnect) {
    Recorder recorder;
    SubscribeTo("process_ready", recorder);
    BusProbe probe(Socket());
    probe.Publish("process_ready", Json(1));
    Settle(probe);
    ASSERT_EQ(mClient.Disconnect(), 0);
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 0);
    ASSERT_EQ(mClient.Connect(Socket()), 0);
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(0), 0);
    EXPECT_EQ(recorder.Count(), 0U);
}

TEST_F(Deferred, ADisconnectEndsTheWait) {
    EventClient copy = mClient;
    std::thread disconnector([&copy] { EXPECT_EQ(copy.Disconnect(), 0); });
    const auto start = Clock::now();
    EXPECT_EQ(mClient.ExecuteDeferredEventHandlers(30'000), 0);
    EXPECT_LT(Clock::now() - start, 10s);
    disconnector.join();
}

TEST_F(Deferred, AHandlerMayDisconnect) {
    const auto disconnect = [](EventClient* client, VeltrixDataTypeBase*, int, void* context) {
        *static_cast<int*>(context) = client->Disconnect();
    };
    int result = 1;
    ASSERT_EQ(mClient.Subscribe("process_ready", disconnect, &mNumberPrototype, &result, true), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(1)), 0);
    ASSERT_EQ(mClient.Publish("process_ready", Numbered(2)), 0);
    EXPECT_GE(mClient.ExecuteDeferredEventHandlers(10'000), 1);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(mClient.Publish("process_ready", Numbered(3)), -ENOTCONN);
}

}  // namespace
