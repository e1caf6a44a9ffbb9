// What the carrier hears and says.
#include <algorithm>
#include <utility>

#include "CarrierSimulator/Carrier.h"

namespace simulator {
namespace {

constexpr Milliseconds kForEver = std::chrono::hours(24 * 365);

uint8_t NackCodeFor(LineItem::Kind kind) {
    switch (kind) {
        case LineItem::Kind::BadHeader:
            return nack::kHeaderCrc;
        case LineItem::Kind::BadPayload:
            return nack::kPayloadCrc;
        case LineItem::Kind::BadLength:
            return nack::kInvalidPayload;
        default:
            return nack::kTimeout;
    }
}

Bytes NackFrame(uint8_t code) {
    const Bytes payload = {code};
    return EncodeFrame(command::kNack, std::span<const uint8_t>(payload));
}

}  // namespace

void Carrier::Hear(const LineItem& item) {
    FrameRecord record;
    record.time = item.time;
    record.kind = item.kind;
    record.raw = item.raw;
    record.command = item.command;
    record.payload = item.payload;
    record.isLost = item.time < mAwayUntil;
    ++(item.IsFrame() ? mStatistics.framesReceived : mStatistics.damagedReceived);
    const FrameRecord& kept = mReceived.Add(std::move(record));
    if (mListener != nullptr) {
        Tell([copy = kept](CarrierListener& listener) { listener.OnFrame(copy); });
    }
    if (kept.isLost) {
        return;
    }
    if (!item.IsFrame()) {
        if (item.kind != LineItem::Kind::Noise && mOptions.areDamagedFramesNacked) {
            Transmission how;
            how.due = item.time + mOptions.answerDelay;
            QueueFrame(NackFrame(NackCodeFor(item.kind)), how);
        }
    } else if (item.command == command::kAck || item.command == command::kNack) {
        HearAnswer(item);
    } else {
        Serve(item);
    }
}

void Carrier::HearAnswer(const LineItem& item) {
    const bool isAck = item.command == command::kAck;
    ++(isAck ? mStatistics.acksReceived : mStatistics.nacksReceived);
    const uint8_t code = item.payload.empty() ? nack::kUnknownCommand : item.payload.front();
    const OwnCommand* own =
        isAck ? mOwnCommands.NoteAck(item.payload, item.time) : mOwnCommands.NoteNack(code, item.time);
    if (own == nullptr) {
        ++mStatistics.answersUnexpected;
    } else if (isAck && own->command == command::kGetFirmwareVersions) {
        const auto end = std::find(item.payload.begin(), item.payload.end(), uint8_t{0});
        mState.halBuild.assign(item.payload.begin(), end);
    }
}

void Carrier::Serve(const LineItem& item) {
    const std::optional<ScriptedFault> fault = mFaults.NextAnswerFault(item.command);
    if (fault && fault->what == ScriptedFault::What::Ignore) {
        return;
    }
    if (fault && fault->what == ScriptedFault::What::Nack) {
        SendAnswer(item, NackFrame(fault->code), std::nullopt);
        return;
    }
    if (ServeFirmware(item, fault)) {
        return;
    }
    if (item.command == command::kCarrierReset) {
        SendAnswer(item, EncodeFrame(command::kAck), fault, mOptions.restartTime);
        return;
    }
    const Answer answer = AnswerCommand(item.command, item.payload, mState, mClock);
    SendAnswer(item,
               answer.nackCode ? NackFrame(*answer.nackCode)
                               : EncodeFrame(command::kAck, std::span<const uint8_t>(answer.payload)),
               fault);
}

// Returns when the last part of it is due. `restart`: the answer is the carrier's last word before a restart that takes
// so long.
TimePoint Carrier::SendAnswer(const LineItem& item, const Bytes& frame, const std::optional<ScriptedFault>& fault,
                              std::optional<Milliseconds> restart) {
    Transmission how;
    how.due = item.time + mOptions.answerDelay;
    how.answerTo = item.command;
    how.restart = restart;
    if (!fault) {
        return QueueFrame(frame, how);
    }
    if (fault->what == ScriptedFault::What::OtherCommand) {
        return QueueFrame(EncodeFrame(fault->code), how);
    }
    return QueueParts(mFaults.ApplyToAnswer(*fault, frame), how);
}

// `how`: when, and what for.
TimePoint Carrier::QueueFrame(const Bytes& frame, const Transmission& how) {
    return QueueParts(mFaults.Apply(Direction::Sent, frame), how);
}

TimePoint Carrier::QueueParts(const std::vector<LinePart>& parts, Transmission how) {
    const std::optional<Milliseconds> restart = std::exchange(how.restart, std::nullopt);
    for (const LinePart& part : parts) {
        if (how.ownCommand != 0 && !part.isDamaged) {
            mOwnCommands.NoteCopy(how.ownCommand);
        }
        how.due += part.delay;
        how.bytes = part.bytes;
        how.pausePerByte = part.pausePerByte;
        how.restart = &part == &parts.back() ? restart : std::nullopt;
        mTransmitter.Queue(how);
    }
    if (parts.empty() && restart) {
        BeginRestart(Clock::now(), *restart);
    }
    return how.due;
}

void Carrier::SendOwnCommands(TimePoint now) {
    if (now < mAwayUntil) {
        return;
    }
    while (const OwnCommand* own = mOwnCommands.TakeDue(now)) {
        Transmission how;
        how.due = now;
        how.ownCommand = own->id;
        QueueFrame(EncodeFrame(own->command, std::span<const uint8_t>(own->payload)), how);
    }
}

// On the transmitter's thread.
void Carrier::NoteSent(const Transmission& transmission, TimePoint lastByte, std::size_t written, bool isMuted) {
    {
        const Lock lock(mMutex);
        if (!isMuted) {
            LogSent(transmission, lastByte, written);
        }
        if (transmission.restart) {
            BeginRestart(Clock::now(), *transmission.restart);
        }
    }
    if (transmission.restart) {
        mLine.Wake();
    }
    mChanged.notify_all();
    DeliverEvents();
}

void Carrier::LogSent(const Transmission& transmission, TimePoint lastByte, std::size_t written) {
    FrameRecord record = RecordOfSent(transmission.bytes, lastByte);
    record.answerTo = transmission.answerTo;
    record.isLost = written < transmission.bytes.size();
    ++mStatistics.framesSent;
    mStatistics.bytesSent += written;
    mStatistics.bytesLost += transmission.bytes.size() - written;
    if (transmission.ownCommand != 0) {
        mOwnCommands.NoteSent(transmission.ownCommand, lastByte);
    }
    const FrameRecord& kept = mSent.Add(std::move(record));
    if (mListener != nullptr) {
        Tell([copy = kept](CarrierListener& listener) { listener.OnFrame(copy); });
    }
}

void Carrier::BeginRestart(TimePoint now, Milliseconds duration) {
    ++mState.restarts;
    mState.leds = LedStates{};
    mState.isDataReporting = false;
    mFirmware.Restart();
    mOwnDecoder.Reset();
    mOwnCommands.Abandon();
    mTimers.clear();
    mAwayUntil = now + std::min(duration, kForEver);
    mTransmitter.Clear();
    mTransmitter.MuteUntil(mAwayUntil);
    At(mAwayUntil, [this] { EndRestart(); });
    Tell([duration](CarrierListener& listener) {
        listener.OnNote(duration < kForEver ? "restarting, silent for " + std::to_string(duration.count()) + " ms"
                                            : "restarting, silent for ever");
    });
}

void Carrier::EndRestart() {
    const TimePoint now = Clock::now();
    mNextHeartbeat = mOptions.heartbeatPeriod.count() > 0 ? now + mOptions.heartbeatPeriod : TimePoint::max();
    if (mOptions.isHeartbeatSentAfterRestart) {
        AddOwn(command::kCarrierAlive, HeartbeatPayload());
    }
    const std::string version = mState.identity.appVersion;
    Tell([version](CarrierListener& listener) { listener.OnNote("back after the restart with version " + version); });
}

}  // namespace simulator
