#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <future>

#include "tests/libVeltrix/BusFixture.h"
#include "tests/libVeltrix/FakeBroker.h"

namespace {

using namespace std::chrono_literals;

class Connect : public BusFixture {};

TEST_F(Connect, IsAcceptedAndTakesMilliseconds) {
    auto best = Clock::duration::max();
    for (int round = 0; round < 10; ++round) {
        EventClient client("client");
        const auto start = Clock::now();
        EXPECT_EQ(client.Connect(Socket()), 0);
        EXPECT_EQ(client.Disconnect(), 0);
        best = std::min(best, Clock::now() - start);
    }
    EXPECT_LT(best, 500ms);
}

TEST_F(Connect, ASecondTimeIsRefusedUntilDisconnected) {
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    EXPECT_EQ(client.Connect(Socket()), -EISCONN);
    EXPECT_EQ(client.Disconnect(), 0);
    EXPECT_EQ(client.Connect(Socket()), 0);
}

TEST_F(Connect, WithoutItNothingElseWorks) {
    EventClient client("client");
    EXPECT_EQ(client.Publish("process_ready", Numbered(1)), -ENOTCONN);
    EXPECT_EQ(client.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, nullptr, true), -ENOTCONN);
    EXPECT_EQ(client.Disconnect(), -ENOTCONN);
    EXPECT_EQ(client.ExecuteDeferredEventHandlers(0), 0);
    ASSERT_EQ(client.Connect(Socket()), 0);
    ASSERT_EQ(client.Disconnect(), 0);
    EXPECT_EQ(client.Publish("process_ready", Numbered(1)), -ENOTCONN);
    EXPECT_EQ(client.Disconnect(), -ENOTCONN);
}

TEST_F(Connect, SeveralClientsOfOneNameStayConnected) {
    EventClient first("client");
    EventClient second("client");
    EventClient third("client");
    ASSERT_EQ(first.Connect(Socket()), 0);
    ASSERT_EQ(second.Connect(Socket()), 0);
    ASSERT_EQ(third.Connect(Socket()), 0);
    Recorder recorders[3];
    ASSERT_EQ(first.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &recorders[0], false), 0);
    ASSERT_EQ(second.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &recorders[1], false), 0);
    ASSERT_EQ(third.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &recorders[2], false), 0);
    ASSERT_EQ(second.Publish("process_ready", Numbered(5)), 0);
    for (const Recorder& recorder : recorders) {
        EXPECT_TRUE(recorder.WaitFor(1));
    }
    EXPECT_EQ(mBroker.Log().find("already connected"), std::string::npos) << mBroker.Log();
}

TEST_F(Connect, TakesAnyName) {
    for (const std::string& name : {std::string(), std::string(5000, 'n'), std::string("a\xFF\0/+#\n b", 9)}) {
        EventClient client(name);
        EXPECT_EQ(client.Connect(Socket()), 0) << name.size();
    }
}

TEST_F(Connect, NoSuchSocket) {
    EventClient client("client");
    EXPECT_EQ(client.Connect(mRoot / "nowhere"), -ENOENT);
    EXPECT_EQ(client.Connect(mRoot / "no/where"), -ENOENT);
    EXPECT_EQ(client.Connect(""), -ENOENT);
    EXPECT_EQ(client.Publish("process_ready", Numbered(1)), -ENOTCONN);
    EXPECT_EQ(client.Connect(Socket()), 0) << "a failure must not spoil the client";
}

TEST_F(Connect, NobodyListens) {
    mBroker.Kill();
    EventClient client("client");
    EXPECT_EQ(client.Connect(Socket()), -ECONNREFUSED);
    std::ofstream(mRoot / "file") << "no socket";
    EXPECT_EQ(client.Connect(mRoot / "file"), -ECONNREFUSED);
}

TEST_F(Connect, NoPermission) {
    ASSERT_EQ(chmod(Socket().c_str(), 0), 0);
    // Nothing is forbidden to root, and in a file system everybody may pass through /tmp.
    constexpr uid_t kNobody = 65534;
    const bool isRoot = geteuid() == 0;
    const std::string folder = Socket().substr(0, Socket().rfind('/'));
    ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
    if (isRoot) {
        ASSERT_EQ(seteuid(kNobody), 0);
    }
    EventClient client("client");
    const int result = client.Connect(Socket());
    if (isRoot) {
        ASSERT_EQ(seteuid(0), 0);
    }
    EXPECT_EQ(result, -EACCES);
}

TEST_F(Connect, PathsOfUpTo107BytesAreTaken) {
    const std::string longest = mRoot / std::string(107 - mRoot.Path().size() - 1, 's');
    ASSERT_EQ(longest.size(), 107U);
    const Broker broker(Broker::Options{.moreLines = "", .isQueueUnlimited = false, .socket = longest});
    EventClient client("client");
    EXPECT_EQ(client.Connect(longest), 0);
    EventClient other("client");
    EXPECT_EQ(other.Connect(longest + "s"), -ENAMETOOLONG);
    EXPECT_EQ(other.Connect(std::string(100'000, '/')), -ENAMETOOLONG);
}

TEST_F(Connect, ABrokerThatDoesNotAnswerIsWaitedForFiveSeconds) {
    mBroker.Pause();
    EventClient client("client");
    const auto start = Clock::now();
    EXPECT_EQ(client.Connect(Socket()), -ETIMEDOUT);
    EXPECT_GE(Clock::now() - start, 4900ms);
    EXPECT_LT(Clock::now() - start, 6000ms);
    mBroker.Resume();
    EXPECT_EQ(client.Connect(Socket()), 0);
}

TEST_F(Connect, ABrokerTooBusyToAcceptIsWaitedFor) {
    const FakeBroker busy(0);
    const sockaddr_un address = busy.Address();
    const int taken = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(connect(taken, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EventClient client("client");
    const auto start = Clock::now();
    EXPECT_EQ(client.Connect(busy.Socket()), -ETIMEDOUT);
    EXPECT_GE(Clock::now() - start, 4900ms);
    EXPECT_LT(Clock::now() - start, 6000ms);
    close(taken);
}

TEST_F(Connect, ABrokerThatRefusesSaysWhy) {
    const struct {
        char code;
        int result;
    } cases[] = {{1, -EPROTONOSUPPORT}, {2, -EINVAL}, {3, -ECONNREFUSED}, {4, -EACCES}, {5, -EACCES}};
    for (const auto& refusal : cases) {
        FakeBroker broker;
        EventClient client("client");
        auto result = std::async(std::launch::async, [&] { return client.Connect(broker.Socket()); });
        broker.Accept();
        broker.ReadPacket();
        broker.Write(std::string("\x20\x02\x00", 3) + refusal.code);
        EXPECT_EQ(result.get(), refusal.result) << int{refusal.code};
    }
}

TEST_F(Connect, ABrokerThatHangsUpHasReset) {
    FakeBroker broker;
    EventClient client("client");
    auto result = std::async(std::launch::async, [&] { return client.Connect(broker.Socket()); });
    broker.Accept();
    broker.ReadPacket();
    broker.HangUp();
    EXPECT_EQ(result.get(), -ECONNRESET);
}

TEST_F(Connect, SomethingElseThatAnswersIsNoBroker) {
    FakeBroker broker;
    EventClient client("client");
    auto result = std::async(std::launch::async, [&] { return client.Connect(broker.Socket()); });
    broker.Accept();
    broker.ReadPacket();
    broker.Write("HTTP/1.1 400 Bad Request\r\n\r\n");
    EXPECT_LT(result.get(), 0);
}

}  // namespace
