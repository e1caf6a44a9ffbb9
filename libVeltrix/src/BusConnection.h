// A client's connection to the broker, from Connect to Disconnect, with the thread that works for it.
//
//            OpenSession            accepted
//     Away ---------------> Opening ---------> Up
//      ^ <----------------------'  refused,     |
//      |                           no answer    |
//      '----------------------------------------'  connection lost
//
// Open waits for the first Up; what goes wrong before it is Open's result and the end of the thread. From then on Away
// is left by itself, after pauses. The thread ends when it was told to leave and nothing is left to deliver, or time is
// up.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "libVeltrix/src/BusLimits.h"
#include "libVeltrix/src/DeferredQueue.h"
#include "libVeltrix/src/MosquittoSession.h"
#include "libVeltrix/src/Outbox.h"
#include "libVeltrix/src/Subscriptions.h"
#include "libVeltrix/src/WakeUp.h"

namespace VeltrixDetail {

// Results are 0 or a negative errno, as EventClient's are.
class BusConnection final : public std::enable_shared_from_this<BusConnection>, private MosquittoSession::Listener {
public:
    using RunHandler = std::function<void(const Delivery&)>;

    // `runHandler` is called on the connection's thread for every message that is not deferred.
    BusConnection(const std::string& clientName, std::string socket, RunHandler runHandler);
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    // Once; when it fails there is no connection to close.
    int Open();
    int Subscribe(std::shared_ptr<const Subscription> subscription);
    int Publish(Publication publication);
    // Waits for the thread's end, but not for a handler beyond its time; on the thread itself it only asks for it.
    void Close();

    bool IsOwnThread() const;
    DeferredQueue& Deferred() { return mDeferred; }

private:
    enum class Link { Away, Opening, Up };

    // The thread.
    void Run();
    bool IsTimeToEnd();
    void End();
    void OpenSession();
    void SendSubscriptions();
    void SendPublications();
    void WaitAndService();
    int MillisecondsToWait();
    void RunArrived();
    void NoteHandlers(bool areRunning);
    void LoseLink(int result);
    void FailToOpen(int result);
    void NoteDropped(std::size_t count);

    void OnAccepted() override;
    void OnRefused(int result) override;
    void OnSubscribed(int messageId, bool isGranted) override;
    void OnDelivered(int messageId) override;
    void OnMessage(const std::string& topic, std::string_view payload) override;

    const std::string mClientId;
    const std::string mSocket;
    const RunHandler mRunHandler;
    WakeUp mWakeUp;
    DeferredQueue mDeferred;

    // Of the thread alone.
    std::unique_ptr<MosquittoSession> mSession;
    Link mLink = Link::Away;
    bool mWasUp = false;  // ever
    int mRefusal = 0;     // 0 or what OnRefused said
    BusClock::time_point mOpeningEnds{};
    BusClock::time_point mNextAttempt{};
    std::chrono::milliseconds mPause = kFirstPause;
    std::vector<Delivery> mArrived;

    mutable std::mutex mMutex;  // guards everything below
    std::condition_variable mChanged;
    std::thread::id mThreadId;
    std::optional<int> mOpenResult;
    bool mIsUp = false;
    bool mIsLeaving = false;
    bool mIsInHandler = false;
    bool mHasEnded = false;
    BusClock::time_point mLeaveBy{};
    bool mIsMute = false;  // the broker left a caller without an answer and has given none since
    Subscriptions mSubscriptions;
    Outbox mOutbox;
    std::size_t mDropped = 0;  // publications, since the outbox was last empty
};

}  // namespace VeltrixDetail
