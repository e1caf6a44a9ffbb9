// The carrier's side of the line: answers each frame as it was told, and with a plain Ack where it was told nothing.
#pragma once

#include "tests/unit/VeltrixHAL/Support/FakeSerial.h"
#include "tests/unit/VeltrixHAL/Support/FrameBuilder.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

// One thread, and those that the module's operations run on while that thread waits for them.
class CarrierStub {
public:
    using Bytes = FakeSerial::Bytes;
    using Watcher = std::function<void(const Bytes& frame)>;

    CarrierStub();
    CarrierStub(const CarrierStub&) = delete;
    CarrierStub& operator=(const CarrierStub&) = delete;

    FakeSerial& Port() { return mPort; }

    // Answers the next `count` frames of a command so; several such orders are carried out one after the other.
    void AnswerNext(std::uint8_t command, const Bytes& answer, std::size_t count = 1);
    // Answers a command so whenever there is no such order.
    void Answer(std::uint8_t command, const Bytes& answer);
    // Is shown every frame before it is answered.
    void Watch(Watcher watcher) { mWatcher = std::move(watcher); }

    // What the module has sent since the last call, each frame like "0A 01 00 00 7A AC".
    std::vector<std::string> TakeFrames();
    // How many frames of a command it has sent since the beginning.
    std::size_t Count(std::uint8_t command) const;

    inline static const Bytes kSilence;

private:
    FakeSerial::Answers Respond(const Bytes& frame);

    FakeSerial mPort;
    std::map<std::uint8_t, std::deque<Bytes>> mNext;
    std::map<std::uint8_t, Bytes> mUsual;
    std::map<std::uint8_t, std::size_t> mCounts;
    Watcher mWatcher;
};
