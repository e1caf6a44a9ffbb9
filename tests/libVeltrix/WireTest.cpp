// What goes over the socket, byte by byte: any MQTT 3.1.1 broker must understand it.
#include <cerrno>
#include <future>

#include "tests/libVeltrix/BusFixture.h"
#include "tests/libVeltrix/FakeBroker.h"

namespace {

class Wire : public LogFixture {
protected:
    // Connects, and returns the greeting.
    std::string Connect() {
        auto result = std::async(std::launch::async, [this] { return mClient.Connect(mBroker.Socket()); });
        mBroker.Accept();
        std::string greeting = mBroker.ReadPacket();
        mBroker.Write(std::string("\x20\x02\x00\x00", 4));
        EXPECT_EQ(result.get(), 0);
        return greeting;
    }

    FakeBroker mBroker;
    EventClient mClient{"wire"};
    const ProcessReady mPrototype{};
};

TEST_F(Wire, GreetsWithACleanSessionAndAUniqueName) {
    const std::string greeting = Connect();
    // CONNECT; "MQTT", level 4; clean session and nothing else; keep alive 60 s; the identifier with its length.
    EXPECT_EQ(greeting.substr(0, 1), "\x10");
    EXPECT_EQ(greeting.substr(2, 10), std::string("\x00\x04MQTT\x04\x02\x00\x3C", 10));
    EXPECT_EQ(greeting.substr(14, 5), "wire-");
    const std::string first = greeting.substr(14);
    EXPECT_EQ(mClient.Disconnect(), 0);
    const std::string second = Connect().substr(14);
    EXPECT_NE(first, second);
    EXPECT_EQ(mClient.Disconnect(), 0);
}

TEST_F(Wire, SubscribesWithQualityOfServiceOne) {
    Connect();
    Recorder recorder;
    auto result = std::async(std::launch::async, [&] {
        return mClient.Subscribe("led_settings", Recorder::Handle, &mPrototype, &recorder, false);
    });
    const std::string request = mBroker.ReadPacket();
    EXPECT_EQ(request.substr(0, 2), "\x82\x11");
    EXPECT_EQ(request.substr(4), std::string("\x00\x0Cled_settings\x01", 15));
    mBroker.Write(std::string("\x90\x03", 2) + request.substr(2, 2) + "\x01");
    EXPECT_EQ(result.get(), 0);
}

TEST_F(Wire, ARefusedSubscriptionIsNoPermissionAndForgotten) {
    Connect();
    Recorder recorder;
    for (int attempt = 0; attempt < 2; ++attempt) {
        auto result = std::async(std::launch::async, [&] {
            return mClient.Subscribe("led_settings", Recorder::Handle, &mPrototype, &recorder, false);
        });
        const std::string request = mBroker.ReadPacket();
        mBroker.Write(std::string("\x90\x03", 2) + request.substr(2, 2) + "\x80");
        EXPECT_EQ(result.get(), -EACCES);
    }
    mBroker.Write(std::string("\x32\x12\x00\x0Cled_settings\x12\x34{}", 20));
    EXPECT_EQ(mBroker.ReadPacket(), std::string("\x40\x02\x12\x34", 4));
    EXPECT_EQ(mClient.Disconnect(), 0);
    EXPECT_EQ(recorder.Count(), 0U);
}

TEST_F(Wire, PublishesWithQualityOfServiceOneNotRetained) {
    Connect();
    ProcessReady message;
    message.set_index(512);
    ASSERT_EQ(mClient.Publish("process_ready", message), 0);
    const std::string packet = mBroker.ReadPacket();
    // PUBLISH with bits 1 (quality of service 1); 2 + 13 + 2 + 13 bytes.
    EXPECT_EQ(packet.substr(0, 2), "\x32\x1E");
    EXPECT_EQ(packet.substr(2, 15), std::string("\x00\x0Dprocess_ready", 15));
    EXPECT_EQ(packet.substr(19), R"({"index":512})");
    mBroker.Write(std::string("\x40\x02", 2) + packet.substr(17, 2));
    EXPECT_EQ(mClient.Disconnect(), 0);
}

TEST_F(Wire, AcknowledgesWhatItReceives) {
    Connect();
    mBroker.Write(std::string("\x32\x08\x00\x02t1\x12\x34{}", 10));
    EXPECT_EQ(mBroker.ReadPacket(), std::string("\x40\x02\x12\x34", 4));
    EXPECT_EQ(mClient.Disconnect(), 0);
    EXPECT_EQ(mBroker.ReadPacket(), std::string("\xE0\x00", 2));
}

TEST_F(Wire, ASecondConnectWhileTheFirstWaitsForItsAnswerIsRefused) {
    auto first = std::async(std::launch::async, [this] { return mClient.Connect(mBroker.Socket()); });
    mBroker.Accept();
    mBroker.ReadPacket();
    EXPECT_EQ(mClient.Connect(mBroker.Socket()), -EALREADY);
    mBroker.Write(std::string("\x20\x02\x00\x00", 4));
    EXPECT_EQ(first.get(), 0);
    EXPECT_EQ(mClient.Disconnect(), 0);
}

TEST_F(Wire, ASubscriptionThatIsRefusedAfterAReturnIsReportedAndKept) {
    Connect();
    Recorder recorder;
    auto result = std::async(std::launch::async, [&] {
        return mClient.Subscribe("led_settings", Recorder::Handle, &mPrototype, &recorder, false);
    });
    std::string request = mBroker.ReadPacket();
    mBroker.Write(std::string("\x90\x03", 2) + request.substr(2, 2) + "\x01");
    ASSERT_EQ(result.get(), 0);

    const auto comeBack = [this](const std::string& grant) {
        mBroker.HangUp();
        mBroker.Accept();
        mBroker.ReadPacket();
        mBroker.Write(std::string("\x20\x02\x00\x00", 4));
        const std::string again = mBroker.ReadPacket();
        EXPECT_EQ(again.substr(4), std::string("\x00\x0Cled_settings\x01", 15));
        mBroker.Write(std::string("\x90\x03", 2) + again.substr(2, 2) + grant);
    };
    comeBack("\x80");
    EXPECT_TRUE(WaitUntil([this] {
        return Log().find("refuses \"led_settings\" since it came back") != std::string::npos;
    })) << Log();
    comeBack("\x01");
    mBroker.Write(std::string("\x32\x12\x00\x0Cled_settings\x12\x34{}", 20));
    EXPECT_TRUE(recorder.WaitFor(1)) << "it was asked for again at the next return";
    EXPECT_EQ(mClient.Disconnect(), 0);
}

}  // namespace
