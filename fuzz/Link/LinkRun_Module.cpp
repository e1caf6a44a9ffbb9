// What the module does on the link.
#include "fuzz/Link/LinkRun.h"

#include "VeltrixHAL/CarrierTopics.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/SystemMonitor.h"
#include "VeltrixHAL/WeldEvents.h"
#include "fuzz/Link/FuzzClock.h"
#include "fuzz/Support/BusTypes.h"
#include "fuzz/Support/Check.h"
#include "fuzz/Support/Surroundings.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

// In place of the system's: a restart for admin access asks for it, and no harness waits for disks.
extern "C" void sync() noexcept {}

namespace {

constexpr unsigned int kMostPayload = 8192;
constexpr unsigned int kChunk = 1024;
constexpr unsigned short kMostTimeoutMs = 5100;
constexpr std::uint64_t kCommandMs = 200;
constexpr std::uint64_t kStopMs = 6000;       // from the stop of the process to the end of an operation
constexpr std::uint64_t kPowerDownMs = 2000;  // the wait behind an announced power-down

using Handler = void (*)(EventClient*, VeltrixDataTypeBase*, int, void*);
enum class Context { None, Carrier, Identity };

struct BusMessage {
    std::unique_ptr<VeltrixDataTypeBase> (*make)();
    Handler handle;
    Context context;
    std::uint64_t exchanges;
    std::uint64_t pauseMs = 0;
};

template <typename DataType>
std::unique_ptr<VeltrixDataTypeBase> Make() {
    return std::make_unique<DataType>();
}

// "carrier_file" is an event of its own: its path must not lead out of the harness's folder.
constexpr std::array<BusMessage, 14> kMessages = {{
    {Make<SystemLedStatus>, receiveSystemLedStatus, Context::Carrier, 6},
    {Make<LedSettings>, receiveLedSettings, Context::Carrier, 1},
    {Make<TessimorSettings>, receiveTessimorSettings, Context::Carrier, 1},
    {Make<FirmwareUpdateEnd>, receiveFirmwareEnd, Context::Carrier, 1},
    {Make<AdminAccessSettings>, receiveAdminAccessStatus, Context::Carrier, 1},
    {Make<IncomingCommands>, receiveIncomingCommands, Context::Carrier, 1},
    {Make<TimeSyncType>, receiveTimeSync, Context::Carrier, 1},
    {Make<RequestType>, receiveHalInfoRequest, Context::Identity, 0},
    {Make<RequestType>, receiveDeviceSettingsRequest, Context::None, 0},
    {Make<PowerDownStatus>, receivePowerDownStatus, Context::None, 0, kPowerDownMs},
    {Make<SystemHealth>, receiveSystemHealth, Context::None, 0},
    {Make<WeldTriggerStart>, receiveWeldTriggerStart, Context::None, 0},
    {Make<WeldTraceData>, receiveWeldData, Context::None, 0},
    {Make<WeldTriggerEnd>, receiveWeldTriggerEnd, Context::None, 0},
}};

const std::array<std::string, 7> kFileNames = {"PreBoot.hex",    "VeltrixBoot.hex",    "VeltrixBoot_CRC.bin",
                                               "VeltrixApp.hex", "VeltrixApp_CRC.bin", "veltrixapp.hex",
                                               "bad\xFF name"};

// Whether there is something to be read, announced or not, that cannot be had whole.
bool IsUnreadable(const std::string& path, std::uint64_t announced) {
    struct stat status {};
    const bool isThere = ::stat(path.c_str(), &status) == 0;
    const std::uint64_t size = isThere ? static_cast<std::uint64_t>(status.st_size) : 0;
    return (announced != 0 || size != 0) && (!isThere || !S_ISREG(status.st_mode) || size < announced);
}

bool IsWaitedFor(CommCommands_t command) {
    return command != CommCommands_Ack && command != CommCommands_Nack;
}

std::size_t CountCommand(const std::vector<ScriptedPort::Written>& frames, CommCommands_t command) {
    return static_cast<std::size_t>(
        std::count_if(frames.begin(), frames.end(), [&](const auto& frame) { return frame.command == command; }));
}

}  // namespace

void LinkRun::SendCommand(Fuzz::ByteSource& source) {
    const auto command = static_cast<CommCommands_t>(source.Byte());
    const unsigned int length = source.Word() % (kMostPayload + 1);
    const auto timeoutMs = static_cast<unsigned short>(source.Word() % (kMostTimeoutMs + 1U));
    // A block of just this size, so that reading beyond it shows.
    const Bytes payload = FrameBuilder::Ramp(length, source.Byte());
    const std::size_t chunks = std::max<std::size_t>(1, (length + kChunk - 1) / kChunk);
    mPort.TakeWritten();
    const bool wasRunning = gKeepRunning;
    Operate(chunks * ExchangeMs(timeoutMs), [&] {
        const e_commError result =
            mCarrier->SendCommand(command, length, length == 0 ? nullptr : payload.data(), timeoutMs);
        const auto frames = mPort.TakeWritten();
        const std::size_t sent = CountCommand(frames, command);
        if (IsWaitedFor(command)) {
            FUZZ_CHECK(sent >= 1 && sent <= 3 * chunks);
            FUZZ_CHECK(result != commError_None || sent >= chunks);
        } else {
            FUZZ_CHECK(sent == (wasRunning ? chunks : 1));
        }
        FUZZ_CHECK(wasRunning || sent <= chunks);
    });
}

