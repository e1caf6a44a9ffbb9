// The processing thread's body, what guards it, and one-off publications.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include "VeltrixHAL/Threads.h"

#include <pthread.h>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <stdexcept>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class CountingCarrier : public TestCarrier {
public:
    using TestCarrier::TestCarrier;
    void Process() override { mStep(++mSteps); }

    std::function<void(int step)> mStep;
    int mSteps = 0;
};

class ProcessingThreadTest : public CarrierTest {
protected:
    CountingCarrier mCounting{mLine.Port(), mClient};
};

TEST_F(ProcessingThreadTest, PollsTheLinkEveryFiveMilliseconds) {
    mCounting.mStep = [](int step) { gKeepRunning = step < 4; };
    Process(&mCounting);
    EXPECT_EQ(mCounting.mSteps, 4);
    EXPECT_THAT(mClock.Sleeps(), SizeIs(4));
    EXPECT_THAT(mClock.Sleeps(), Each(5000U));
}

TEST_F(ProcessingThreadTest, ReturnsAtOnceWhenTheProcessHasStopped) {
    gKeepRunning = false;
    Process(&mCounting);
    EXPECT_EQ(mCounting.mSteps, 0);
    EXPECT_THAT(mClock.Sleeps(), IsEmpty());
}

// As long as it lives, the system has no thread to give: each would get a stack larger than all memory.
class NoThreads {
public:
    NoThreads() {
        EXPECT_EQ(pthread_getattr_default_np(&mUsual), 0);
        pthread_attr_t huge;
        EXPECT_EQ(pthread_attr_init(&huge), 0);
        EXPECT_EQ(pthread_attr_setstacksize(&huge, std::size_t{1} << (8 * sizeof(std::size_t) - 2)), 0);
        EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
        pthread_attr_destroy(&huge);
    }
    ~NoThreads() {
        pthread_setattr_default_np(&mUsual);
        pthread_attr_destroy(&mUsual);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t mUsual{};
};

TEST_F(ProcessingThreadTest, AThreadThatCannotBeHadIsReported) {
    const NoThreads noThreads;
    EXPECT_FALSE(StartProcessingThread(mCounting));
    EXPECT_FALSE(StartCheckInThread(mClient));
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Critical("Could not start the processing thread. Resource temporarily unavailable"),
                            Critical("Could not start the check-in thread. Resource temporarily unavailable")));
}

TEST_F(ProcessingThreadTest, GoesOnAfterAnException) {
    mCounting.mStep = [](int step) {
        gKeepRunning = step < 3;
        if (step == 1) {
            throw std::runtime_error("one {}");
        }
        if (step == 2) {
            throw 2;
        }
    };
    Process(&mCounting);
    EXPECT_EQ(mCounting.mSteps, 3);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unexpected error in the processing thread: one {}"),
                                         Error("Unexpected error in the processing thread")));
}

TEST_F(ProcessingThreadTest, HandlesWhatTheCarrierSends) {
    mLine.Port().Feed(FrameBuilder::Frame(11));
    mLine.Watch([](const Bytes&) { gKeepRunning = false; });
    Process(mCarrier.get());
    EXPECT_THAT(mLine.TakeFrames(), ElementsAre(AckHex()));
    EXPECT_TRUE(mCarrier->mIsCarrierAlive);
}

class CheckInThreadTest : public CarrierTest {};

TEST_F(CheckInThreadTest, GoesOnAfterAnException) {
    HalGlobals::gProcessHealth = 48;
    mClock.At(4'000, [] { throw std::runtime_error("one {}"); });
    mClock.At(8'000, [] { throw 2; });
    mClock.At(16'000, [] { gKeepRunning = false; });
    CheckInUntilStopped(&mClient);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Unexpected error in the check-in thread: one {}"),
                                         Error("Unexpected error in the check-in thread")));
    EXPECT_EQ(HalGlobals::gProcessHealth, 0U) << "it checked in after the second";
}

class BusClientTest : public CarrierTest {
protected:
    static PowerDownStatus Message() {
        PowerDownStatus status;
        status.set_nameOfCaller("caller");
        return status;
    }
};
class BusClientOnBusTest : public CarrierOnBusTest {};

TEST_F(BusClientOnBusTest, EachPublicationHasAConnectionOfItsOwn) {
    PowerDownStatus status;
    for (int i = 0; i < 3; ++i) {
        status.set_nameOfCaller(std::to_string(i));
        EXPECT_EQ(BusClient::PublishOnce("power_down_status", status), 0);
    }
    EXPECT_THAT(Published("power_down_status"),
                ElementsAre(HasSubstr("\"0\""), HasSubstr("\"1\""), HasSubstr("\"2\"")));
    const std::string log = mBroker.Log();
    std::size_t connections = 0;
    for (std::size_t at = 0; (at = log.find("New client connected", at)) != std::string::npos; ++at) {
        connections += log.compare(log.find(" as ", at), 10, " as client") == 0 ? 1U : 0U;
    }
    EXPECT_EQ(connections, 3U);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(BusClientTest, ABrokerThatIsNotThereIsAWarning) {
    EXPECT_EQ(BusClient::PublishOnce("power_down_status", Message()), -ENOENT);
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Warning("Could not publish power_down_status on /bus. No such file or directory")));
}

TEST_F(BusClientTest, ASocketThatNobodyListensToIsAWarning) {
    Broker broker;
    BusClient::SetSocket(broker.Socket());
    broker.Kill();
    EXPECT_EQ(BusClient::PublishOnce("power_down_status", Message()), -ECONNREFUSED);
    EXPECT_THAT(LogWith("Connection refused"), SizeIs(1));
}

TEST_F(BusClientTest, ASocketOutsideTheRootIsNamedAsItWasGiven) {
    BusClient::SetSocket("/no/such/socket");
    EXPECT_EQ(BusClient::Socket(), "/no/such/socket");
    EXPECT_EQ(BusClient::PublishOnce("t", Message()), -ENOENT);
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("Could not publish t on /no/such/socket. No such file or directory")));
}

}  // namespace
