// The carrier's clock, which sets the module's once, and its battery.
#include "Common/Helper/ErrorText.h"
#include "Common/Logging/HalLog.h"
#include "OSSpecific/Linux/System/SystemClock.h"
#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/HalGlobals.h"
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"
#include "VeltrixHAL/VeltrixComm/FrameView.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

constexpr std::uint8_t kFirstTrustedYear = 25;  // a carrier whose clock was never set counts from 2000
constexpr long kNanosecondsPerMillisecond = 1'000'000;

bool ToDateTime(const timestampStruct& stamp, DateTime& time) {
    std::array<char, 35> text{};
    const int length = std::snprintf(text.data(), text.size(), "20%02d-%02d-%02dT%02d:%02d:%02d.%03dZ", stamp.year,
                                     stamp.month, stamp.day, stamp.hour, stamp.minute, stamp.second, stamp.millisecond);
    return length > 0 && time.FromISO8601String(text.data());
}

std::int64_t SecondsFromNow(const DateTime& time) {
    timespec now{};
    if (::clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return 0;
    }
    return std::abs(time.GetSeconds() - std::int64_t{now.tv_sec});
}

}  // namespace

bool CarrierCommInterface::setOnce = true;

void CarrierCommInterface::ProcessResponseToGetRTC(Packet& packet) {
    const std::uint16_t length = FrameView::PayloadLength(packet);
    if (length < 1 || length > timestampStruct::kSize) {
        return;
    }
    std::array<std::uint8_t, timestampStruct::kSize> bytes{};
    std::copy_n(FrameView::Payload(packet), length, bytes.begin());
    const auto stamp = timestampStruct::FromBytes(bytes);
    DateTime carrierTime;
    if (!ToDateTime(stamp, carrierTime)) {
        return;
    }
    if (gCoreEnabled && stamp.year >= kFirstTrustedYear && setOnce) {
        setOnce = false;
        SetClockFromCarrier(carrierTime);
    }
}

void CarrierCommInterface::SetClockFromCarrier(const DateTime& carrierTime) {
    const std::int64_t difference = SecondsFromNow(carrierTime);
    timespec time{};
    time.tv_sec = static_cast<std::time_t>(carrierTime.GetSeconds());
    time.tv_nsec = static_cast<long>(carrierTime.GetMilliseconds()) * kNanosecondsPerMillisecond;
    if (const int error = SetSystemClock(time); error != 0) {
        const std::string reason = ErrorText(error);
        HalLog::Print(0, "Error setting SBC time. {}", reason);
        HalLog::Error("Unable to set SBC time. \"{}\"", reason);
    } else {
        const std::string text = carrierTime.ToISO8601String();
        HalLog::Print(0, "Startup sync of SBC clock to STM RTCtime: {}", text);
        HalLog::Info("INITIAL TIME SYNCHING SOM to {} from carrier. TimeDiff is {}s", text, difference);
    }
    TimeSyncType sync;
    sync.set_serverTimestamp(carrierTime);
    sync.set_receivedTimeFromCloud(false);
    BusClient::PublishOnce("time_sync", sync);
}

void CarrierCommInterface::ProcessResponseToGetVBat(Packet& packet) {
    const std::uint8_t* const frame = packet;
    if (FrameView::PayloadLength(frame) != sizeof(float)) {
        HalLog::Error("Unable to process VBat");
        return;
    }
    const std::uint8_t* const bytes = FrameView::Payload(frame);
    std::uint32_t word = 0;
    for (int i = 3; i >= 0; --i) {
        word = (word << 8U) | bytes[i];
    }
    const auto volts = std::bit_cast<float>(word);
    HalGlobals::g_batteryVoltage = volts;
    HalLog::Print(0, "Battery voltage = {:g}", volts);
    DeviceSettings settings;
    settings.set_batteryVoltage(double{volts});
    settings.set_timestamp(DateTime::Now(0));
    BusClient::PublishOnce("device_settings", settings);
}
