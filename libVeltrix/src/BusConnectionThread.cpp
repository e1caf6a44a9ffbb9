#include <fmt/core.h>
#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include "libVeltrix/src/BusConnection.h"
#include "libVeltrix/src/LibraryLog.h"
#include "libVeltrix/src/RootedPath.h"

namespace VeltrixDetail {

void BusConnection::Run() {
    pthread_setname_np(pthread_self(), "VeltrixBus");
    {
        const std::lock_guard lock(mMutex);
        mThreadId = std::this_thread::get_id();
    }
    while (!IsTimeToEnd()) {
        if (mLink == Link::Away && BusClock::now() >= mNextAttempt) {
            OpenSession();
        }
        if (mLink == Link::Up) {
            SendSubscriptions();
            SendPublications();
        }
        WaitAndService();
        RunArrived();
        mDeferred.ReportDropped();
    }
    End();
}

bool BusConnection::IsTimeToEnd() {
    const std::lock_guard lock(mMutex);
    if (mOpenResult.value_or(0) != 0) {
        return true;
    }
    return mIsLeaving && (mOutbox.IsEmpty() || BusClock::now() >= mLeaveBy);
}

void BusConnection::End() {
    if (mLink == Link::Up) {
        mSession->Leave();
    }
    mSession.reset();
    mDeferred.Close();
    std::size_t undelivered = 0;
    {
        const std::lock_guard lock(mMutex);
        undelivered = mOutbox.Size();
    }
    if (undelivered > 0) {
        LogWarning("Left the broker at {} with {} publications undelivered", DisplayText(mSocket), undelivered);
    }
    // After this nothing of the process is touched any more: whoever waits may take it apart.
    {
        const std::lock_guard lock(mMutex);
        mHasEnded = true;
    }
    mChanged.notify_all();
}

void BusConnection::OpenSession() {
    mRefusal = 0;
    MosquittoSession::Listener& listener = *this;
    mSession = std::make_unique<MosquittoSession>(mClientId, listener);
    const int result = mSession->Open(mSocket);
    if (result != 0) {
        LoseLink(result);
        return;
    }
    mLink = Link::Opening;
    if (mWasUp) {
        mOpeningEnds = BusClock::now() + kAnswerLimit;  // else Open set it, for all attempts together
    }
}

void BusConnection::SendSubscriptions() {
    std::vector<std::string> topics;
    {
        const std::lock_guard lock(mMutex);
        topics = mSubscriptions.Unasked();
    }
    for (const std::string& topic : topics) {
        const int messageId = mSession->Subscribe(topic);
        if (messageId == 0) {
            LoseLink(-ECONNRESET);
            return;
        }
        const std::lock_guard lock(mMutex);
        mSubscriptions.MarkAsked(topic, messageId);
    }
}

void BusConnection::SendPublications() {
    while (mLink == Link::Up) {
        std::optional<Publication> next;
        {
            const std::lock_guard lock(mMutex);
            next = mOutbox.TakeNext();
        }
        if (!next) {
            return;
        }
        const int messageId = mSession->Publish(next->topic, next->payload);
        {
            const std::lock_guard lock(mMutex);
            mOutbox.MarkSent(messageId, std::move(*next));
        }
        if (messageId == 0) {
            LoseLink(-ECONNRESET);
        }
    }
}

void BusConnection::WaitAndService() {
    pollfd polled[2] = {{mWakeUp.Descriptor(), POLLIN, 0}, {-1, POLLIN, 0}};
    if (mSession) {
        polled[1].fd = mSession->Descriptor();
        polled[1].events = static_cast<short>(mSession->WantsToWrite() ? POLLIN | POLLOUT : POLLIN);
    }
    if (poll(polled, 2, MillisecondsToWait()) < 0) {
        if (const int error = errno; error != EINTR) {
            if (mLink != Link::Away) {
                LoseLink(-error);
            }
            std::this_thread::sleep_for(kFullPause);  // the next one may fail as well, and at once
        }
        return;
    }
    if (polled[0].revents != 0) {
        mWakeUp.Clear();
    }
    if (!mSession) {
        return;
    }
    const bool isAlive = mSession->Service(polled[1].revents);
    if (mRefusal != 0) {
        LoseLink(mRefusal);
    } else if (!isAlive) {
        LoseLink(-ECONNRESET);
    } else if (mLink == Link::Opening && BusClock::now() >= mOpeningEnds) {
        LoseLink(-ETIMEDOUT);
    }
}

int BusConnection::MillisecondsToWait() {
    const auto now = BusClock::now();
    auto next = now + kTick;
    if (mLink == Link::Away) {
        next = std::min(next, mNextAttempt);
    } else if (mLink == Link::Opening) {
        next = std::min(next, mOpeningEnds);
    }
    {
        const std::lock_guard lock(mMutex);
        if (mIsLeaving) {
            next = std::min(next, mLeaveBy);
        }
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now);
    return static_cast<int>(std::max<std::int64_t>(wait.count(), 0));
}

void BusConnection::RunArrived() {
    // Not from within libmosquitto: a handler may do what it likes, and take its time.
    std::vector<Delivery> arrived;
    arrived.swap(mArrived);
    if (arrived.empty()) {
        return;
    }
    NoteHandlers(true);
    for (const Delivery& delivery : arrived) {
        mRunHandler(delivery);
    }
    NoteHandlers(false);
}

void BusConnection::NoteHandlers(bool areRunning) {
    {
        const std::lock_guard lock(mMutex);
        mIsInHandler = areRunning;
    }
    mChanged.notify_all();
}

void BusConnection::LoseLink(int result) {
    const bool isNews = mLink == Link::Up;
    mSession.reset();
    mLink = Link::Away;
    if (!mWasUp) {
        FailToOpen(result);
        return;
    }
    mNextAttempt = BusClock::now() + mPause;
    mPause = std::min(mPause * 2, kLastPause);
    if (isNews) {
        LogWarning("Lost the broker at {}: {}", DisplayText(mSocket), std::generic_category().message(-result));
    }
    std::size_t dropped = 0;
    {
        const std::lock_guard lock(mMutex);
        mIsUp = false;
        dropped = mOutbox.TakeBackUnacknowledged(kMaxWaitingAway);
    }
    NoteDropped(dropped);
}

void BusConnection::FailToOpen(int result) {
    const bool isBusy = result == -EAGAIN;
    if (isBusy && BusClock::now() < mOpeningEnds) {
        mNextAttempt = BusClock::now() + kFullPause;
        return;
    }
    const std::lock_guard lock(mMutex);
    mOpenResult = isBusy ? -ETIMEDOUT : result;  // the thread ends with that, and its end wakes whoever waits for it
}

void BusConnection::OnAccepted() {
    mLink = Link::Up;
    mPause = kFirstPause;
    {
        const std::lock_guard lock(mMutex);
        mIsUp = true;
        mIsMute = false;
        mSubscriptions.StartSession();
        mOpenResult = 0;
    }
    mChanged.notify_all();
    if (mWasUp) {
        LogInfo("Reconnected to the broker at {}", DisplayText(mSocket));
    }
    mWasUp = true;
}

void BusConnection::OnRefused(int result) {
    mRefusal = result;  // for after Service: the session must not go away under libmosquitto's feet
}

void BusConnection::OnSubscribed(int messageId, bool isGranted) {
    std::vector<std::string> lost;
    {
        const std::lock_guard lock(mMutex);
        mIsMute = false;
        lost = mSubscriptions.Settle(messageId, isGranted);
    }
    mChanged.notify_all();
    for (const std::string& topic : lost) {
        LogWarning("The broker at {} refuses \"{}\" since it came back", DisplayText(mSocket), topic);
    }
}

void BusConnection::OnDelivered(int messageId) {
    std::size_t dropped = 0;
    {
        const std::lock_guard lock(mMutex);
        mIsMute = false;
        mOutbox.MarkDelivered(messageId);
        if (mOutbox.IsEmpty()) {
            std::swap(dropped, mDropped);
        }
    }
    if (dropped > 0) {
        LogInfo("{} publications were dropped before the broker at {} took the others", dropped, DisplayText(mSocket));
    }
}

void BusConnection::OnMessage(const std::string& topic, std::string_view payload) {
    std::vector<std::shared_ptr<const Subscription>> subscriptions;
    {
        const std::lock_guard lock(mMutex);
        subscriptions = mSubscriptions.Find(topic);
    }
    if (payload.size() > kMaxReceived) {
        LogWarning("Message on \"{}\" dropped: {} bytes are too many", topic, payload.size());
        return;
    }
    for (const std::shared_ptr<const Subscription>& subscription : subscriptions) {
        Delivery delivery{subscription, subscription->prototype->Clone(), payload.size()};
        const JsonReport report = delivery.message->ReadJson(payload.empty() ? "{}" : payload);
        if (!report.problem.empty()) {
            LogWarning("Message on \"{}\" dropped: {}", topic, report.problem);
            continue;
        }
        if (!report.remark.empty()) {
            LogWarning("Message on \"{}\": {}", topic, report.remark);
        }
        if (subscription->isDeferred) {
            mDeferred.Push(std::move(delivery));
        } else {
            mArrived.push_back(std::move(delivery));
        }
    }
}

}  // namespace VeltrixDetail
