// What tests with a broker share.
#pragma once

#include <Veltrix/DataTypes.h>
#include <Veltrix/EventClient.h>

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/libVeltrix/LogFixture.h"
#include "tests/support/Broker.h"
#include "tests/support/BusProbe.h"
#include "tests/support/WaitUntil.h"

// Remembers what a handler was called with; `Handle` is the handler and the recorder its context.
class Recorder {
public:
    struct Call {
        std::string json;
        std::thread::id thread;
        int reserved;
    };

    static void Handle(EventClient* /*client*/, VeltrixDataTypeBase* message, int reserved, void* context) {
        auto* const recorder = static_cast<Recorder*>(context);
        const std::lock_guard lock(recorder->mMutex);
        recorder->mCalls.push_back({message->ToJson(), std::this_thread::get_id(), reserved});
    }

    std::vector<Call> Calls() const {
        const std::lock_guard lock(mMutex);
        return mCalls;
    }

    std::size_t Count() const {
        const std::lock_guard lock(mMutex);
        return mCalls.size();
    }

    bool WaitFor(std::size_t count) const {
        return WaitUntil([this, count] { return Count() >= count; });
    }

private:
    mutable std::mutex mMutex;  // guards everything below
    std::vector<Call> mCalls;
};

// A broker of the test's own, and a log.
class BusFixture : public LogFixture {
protected:
    using Clock = std::chrono::steady_clock;

    static ProcessReady Numbered(std::uint32_t number) {
        ProcessReady message;
        message.set_index(number);
        return message;
    }

    static std::string Json(std::uint32_t number) { return "{\"index\":" + std::to_string(number) + "}"; }

    // Runs deferred handlers until so many ran.
    static bool RunDeferred(EventClient& client, int count) {
        return WaitUntil([&client, &count] {
            count -= client.ExecuteDeferredEventHandlers(0);
            return count <= 0;
        });
    }

    const std::string& Socket() const { return mBroker.Socket(); }

    Broker mBroker{Broker::Options{.moreLines = "", .isQueueUnlimited = true, .socket = ""}};
    const ProcessReady mNumberPrototype{};
};
