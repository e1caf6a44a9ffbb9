#include "CarrierSimulator/FaultInjector.h"

#include <algorithm>
#include <array>
#include <span>

#include "CarrierSimulator/CarrierCommand.h"

namespace simulator {
namespace {

constexpr uint64_t kSecondLineSeed = 0x9E3779B97F4A7C15U;
constexpr std::size_t kMaxNoise = 16;

// The standard distributions may differ from library to library; these do not.
bool Draw(std::mt19937_64& engine, double rate) {
    constexpr double kSteps = 9007199254740992.0;  // 2^53
    return rate > 0 && static_cast<double>(engine() >> 11U) / kSteps < rate;
}

std::size_t DrawBelow(std::mt19937_64& engine, std::size_t limit) {
    return static_cast<std::size_t>(engine() % limit);
}

void FlipBit(std::mt19937_64& engine, Bytes& bytes) {
    const std::size_t bit = DrawBelow(engine, bytes.size() * 8);
    bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] ^ (1U << (bit % 8)));
}

Bytes InventBytes(std::mt19937_64& engine) {
    Bytes bytes(1 + DrawBelow(engine, kMaxNoise));
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(engine() & 0xFFU);
    }
    return bytes;
}

// What would do most harm if anybody believed it.
Bytes ForgeFrame(std::mt19937_64& engine) {
    constexpr std::array<uint8_t, 8> kCommands = {command::kAck,          command::kNack,         command::kPowerFail,
                                                  command::kSbcReset,     command::kCarrierAlive, command::kDropbear,
                                                  command::kErrorMessage, command::kCommsTest};
    const uint8_t forged = kCommands[DrawBelow(engine, kCommands.size())];
    const Bytes payload = Draw(engine, 0.5) ? Bytes{'f', 'o', 'r', 'g', 'e', 'd'} : Bytes{};
    Bytes frame = EncodeFrame(forged, std::span<const uint8_t>(payload));
    // The last byte belongs to the header's CRC where there is no payload, and to the payload's where there is one.
    frame.back() = static_cast<uint8_t>(frame.back() ^ (1 + DrawBelow(engine, 255)));
    return frame;
}

}  // namespace

FaultInjector::FaultInjector(uint64_t seed) {
    mLines[0].engine.seed(seed);
    mLines[1].engine.seed(seed ^ kSecondLineSeed);
}

void FaultInjector::SetRates(Direction direction, const FaultRates& rates) {
    const std::lock_guard lock(mMutex);
    LineOf(direction).rates = rates;
}

void FaultInjector::Script(const ScriptedFault& fault) {
    const std::lock_guard lock(mMutex);
    mScripts.push_back(fault);
}

void FaultInjector::ClearScripts() {
    const std::lock_guard lock(mMutex);
    mScripts.clear();
}

void FaultInjector::Clear() {
    const std::lock_guard lock(mMutex);
    mScripts.clear();
    for (Line& line : mLines) {
        line.rates = FaultRates{};
    }
}

FaultCounts FaultInjector::Counts(Direction direction) const {
    const std::lock_guard lock(mMutex);
    return LineOf(direction).counts;
}

// Every script that names the frame counts it; the first one whose turn it is has it.
std::optional<ScriptedFault> FaultInjector::NextScripted(ScriptedFault::Where where, uint8_t command) {
    std::optional<ScriptedFault> found;
    for (auto script = mScripts.begin(); script != mScripts.end();) {
        const bool isNamed = script->where == where && (!script->command || *script->command == command);
        const bool isSkipping = isNamed && script->skip > 0;
        if (isSkipping) {
            --script->skip;
        }
        if (!isNamed || isSkipping || found) {
            ++script;
            continue;
        }
        found = *script;
        if (script->count == 1) {
            script = mScripts.erase(script);
        } else {
            script->count -= script->count == 0 ? 0 : 1;
            ++script;
        }
    }
    return found;
}

std::vector<LinePart> FaultInjector::Apply(Direction direction, const Bytes& frame) {
    const std::lock_guard lock(mMutex);
    Line& line = LineOf(direction);
    const auto where = direction == Direction::Received ? ScriptedFault::Where::Received : ScriptedFault::Where::Sent;
    const uint8_t command = frame.size() > 1 ? frame[1] : uint8_t{0};
    if (const std::optional<ScriptedFault> fault = NextScripted(where, command)) {
        return ApplyScripted(line, *fault, frame);
    }
    return line.rates.IsClean() ? std::vector<LinePart>{LinePart{frame}} : ApplyRates(line, frame);
}

