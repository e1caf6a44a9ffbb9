// What callers of the connection do on their own threads; the connection's thread is in BusConnectionThread.cpp.
#include "libVeltrix/src/BusConnection.h"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "libVeltrix/src/ClientId.h"
#include "libVeltrix/src/LibraryLog.h"
#include "libVeltrix/src/RootedPath.h"

namespace VeltrixDetail {
namespace {

// While it lives, threads start with every signal blocked that is not a fault of the thread itself: a process's signals
// are for its own threads, and a write to a broken connection must not end the process.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
            sigdelset(&all, fault);
        }
        pthread_sigmask(SIG_SETMASK, &all, &mBefore);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t mBefore{};
};

}  // namespace

BusConnection::BusConnection(const std::string& clientName, std::string socket, RunHandler runHandler)
    : mClientId(MakeClientId(clientName)), mSocket(std::move(socket)), mRunHandler(std::move(runHandler)) {}

int BusConnection::Open() {
    if (mWakeUp.Result() != 0) {
        return mWakeUp.Result();
    }
    mOpeningEnds = BusClock::now() + kAnswerLimit;
    try {
        const SignalsBlocked blocked;
        // The thread keeps the connection alive and is nobody's to join: its last handler may be where the client
        // ends, and the process may end while anybody is at work.
        std::thread([self = shared_from_this()] { self->Run(); }).detach();
    } catch (const std::system_error& problem) {
        return -problem.code().value();
    }
    std::unique_lock lock(mMutex);
    mChanged.wait(lock, [this] { return mOpenResult.value_or(-1) == 0 || mHasEnded; });
    return mOpenResult.value_or(-ENOTCONN);
}

int BusConnection::Subscribe(std::shared_ptr<const Subscription> subscription) {
    const Subscription* const wanted = subscription.get();
    const auto giveUpAt = BusClock::now() + kAnswerLimit;
    std::unique_lock lock(mMutex);
    if (mIsLeaving || mHasEnded) {
        return -ENOTCONN;
    }
    mSubscriptions.Add(std::move(subscription));
    mWakeUp.Signal();
    mChanged.wait_until(lock, giveUpAt, [this, wanted] {
        return mSubscriptions.StateOf(wanted) != Subscriptions::State::Waiting || mIsLeaving || mHasEnded;
    });
    const Subscriptions::State state = mSubscriptions.StateOf(wanted);
    if (state == Subscriptions::State::Granted) {
        return 0;
    }
    mSubscriptions.Remove(wanted);
    if (state == Subscriptions::State::Refused) {
        return -EACCES;
    }
    if (mIsLeaving || mHasEnded) {
        return -ENOTCONN;
    }
    mIsMute = true;
    return -ETIMEDOUT;
}

int BusConnection::Publish(Publication publication) {
    std::size_t dropped = 0;
    {
        const std::lock_guard lock(mMutex);
        if (mIsLeaving || mHasEnded) {
            return -ENOTCONN;
        }
        dropped = mOutbox.Push(std::move(publication), mIsUp ? kMaxWaitingPresent : kMaxWaitingAway);
    }
    mWakeUp.Signal();
    NoteDropped(dropped);
    return 0;
}

// One warning, however many follow: a broker that is away for a night must not fill the log.
void BusConnection::NoteDropped(std::size_t count) {
    if (count == 0) {
        return;
    }
    bool isFirst = false;
    {
        const std::lock_guard lock(mMutex);
        isFirst = mDropped == 0;
        mDropped += count;
    }
    if (isFirst) {
        LogWarning("Too many publications wait for the broker at {}: the oldest are dropped", DisplayText(mSocket));
    }
}

void BusConnection::Close() {
    const bool isOwnThread = IsOwnThread();
    std::unique_lock lock(mMutex);
    mIsLeaving = true;
    // Whoever has waited in vain for a broker does not wait for it once more.
    mLeaveBy = BusClock::now() + (mIsMute ? std::chrono::milliseconds(0) : kLeaveLimit);
    mWakeUp.Signal();
    mChanged.notify_all();
    if (isOwnThread) {
        return;
    }
    // The thread says at its very end what was lost, and whoever waits may take the log apart afterwards.
    mChanged.wait_until(lock, mLeaveBy + kHandlerGrace, [this] { return mHasEnded; });
    mChanged.wait_until(lock, mLeaveBy + kEndGrace, [this] { return mHasEnded || mIsInHandler; });
}

bool BusConnection::IsOwnThread() const {
    const std::lock_guard lock(mMutex);
    return mThreadId == std::this_thread::get_id();
}

}  // namespace VeltrixDetail
