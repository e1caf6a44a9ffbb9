// Times and sizes of the bus client, in one place.
#pragma once

#include <chrono>
#include <cstddef>

namespace VeltrixDetail {

using BusClock = std::chrono::steady_clock;

// A caller of Connect or Subscribe waits this long for the broker's answer, one of Disconnect for its acknowledgements.
constexpr std::chrono::milliseconds kAnswerLimit{5000};
constexpr std::chrono::milliseconds kLeaveLimit{2000};
// What a caller of Disconnect grants on top to the library's thread. A handler may hang, so to one of those no more
// than the first. Outside of handlers the thread waits for nobody: the second is used up only where the system lets it
// stand still, or where it does not exist, as in a child process.
constexpr std::chrono::milliseconds kHandlerGrace{100};
constexpr std::chrono::milliseconds kEndGrace{3000};

// Pauses between attempts to reconnect: the first, doubling up to the last.
constexpr std::chrono::milliseconds kFirstPause{1000};
constexpr std::chrono::milliseconds kLastPause{10'000};
// Between attempts while the broker's queue of new connections is full.
constexpr std::chrono::milliseconds kFullPause{20};
// libmosquitto wants to look after its keep-alive about this often, drop reports come no faster.
constexpr std::chrono::milliseconds kTick{1000};
constexpr int kKeepAliveSeconds = 60;

// As many unacknowledged publications libmosquitto sends; more would pile up inside it.
constexpr std::size_t kInFlight = 20;
// Publications that wait: while the broker is away, and in a burst while it is there.
constexpr std::size_t kMaxWaitingAway = 10'000;
constexpr std::size_t kMaxWaitingPresent = 100'000;
// Deferred messages that wait for their handlers.
constexpr std::size_t kMaxDeferred = 10'000;
// Neither queue holds more than this, however large the single message.
constexpr std::size_t kMaxQueueBytes = std::size_t{64} * 1024 * 1024;
// The largest message that is read: taken apart, a text of small items needs forty times its size, and the messages of
// this machine are some kilobytes long.
constexpr std::size_t kMaxReceived = std::size_t{2} * 1024 * 1024;
constexpr std::size_t kMaxTopic = 65'535;
constexpr std::size_t kMaxSocketPath = 107;

}  // namespace VeltrixDetail
