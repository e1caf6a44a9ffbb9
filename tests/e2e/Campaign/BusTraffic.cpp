#include "tests/e2e/Campaign/BusTraffic.h"

#include <array>

namespace {

constexpr const char* kQuestion = "req_delayed_device_settings";
constexpr const char* kAnswer = "delayed_device_settings";
constexpr std::size_t kMessagesPerQuestion = 6;

std::string Field(const char* name, const std::string& value) {
    return std::string("\"") + name + "\":" + value;
}

std::string ByteField(const char* name, Chance& chance) {
    return Field(name, std::to_string(chance.Byte()));
}

std::string LedStatus(Chance& chance, std::size_t /*number*/) {
    std::string fields;
    for (const char* const name : {"ethernetIsUp", "wifiIsUp", "operatorIsUp", "internetIsUp", "isAccessingUSB"}) {
        fields += Field(name, chance.Truth()) + ",";
    }
    return "{" + fields + Field("internetQueried", chance.OneIn(5) ? "true" : "false") + "}";
}

std::string LedSettings(Chance& chance, std::size_t /*number*/) {
    std::string fields;
    for (const char* const name : {"cloudGreenLed", "cloudYellowLed", "wifiGreenLed", "wifiYellowLed",
                                   "ethernetGreenLed", "ethernetYellowLed", "usbGreenLed", "opIDGreenLed"}) {
        fields += ByteField(name, chance) + ",";
    }
    return "{" + fields + ByteField("opIDYellowLed", chance) + "}";
}

std::string TessimorSettings(Chance& chance, std::size_t /*number*/) {
    return "{" + Field("is10KHzRawData", chance.Truth()) + "," + ByteField("currentSensorType", chance) + "," +
           ByteField("gasType", chance) + "," + ByteField("preWeldDataTenthSeconds", chance) + "," +
           ByteField("weldEndRequirementMSecs", chance) + "}";
}

std::string SensorCommand(Chance& chance, std::size_t /*number*/) {
    return R"({"currentSensorTypeReceived":true,)" + Field("currentSensorType", std::to_string(chance.Below(4))) + "}";
}

std::string Threshold(Chance& chance, std::size_t /*number*/) {
    return "{" + Field("arcStartThreshold", std::to_string(chance.Between(1, 200))) + "}";
}

std::string CloudTime(Chance& chance, std::size_t /*number*/) {
    return R"({"receivedTimeFromCloud":true,"serverTimestamp":"2031-05-)" + std::to_string(chance.Between(10, 28)) +
           "T12:" + std::to_string(chance.Between(10, 59)) + R"(:30.000Z"})";
}

std::string HealthyTessimor(Chance& chance, std::size_t /*number*/) {
    return R"({"processName":"Tessimor",)" + Field("code", std::to_string(chance.Between(0x1000, 0x10FF))) + "}";
}

std::string WeldStart(Chance& /*chance*/, std::size_t number) {
    return "{" + Field("tag", std::to_string(number)) + R"(,"timestamp":1900000000})";
}

std::string WeldSample(Chance& chance, std::size_t number) {
    return "{" + Field("sequence", std::to_string(number)) + R"(,"data":{"amps":)" +
           std::to_string(chance.Between(50, 300)) + R"(,"volts":24.5,"wfs":300}})";
}

std::string WeldEnd(Chance& /*chance*/, std::size_t number) {
    return "{" + Field("tag", std::to_string(number)) + "}";
}

std::string UpdateEnd(Chance& chance, std::size_t /*number*/) {
    return "{" + Field("wasUpdateSuccessful", chance.Truth()) + "}";
}

std::string Nothing(Chance& /*chance*/, std::size_t /*number*/) {
    return "{}";
}

struct Message {
    const char* topic;
    std::string (*payload)(Chance& chance, std::size_t number);
};

// As often as it stands here.
constexpr std::array kMessages = {
    Message{"system_led_status", LedStatus},
    Message{"system_led_status", LedStatus},
    Message{"system_led_status", LedStatus},
    Message{"led_settings", LedSettings},
    Message{"led_settings", LedSettings},
    Message{"tessimor_settings", TessimorSettings},
    Message{"incoming_commands", SensorCommand},
    Message{"incoming_commands", Threshold},
    Message{"time_sync", CloudTime},
    Message{"system_health", HealthyTessimor},
    Message{"weld_trigger_start", WeldStart},
    Message{"weld_trace_data", WeldSample},
    Message{"weld_trace_data", WeldSample},
    Message{"weld_trace_data", WeldSample},
    Message{"weld_trigger_end", WeldEnd},
    Message{"firmware_update_end", UpdateEnd},
    Message{"req_hal_info", Nothing},
};

}  // namespace

BusTraffic::BusTraffic(const std::string& socket, std::uint64_t seed) : mProbe(socket), mChance(seed) {
    mProbe.Subscribe(kAnswer);
}

void BusTraffic::SendOne() {
    const Message& message = kMessages[mChance.Below(kMessages.size())];
    mProbe.PublishLater(message.topic, message.payload(mChance, ++mSent));
    if (mSent % kMessagesPerQuestion == 0) {
        Ask();
    }
}

std::size_t BusTraffic::Ask() {
    mProbe.Publish(kQuestion, "{}");
    return ++mAsked;
}

bool BusTraffic::AwaitAnswer(std::size_t question, std::chrono::milliseconds limit) const {
    return mProbe.WaitFor(kAnswer, question, limit);
}
