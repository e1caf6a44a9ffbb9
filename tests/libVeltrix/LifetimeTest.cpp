// Beginnings and ends: of copies, of clients, of the process.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "tests/libVeltrix/BusFixture.h"

namespace {

using namespace std::chrono_literals;

class Lifetime : public BusFixture {
protected:
    bool HasLeft(const std::string& name) {
        return WaitUntil([&] {
            const std::string log = mBroker.Log();
            const std::size_t at = log.find("Client " + name + "-");
            return at != std::string::npos && log.find(" disconnected.", at) != std::string::npos;
        });
    }
};

TEST_F(Lifetime, CopiesShareOneConnectionAndTheLastOneEndsIt) {
    Recorder recorder;
    {
        EventClient copy("other");
        {
            EventClient client("shared");
            copy = client;
            ASSERT_EQ(client.Connect(Socket()), 0);
            EXPECT_EQ(copy.Connect(Socket()), -EISCONN);
            ASSERT_EQ(copy.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &recorder, true), 0);
        }
        EXPECT_EQ(mBroker.Log().find(" disconnected."), std::string::npos);
        ASSERT_EQ(copy.Publish("process_ready", Numbered(1)), 0);
        EXPECT_TRUE(RunDeferred(copy, 1));
    }
    EXPECT_TRUE(HasLeft("shared"));
}

TEST_F(Lifetime, AMovedFromClientIsACopyLikeAnyOther) {
    EventClient client("client");
    EventClient moved = std::move(client);  // NOLINT(performance-move-const-arg): there is no move
    ASSERT_EQ(moved.Connect(Socket()), 0);
    EXPECT_EQ(client.Publish("process_ready", Numbered(1)), 0);  // NOLINT(bugprone-use-after-move)
}

TEST_F(Lifetime, AClientMayEndWithoutEverHavingConnected) {
    EventClient client("client");
    EXPECT_EQ(client.Connect(mRoot / "nowhere"), -ENOENT);
}

TEST_F(Lifetime, ManyClientsComeAndGoAtOnce) {
    BusProbe probe(Socket());
    probe.Subscribe("process_ready");
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 25; ++round) {
                EventClient client("client");
                EXPECT_EQ(client.Connect(Socket()), 0);
                EXPECT_EQ(client.Publish("process_ready", Numbered(1)), 0);
                if (round % 2 == 0) {
                    EXPECT_EQ(client.Disconnect(), 0);
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(probe.WaitFor("process_ready", 200));
}

TEST_F(Lifetime, ADisconnectFromAnotherThreadIsNoDangerToWhoeverIsAtWork) {
    for (int round = 0; round < 20; ++round) {
        EventClient client("client");
        ASSERT_EQ(client.Connect(Socket()), 0);
        Recorder recorder;
        ASSERT_EQ(client.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &recorder, true), 0);
        std::atomic<bool> isOver{false};
        std::thread publisher([copy = client, &isOver]() mutable {
            while (!isOver) {
                copy.Publish("process_ready", Numbered(1));
            }
        });
        std::thread runner([copy = client, &isOver]() mutable {
            while (!isOver) {
                copy.ExecuteDeferredEventHandlers(1);
            }
        });
        EXPECT_TRUE(recorder.WaitFor(1));
        EXPECT_EQ(client.Disconnect(), 0);
        isOver = true;
        publisher.join();
        runner.join();
    }
}

TEST_F(Lifetime, AChildProcessDoesNotHoldTheConnection) {
    int keepOpen[2];
    ASSERT_EQ(pipe(keepOpen), 0);
    pid_t child = 0;
    {
        EventClient client("parent");
        ASSERT_EQ(client.Connect(Socket()), 0);
        child = fork();
        if (child == 0) {
            // Reads until the test lets it go.
            dup2(keepOpen[0], STDIN_FILENO);
            close(keepOpen[1]);
            execlp("cat", "cat", nullptr);
            _exit(127);
        }
        ASSERT_GT(child, 0);
    }
    EXPECT_TRUE(HasLeft("parent"));
    close(keepOpen[0]);
    close(keepOpen[1]);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

// Ends the process in the middle of everything.
[[noreturn]] void ExitUnderTraffic(const std::string& socket) {
    // Static destruction of a client is part of the trial; what the threads need besides lives for ever.
    static EventClient sClient("client");
    static const ProcessReady& sMessage = *new ProcessReady;
    static Recorder& sRecorder = *new Recorder;
    int result = sClient.Connect(socket);
    result |= sClient.Subscribe("now", Recorder::Handle, &sMessage, &sRecorder, false);
    result |= sClient.Subscribe("later", Recorder::Handle, &sMessage, &sRecorder, true);
    for (int i = 0; i < 2; ++i) {
        std::thread([copy = sClient]() mutable {
            for (;;) {
                copy.Publish("now", sMessage);
                copy.Publish("later", sMessage);
                copy.ExecuteDeferredEventHandlers(1);
            }
        }).detach();
        std::thread([socket] {
            for (;;) {
                EventClient shortLived("client");
                shortLived.Connect(socket);
                shortLived.Publish("now", sMessage);
                shortLived.Disconnect();
            }
        }).detach();
    }
    const bool isUnderTraffic = WaitUntil([] { return sRecorder.Count() > 20; });
    std::exit(result != 0 ? 1 : isUnderTraffic ? 0 : 2);  // this is what is tested
}

TEST_F(Lifetime, TheProcessMayExitWhileItsThreadsUseTheBus) {
    testing::FLAGS_gtest_death_test_style = "fast";
    for (int round = 0; round < 10; ++round) {
        EXPECT_EXIT(ExitUnderTraffic(Socket()), testing::ExitedWithCode(0), "");
    }
}

TEST_F(Lifetime, WithoutALogEverythingWorksSilently) {
    VeltrixErrorLog::gRotatingLogger.reset();
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    Recorder recorder;
    ASSERT_EQ(client.Subscribe("process_ready", Recorder::Handle, &mNumberPrototype, &recorder, false), 0);
    BusProbe probe(Socket());
    probe.Publish("process_ready", "rubbish");
    probe.Publish("process_ready", Json(1));
    EXPECT_TRUE(recorder.WaitFor(1));
}

}  // namespace
