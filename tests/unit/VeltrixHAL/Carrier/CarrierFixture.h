// What the tests of the carrier services share: a carrier interface of their own between a stand-in carrier and a bus,
// in a folder of their own, on a clock that takes no time.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "VeltrixHAL/BusClient.h"
#include "tests/support/Broker.h"
#include "tests/support/BusProbe.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/ScratchFolder.h"
#include "tests/unit/VeltrixHAL/Carrier/CarrierStub.h"
#include "tests/unit/VeltrixHAL/Carrier/LogWatch.h"
#include "tests/unit/VeltrixHAL/Carrier/TestCarrier.h"
#include "tests/unit/VeltrixHAL/Carrier/Texts.h"
#include "tests/unit/VeltrixHAL/Support/ConsoleCapture.h"
#include "tests/unit/VeltrixHAL/Support/FakeSystem.h"
#include "tests/unit/VeltrixHAL/Support/FakeTime.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"
#include "tests/unit/VeltrixHAL/Support/GlobalsGuard.h"

#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// No broker: every publication fails.
class CarrierTest : public testing::Test {
protected:
    using Bytes = CarrierStub::Bytes;

    CarrierTest() {
        BusClient::SetSocket(mFolder.Path("bus"));
        TestCarrier::ResetClassState();
        mCarrier = std::make_unique<TestCarrier>(mLine.Port(), mClient);
    }

    // The carrier sends a frame of its own accord.
    void Receive(const Bytes& frame) {
        mLine.Port().Feed(frame);
        mCarrier->Process();
    }

    // What `action` writes on the console, line by line.
    static std::vector<std::string> Printed(const std::function<void()>& action) {
        ConsoleCapture console;
        action();
        return Lines(console.Take());
    }

    // The messages of the log that hold `part`, so that others do not matter.
    std::vector<LogLine> LogWith(const std::string& part) {
        std::vector<LogLine> lines = mLog.Take();
        std::erase_if(lines, [&](const LogLine& line) { return line.text.find(part) == std::string::npos; });
        return lines;
    }

    // What `action` has said when it sends this frame for the first time.
    struct Said {
        std::vector<std::string> printed;
        std::vector<LogLine> logged;
    };
    Said SaidBefore(const Bytes& frame, const std::function<void()>& action) {
        Said said;
        bool isSent = false;
        ConsoleCapture console;
        mLog.Take();
        WatchLine([&](const Bytes& sent) {
            if (!isSent && sent == frame) {
                isSent = true;
                said = {Lines(console.Take()), mLog.Take()};
            }
        });
        action();
        WatchLine(nullptr);
        EXPECT_TRUE(isSent) << Hex(frame) << " was not sent";
        return said;
    }

    // What `action` has printed when it first logs this line.
    static std::vector<std::string> PrintedBefore(const std::string& line, const std::function<void()>& action) {
        std::vector<std::string> printed;
        bool isLogged = false;
        ConsoleCapture console;
        const LogWatch watch([&](const std::string& logged) {
            if (!isLogged && logged == line) {
                isLogged = true;
                printed = Lines(console.Take());
            }
        });
        action();
        EXPECT_TRUE(isLogged) << line << " was not logged";
        return printed;
    }

    virtual void WatchLine(CarrierStub::Watcher watcher) { mLine.Watch(std::move(watcher)); }

    static std::string AckHex() { return "0A 01 00 00 7A AC"; }

    const ScratchFolder mFolder;
    const ScopedVariable mRoot{"VELTRIX_ROOT", mFolder.Path()};
    const GlobalsGuard mGlobals;
    LogCapture mLog;
    FakeSystem mSystem;
    ControlledClock mClock;
    CarrierStub mLine;
    EventClient mClient{"VeltrixHAL"};
    std::unique_ptr<TestCarrier> mCarrier;
};

// With a broker, and a probe that sees everything on it.
class CarrierOnBusTest : public CarrierTest {
protected:
    CarrierOnBusTest() {
        mProbe.Subscribe("#");
        BusClient::SetSocket(mBroker.Socket());
        EXPECT_EQ(mClient.Connect(mBroker.Socket()), 0);
    }
    // Before the broker goes: a client whose last message was not confirmed would wait for its return.
    ~CarrierOnBusTest() override { mClient.Disconnect(); }

    // All that was published on a topic. Whatever was published before the call, by the interface's own client too, has
    // arrived.
    std::vector<std::string> Published(const std::string& topic) {
        EXPECT_EQ(mClient.Publish("marker", RequestType()), 0);
        EXPECT_TRUE(mProbe.WaitFor("marker", ++mMarkers));
        return mProbe.Payloads(topic);
    }

    // The only message on a topic, read as its data type.
    template <typename DataType>
    DataType OnlyOn(const std::string& topic) {
        DataType data;
        const std::vector<std::string> payloads = Published(topic);
        EXPECT_EQ(payloads.size(), 1U) << topic;
        if (payloads.size() == 1) {
            EXPECT_FALSE(data.ReadJson(payloads.front()).problem.size()) << payloads.front();
        }
        return data;
    }

    static void ExpectNow(const DateTime& time) {
        EXPECT_LE(time, DateTime::Now(0));
        EXPECT_GE(time, DateTime::Now(-20));
    }

    Broker mBroker;
    BusProbe mProbe{mBroker.Socket()};

private:
    std::size_t mMarkers = 0;
};