std::optional<ScriptedFault> FaultInjector::NextAnswerFault(uint8_t command) {
    const std::lock_guard lock(mMutex);
    return NextScripted(ScriptedFault::Where::Answer, command);
}

std::vector<LinePart> FaultInjector::ApplyToAnswer(const ScriptedFault& fault, const Bytes& answer) {
    const std::lock_guard lock(mMutex);
    return ApplyScripted(LineOf(Direction::Sent), fault, answer);
}

std::vector<LinePart> FaultInjector::ApplyScripted(Line& line, const ScriptedFault& fault, const Bytes& frame) {
    LinePart part{frame};
    switch (fault.what) {
        case ScriptedFault::What::Drop:
        case ScriptedFault::What::Ignore:
            ++line.counts.dropped;
            return {};
        case ScriptedFault::What::Corrupt:
            ++line.counts.corrupted;
            FlipBit(line.engine, part.bytes);
            part.isDamaged = true;
            return {part};
        case ScriptedFault::What::Half:
            ++line.counts.cut;
            part.bytes.resize(frame.size() / 2);
            part.isDamaged = true;
            return {part};
        case ScriptedFault::What::Cut:
            ++line.counts.cut;
            part.bytes.resize(std::min<std::size_t>(fault.code, frame.size()));
            part.isDamaged = part.bytes.size() < frame.size();
            return {part};
        case ScriptedFault::What::Restart:
            ++line.counts.cut;
            part.bytes.resize(std::min<std::size_t>(fault.code, frame.size() - 1));
            part.isDamaged = true;
            part.isRestartBehind = true;
            return {part};
        case ScriptedFault::What::Duplicate:
            ++line.counts.duplicated;
            return {part, part};
        case ScriptedFault::What::Late:
            ++line.counts.delayed;
            part.delay = fault.delay;
            return {part};
        case ScriptedFault::What::ByteByByte:
            part.pausePerByte = std::max(fault.delay, Milliseconds{1});
            return {part};
        case ScriptedFault::What::Nack:
        case ScriptedFault::What::OtherCommand:
            break;  // these make another frame, which is the carrier's business
    }
    return {part};
}

std::vector<LinePart> FaultInjector::ApplyRates(Line& line, const Bytes& frame) {
    // Everything is drawn for every frame, so that one rate does not shift the draws of the others.
    const bool isDropped = Draw(line.engine, line.rates.drop);
    const bool isCorrupted = Draw(line.engine, line.rates.corrupt);
    const bool isCut = Draw(line.engine, line.rates.cut);
    const bool isDuplicated = Draw(line.engine, line.rates.duplicate);
    const bool isDelayed = Draw(line.engine, line.rates.delay);
    const bool isNoisy = Draw(line.engine, line.rates.noise);
    const bool isForged = Draw(line.engine, line.rates.forge);

    std::vector<LinePart> parts;
    if (isForged) {
        ++line.counts.forged;
        parts.push_back(LinePart{ForgeFrame(line.engine), Milliseconds{0}, Milliseconds{0}, true});
    }
    if (isNoisy) {
        ++line.counts.noise;
        parts.push_back(LinePart{InventBytes(line.engine), Milliseconds{0}, Milliseconds{0}, true});
    }
    if (isDropped) {
        ++line.counts.dropped;
        return parts;
    }
    LinePart part{frame};
    if (isCorrupted) {
        ++line.counts.corrupted;
        FlipBit(line.engine, part.bytes);
        part.isDamaged = true;
    }
    if (isCut) {
        ++line.counts.cut;
        part.bytes.resize(DrawBelow(line.engine, part.bytes.size()));
        part.isDamaged = true;
    }
    if (isDelayed) {
        ++line.counts.delayed;
        part.delay = line.rates.delayTime;
    }
    parts.push_back(part);
    if (isDuplicated) {
        ++line.counts.duplicated;
        parts.push_back(part);
    }
    return parts;
}

}  // namespace simulator
