#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <span>
#include <string>

#include "CarrierSimulator/CarrierFrame.h"

namespace simulator {

// The carrier's end of the wire: the master of a pseudo terminal, or a real serial device at 115200 baud 8N1.
//
// The other end of a pseudo terminal may come and go. While nobody has it open, bytes that are written are lost, as on
// a wire that leads nowhere, and nothing arrives.
//
// One thread reads and one writes at a time; Wake may come from any, Close only when nobody does either any more.
class CarrierLine {
public:
    CarrierLine();
    ~CarrierLine();
    CarrierLine(const CarrierLine&) = delete;
    CarrierLine& operator=(const CarrierLine&) = delete;

    // Makes a pseudo terminal and, when `link` is not empty, a symbolic link to it there (an older link is replaced,
    // anything else is left alone and is an error). On false, Error() says why.
    bool OpenPty(const std::string& link);

    // Opens a real device. On false, Error() says why.
    bool OpenDevice(const std::string& path);

    // Closes the line and removes the link. Whoever has the other end open sees a hang-up.
    void Close();

    bool IsOpen() const;
    std::string Error() const;

    // What the other side opens: the link when there is one.
    std::string DevicePath() const;

    enum class Readiness { Data, Nothing, Closed };

    // Waits until bytes are there, Wake was called or `deadline` has come.
    Readiness WaitReadable(TimePoint deadline);

    // True when bytes are there now.
    bool HasData() const;

    // Takes what is there, at most the buffer; 0 when there is nothing.
    std::size_t Read(std::span<uint8_t> buffer);

    // Writes all of it, waiting up to `patience` whenever the other side does not take it away, but not on once
    // `isStopping` is set. Returns how much was taken; what was not is lost.
    std::size_t Write(std::span<const uint8_t> bytes, Milliseconds patience, const std::atomic<bool>& isStopping);

    // Ends a WaitReadable, once.
    void Wake();

private:
    bool Fail(const std::string& what);
    bool MakeLink(const std::string& link);
    int Descriptor() const;
    bool IsHungUp(int descriptor) const;
    static bool WaitForRoom(int descriptor, Milliseconds patience, const std::atomic<bool>& isStopping);

    mutable std::mutex mMutex;  // the members below; never held while waiting for the line
    int mDescriptor = -1;
    int mWake = -1;
    std::string mSlavePath;
    std::string mLink;
    std::string mError;
};

}  // namespace simulator
