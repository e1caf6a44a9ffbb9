#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "CarrierSimulator/Carrier.h"

namespace simulator {

// Prints what happens on standard output, each line whole. Thread-safe.
//
//   12:00:01.250 -> CarrierAlive [6] 08 00 00 00 00 00 = HAL 8, comm 0
//   12:00:01.252 <- Ack
//   file 12288/262144
class ConsoleOutput : public CarrierListener {
public:
    // Quiet: no line for frames; notes and file progress stay.
    ConsoleOutput(bool isQuiet, bool isColoured) : mIsQuiet(isQuiet), mIsColoured(isColoured) {}

    void OnFrame(const FrameRecord& record) override;
    void OnNote(const std::string& text) override;
    void OnProgress(std::size_t received, std::size_t announced) override;

    // Text of one or more lines, each with its newline.
    void Print(const std::string& lines);

    void SetQuiet(bool isQuiet) { mIsQuiet = isQuiet; }

private:
    std::atomic<bool> mIsQuiet;
    const bool mIsColoured;
    std::mutex mMutex;
};

}  // namespace simulator
