#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "CarrierSimulator/CarrierFrame.h"
#include "CarrierSimulator/CarrierLine.h"
#include "CarrierSimulator/LinePacer.h"

namespace simulator {

// Bytes that are to go out, and when at the earliest.
struct Transmission {
    Bytes bytes;
    TimePoint due{};
    Milliseconds pausePerByte{0};           // before each byte after the first one
    std::optional<uint8_t> answerTo{};      // the command that this answers
    std::optional<Milliseconds> restart{};  // of the carrier, once this has left
    uint64_t ownCommand = 0;                // the carrier's own command that this carries, 0 for none
};

// Puts transmissions on the line from a thread of its own: in the order of their due times, each whole before the next,
// and no byte before the wire would have carried it. Thread-safe.
class Transmitter {
public:
    // Called from the transmitter's thread after the last byte; `written` may be less than the bytes (nobody there).
    // For what was thrown away while mute: `isMuted`.
    using SentHandler =
        std::function<void(const Transmission& transmission, TimePoint lastByte, std::size_t written, bool isMuted)>;

    // `patience`: how long bytes may find no room because the other side does not read. A wire would not wait at all;
    // this is for a reader that is slow, not for one that has stopped: once bytes were lost, no more time is given
    // until there is room.
    Transmitter(CarrierLine& line, unsigned int baud, Milliseconds patience, SentHandler onSent);
    ~Transmitter();

    void Start();

    // Ends the thread; what was not sent is forgotten.
    void Stop();

    void Queue(Transmission transmission);

    // Forgets what is not on the line yet.
    void Clear();

    // Until then everything that becomes due is thrown away.
    void MuteUntil(TimePoint end);

private:
    void Run();
    void Send(const Transmission& transmission);
    bool WaitUntil(TimePoint time);

    CarrierLine& mLine;
    LinePacer mPacer;         // the transmitter's thread only
    bool mIsBlocked = false;  // the transmitter's thread only: the other side has stopped reading
    Milliseconds mPatience;
    SentHandler mOnSent;
    std::atomic<bool> mIsStopping = false;
    std::mutex mMutex;  // everything below
    std::condition_variable mChanged;
    std::multimap<TimePoint, Transmission> mQueue;
    TimePoint mMuteEnd{};
    std::thread mThread;
};

}  // namespace simulator