void LinkRun::SendRequest(Fuzz::ByteSource& source) {
    const auto command = static_cast<CommCommands_t>(source.Byte());
    Bytes answer(source.Byte());
    mPort.TakeWritten();
    Operate(ExchangeMs(kCommandMs), [&] {
        const auto size = static_cast<unsigned short>(answer.size());
        const e_commError result = mCarrier->SendRequest(command, answer.empty() ? nullptr : answer.data(), size);
        FUZZ_CHECK(result == commError_None || result == commError_Unknown || result == commError_Timeout);
        FUZZ_CHECK(result != commError_None || !answer.empty());
        const std::size_t sent = mPort.TakeWritten().size();
        FUZZ_CHECK(sent >= 1 && sent <= 3);
    });
}

void LinkRun::WaitForStrayAnswer(Fuzz::ByteSource& source) {
    const auto command = static_cast<CommCommands_t>(source.Byte());
    const auto timeoutMs = static_cast<unsigned short>(source.Word() % (kMostTimeoutMs + 1U));
    Operate(ExchangeMs(timeoutMs), [&] {
        unsigned int elapsedMs = 0;
        const e_commError result = mCarrier->WaitForResponseToCommand(command, timeoutMs, elapsedMs);
        FUZZ_CHECK(result == commError_Timeout || elapsedMs < timeoutMs);
    });
}

void LinkRun::HandleBusMessage(Fuzz::ByteSource& source) {
    const BusMessage& message = source.Pick(kMessages);
    const auto object = message.make();
    Fuzz::Fill(*object, source);
    HALInfo identity;
    void* const context = message.context == Context::Carrier    ? static_cast<CarrierCommInterface*>(mCarrier)
                          : message.context == Context::Identity ? static_cast<void*>(&identity)
                                                                 : nullptr;
    Operate(message.exchanges * ExchangeMs(kCommandMs) + message.pauseMs,
            [&] { message.handle(&mClient, object.get(), 0, context); });
}

// The process is stopped some time later, since a carrier that does not answer is asked for ever.
void LinkRun::UpdateFirmware(Fuzz::ByteSource& source) {
    const std::string& name = source.Pick(kFileNames);
    const std::uint8_t kind = source.Byte();
    const std::size_t size = source.Word() % (kMostPayload + 1U);
    const std::uint64_t stopMs = (source.Byte() % 64U + 1U) * 250U;
    const Bytes content = FrameBuilder::Ramp(size);
    if ((kind & 1U) == 0) {
        Fuzz::WriteRootedFile("/var/tmp/update", std::string(content.begin(), content.end()));
    }
    CarrierFileInfo info;
    info.set_fileName(name);
    info.set_fileFullPath(Fuzz::Root() + ((kind & 2U) == 0 ? "/var/tmp/update" : "/var/tmp"));
    const std::array<std::uint32_t, 4> sizes = {0, static_cast<std::uint32_t>(size),
                                                static_cast<std::uint32_t>(size / 2),
                                                static_cast<std::uint32_t>(size + 1)};
    info.set_fileSize(sizes[(kind >> 2U) % sizes.size()]);
    // Once is for ever.
    mIsUpdateBarred = mIsUpdateBarred || IsUnreadable(info.get_fileFullPath(), info.get_fileSize());
    FuzzClock::SetAlarm(FuzzClock::ElapsedUs() + stopMs * 1000, [] { gKeepRunning = false; });
    mIsUpdating = true;
    Operate(stopMs + kStopMs,
            [&] { receiveFileInfo(&mClient, &info, 0, static_cast<CarrierCommInterface*>(mCarrier)); });
    mIsUpdating = false;
    FuzzClock::CancelAlarm();
    FUZZ_CHECK(!mCarrier->mFirmwareUpdateInProgress && !HalGlobals::gInhibitLEDUpdatesDuringFileTransfer);
}

void LinkRun::UpdateLed(Fuzz::ByteSource& source) {
    const auto led = static_cast<ledNames_e>(source.Byte() % 6U);
    const bool on = source.Flag();
    Operate(ExchangeMs(kCommandMs), [&] { mCarrier->SendLedUpdate(led, on); });
}

void LinkRun::UpdateThreshold(Fuzz::ByteSource& source) {
    const std::uint16_t amps = source.Word();
    Operate(0, [&] {
        mCarrier->UpdateStoredConfig(amps);
        std::uint16_t stored = 0;
        mCarrier->ReadStoredConfig(stored);
        FUZZ_CHECK(stored >= 8 && (amps == 0 || stored == std::max(amps, std::uint16_t{8})));
    });
}
