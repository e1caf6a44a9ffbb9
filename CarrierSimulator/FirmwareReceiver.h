#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "CarrierSimulator/CarrierCommand.h"
#include "CarrierSimulator/CarrierFrame.h"

namespace simulator {

// How a received file is judged at its end. The announced size must be met in any case but None.
enum class ImageCheck {
    None,   // everything is taken
    Size,   // as long as announced
    Crc32,  // and its last four bytes are the CRC-32 of those before, low byte first
};

struct FirmwareOptions {
    ImageCheck check = ImageCheck::Size;
    uint8_t mismatchCode = nack::kCorruptFileTransfer;
    std::size_t maxFileSize = 16U * 1024 * 1024;  // a start that announces more is refused
    std::size_t keptImages = 64;                  // applied ones that are remembered, the latest
};

// The stages of a file:
//
//   Idle --start--> Receiving --end, good--> Verified --apply--> Idle (and the image is kept as applied)
//     ^                 |  ^                     |
//     +---end, bad------+  +-------start---------+         a start begins anew in every stage
enum class FirmwareStage { Idle, Receiving, Verified };

struct FirmwareStatus {
    FirmwareStage stage = FirmwareStage::Idle;
    uint8_t destination = 0;
    std::size_t announced = 0;  // bytes
    std::size_t received = 0;   // bytes of the present or the last file
    std::size_t packets = 0;    // of the present or the last file
    std::size_t starts = 0;     // ever since, as all below
    std::size_t badEnds = 0;
    std::size_t goodEnds = 0;
    std::size_t applies = 0;
};

struct AppliedImage {
    uint8_t destination = 0;
    Bytes bytes;
};

// Takes a file as a carrier does. Each operation gives the reason of the Nack, or nothing for an Ack. Not thread-safe.
class FirmwareReceiver {
public:
    using Refusal = std::optional<uint8_t>;

    explicit FirmwareReceiver(const FirmwareOptions& options) : mOptions(options) {}

    void SetOptions(const FirmwareOptions& options) { mOptions = options; }
    const FirmwareOptions& Options() const { return mOptions; }

    // Destination (one byte), size (32 bits, low byte first).
    Refusal Start(std::span<const uint8_t> payload);
    // Packets carry no number: one that comes twice is stored twice, and the end finds out.
    Refusal Packet(std::span<const uint8_t> payload);
    Refusal End();
    Refusal Apply(std::span<const uint8_t> payload);

    // Turns the verdict of an end into a refusal: the file is given up.
    void GiveUp();

    // The carrier restarts: a file that was not applied is lost.
    void Restart();

    const FirmwareStatus& Status() const { return mStatus; }
    const Bytes& Received() const { return mReceived; }
    const std::vector<AppliedImage>& Applied() const { return mApplied; }

private:
    bool IsGood() const;

    FirmwareOptions mOptions;
    FirmwareStatus mStatus;
    Bytes mReceived;
    std::vector<AppliedImage> mApplied;
};

const char* StageName(FirmwareStage stage);

}  // namespace simulator
