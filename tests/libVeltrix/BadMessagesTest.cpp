// Whatever is put on the bus: the client says what was wrong, and the next good message works.
#include <functional>

#include "tests/libVeltrix/BusFixture.h"

namespace {

std::string Repeat(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

struct Topic {
    const char* topic;
    std::function<std::unique_ptr<VeltrixDataTypeBase>()> make;
    std::string good;  // as it is written again
    std::vector<std::string> bad;
};

template <typename T>
std::unique_ptr<VeltrixDataTypeBase> Make() {
    return std::make_unique<T>();
}

// One message per topic that reads well, and some with a wrong type or a number that does not fit.
std::vector<Topic> Topics() {
    return {
        {"req_hal_info", Make<RequestType>, "{}", {}},
        {"power_down_status",
         Make<PowerDownStatus>,
         R"({"isPoweringDown":true,"nameOfCaller":"x","reasonForPowerdown":"y"})",
         {R"({"isPoweringDown":1})", R"({"nameOfCaller":null})", R"({"reasonForPowerdown":{}})"}},
        {"weld_trigger_start",
         Make<WeldTriggerStart>,
         R"({"tag":1,"timestamp":2})",
         {R"({"tag":"1"})", R"({"timestamp":9007199254740994})", R"({"gas":1})", R"({"tag":2147483648})"}},
        {"weld_trace_data",
         Make<WeldTraceData>,
         R"({"sequence":1,"data":{"amps":1,"volts":2,"wfs":3}})",
         {R"({"sequence":1.5})", R"({"data":[]})", R"({"data":{"amps":"1"}})", R"({"data":{"wfs":1e999}})"}},
        {"weld_trigger_end",
         Make<WeldTriggerEnd>,
         R"({"tag":1,"metrics":{}})",
         {R"({"metrics":1})", R"({"metrics":{"ArcDuration":5}})", R"({"metrics":{"AverageWFS":{"value":true}}})"}},
        {"system_led_status",
         Make<SystemLedStatus>,
         R"({"ethernetIsUp":true,"wifiIsUp":true,"operatorIsUp":true,"internetIsUp":true,"internetQueried":true,)"
         R"("isAccessingUSB":true,"doNotSendToCarrier":true})",
         {R"({"ethernetIsUp":"true"})", R"({"doNotSendToCarrier":0})"}},
        {"led_settings",
         Make<LedSettings>,
         R"({"cloudGreenLed":1,"cloudYellowLed":2,"wifiGreenLed":3,"wifiYellowLed":4,"ethernetGreenLed":5,)"
         R"("ethernetYellowLed":6,"usbGreenLed":7,"opIDGreenLed":8,"opIDYellowLed":9})",
         {R"({"cloudGreenLed":1.25})", R"({"opIDYellowLed":-2147483649})"}},
        {"tessimor_settings",
         Make<TessimorSettings>,
         R"({"is10KHzRawData":false,"currentSensorType":0,"useWireFeedSensor":false,"useGasSensor":false,"gasType":0,)"
         R"("preWeldDataTenthSeconds":0,"postWeldDataTenthSeconds":0,"weldEndRequirementMSecs":0,)"
         R"("weldStartCurrentThresholdAmps":0})",
         {R"({"gasType":true})", R"({"weldStartCurrentThresholdAmps":"5"})"}},
        {"carrier_file",
         Make<CarrierFileInfo>,
         R"({"fileSize":1,"fileName":"a","fileFullPath":"b"})",
         {R"({"fileSize":-1})", R"({"fileName":["a"]})"}},
        {"firmware_update_end",
         Make<FirmwareUpdateEnd>,
         R"({"wasUpdateSuccessful":true})",
         {R"({"wasUpdateSuccessful":"yes"})"}},
        {"admin_access",
         Make<AdminAccessSettings>,
         R"({"expiryDate":"","enableConsole":false,"enableShell":true})",
         {R"({"expiryDate":20250304})", R"({"enableShell":null})"}},
        {"incoming_commands",
         Make<IncomingCommands>,
         R"({"currentSensorTypeReceived":true,"currentSensorType":1,"arcStartThreshold":2})",
         {R"({"arcStartThreshold":false})", R"({"currentSensorType":1e10})"}},
        {"time_sync",
         Make<TimeSyncType>,
         R"({"serverTimestamp":"2025-03-04T05:06:07.000Z","receivedTimeFromCloud":true})",
         {R"({"serverTimestamp":"yesterday"})", R"({"serverTimestamp":1741064767})",
          R"({"serverTimestamp":"2025-02-30T00:00:00Z"})"}},
        {"system_health",
         Make<SystemHealth>,
         R"({"processName":"x","code":4096})",
         {R"({"code":4294967296})", R"({"code":-1})", R"({"processName":5})"}},
        {"device_settings",
         Make<DeviceSettings>,
         "{}",
         {R"({"batteryVoltage":null})", R"({"timestamp":""})", R"({"arcStartThreshold":{}})"}},
        {"carrier_info", Make<CarrierInfo>, R"({"HALVersion":8})", {R"({"appVersion":8})", R"({"HALVersion":"8"})"}},
        {"error_log",
         Make<ErrorLogType>,
         R"({"code":"a","message":"b","timestamp":"1970-01-01T00:00:00.000Z"})",
         {R"({"code":1})", R"({"timestamp":false})"}},
        {"hal_info",
         Make<HALInfo>,
         R"({"serialNumber":"a","machineType":"b","revisionNumber":1})",
         {R"({"revisionNumber":"1"})", R"({"serialNumber":false})"}},
        {"hal_status", Make<HALStatus>, R"({"ready":true})", {R"({"ready":"true"})"}},
        {"process_ready", Make<ProcessReady>, R"({"index":1})", {R"({"index":0.5})"}},
    };
}

std::vector<std::string> BadForEverybody() {
    return {
        "ready",
        " ",
        "null",
        "[]",
        "[{}]",
        "{",
        "{}{}",
        "{} x",
        "{'a':1}",
        R"({"a":1,})",
        R"({"a":+1})",
        R"({"a":nul})",
        std::string("{}\0", 3),
        "\xFF\xFE{\0}\0",
        Repeat("[", 10'000) + Repeat("]", 10'000),
        R"({"a":)" + Repeat("[", 10'000) + Repeat("]", 10'000) + "}",
        Repeat(R"({"a":)", 10'000) + "1" + Repeat("}", 10'000),
        std::string(1 << 20, 'x'),
        R"({"a":")" + std::string(1 << 20, 'x'),
    };
}

class BadMessages : public BusFixture {};

TEST_F(BadMessages, AreDroppedWithAWarningAndTheNextGoodOneWorks) {
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    BusProbe probe(Socket());
    for (const Topic& topic : Topics()) {
        const auto prototype = topic.make();
        Recorder recorder;
        ASSERT_EQ(client.Subscribe(topic.topic, Recorder::Handle, prototype.get(), &recorder, false), 0);
        std::vector<std::string> bad = BadForEverybody();
        bad.insert(bad.end(), topic.bad.begin(), topic.bad.end());
        for (const std::string& payload : bad) {
            probe.PublishLater(topic.topic, payload);
        }
        probe.Publish(topic.topic, topic.good);
        ASSERT_TRUE(recorder.WaitFor(1)) << topic.topic;
        EXPECT_EQ(recorder.Count(), 1U) << topic.topic;
        EXPECT_EQ(recorder.Calls()[0].json, topic.good);
        EXPECT_EQ(CountInLog("[warning] Message on \"" + std::string(topic.topic) + "\" dropped: "), bad.size());
    }
}

TEST_F(BadMessages, TheWarningSaysWhatWasWrong) {
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    const WeldTraceData prototype;
    Recorder recorder;
    ASSERT_EQ(client.Subscribe("weld_trace_data", Recorder::Handle, &prototype, &recorder, true), 0);
    BusProbe probe(Socket());
    probe.Publish("weld_trace_data", R"({"sequence":1,"data":{"volts":"24"}})");
    probe.Publish("weld_trace_data", R"({"sequence":3000000000})");
    probe.Publish("weld_trace_data", R"({"sequence":1)");
    probe.Publish("weld_trace_data", "{}");
    ASSERT_TRUE(RunDeferred(client, 1));
    EXPECT_EQ(CountInLog("Message on \"weld_trace_data\" dropped: \"data.volts\" is not a number\n"), 1U);
    EXPECT_EQ(CountInLog("Message on \"weld_trace_data\" dropped: \"sequence\" is out of range\n"), 1U);
    EXPECT_EQ(CountInLog("Message on \"weld_trace_data\" dropped: no JSON object: ill-formed at byte 12\n"), 1U);
}

TEST_F(BadMessages, AreReadUpToTwoMebibytes) {
    constexpr std::size_t kMost = 2 * 1024 * 1024;
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    const RequestType prototype;
    Recorder recorder;
    ASSERT_EQ(client.Subscribe("req_hal_info", Recorder::Handle, &prototype, &recorder, false), 0);
    BusProbe probe(Socket());
    const std::string largest = R"({"x":")" + std::string(kMost - 8, 'y') + R"("})";
    ASSERT_EQ(largest.size(), kMost);
    probe.Publish("req_hal_info", largest);
    probe.Publish("req_hal_info", largest + " ");
    // Small items, which take the most memory.
    probe.Publish("req_hal_info", R"({"x":[1)" + Repeat(",1", 4 * 1024 * 1024) + "]}");
    probe.Publish("req_hal_info", "{}");
    ASSERT_TRUE(recorder.WaitFor(2));
    EXPECT_EQ(recorder.Count(), 2U);
    EXPECT_EQ(CountInLog("Message on \"req_hal_info\" dropped: 2097153 bytes are too many\n"), 1U);
    EXPECT_EQ(CountInLog("Message on \"req_hal_info\" dropped: 8388617 bytes are too many\n"), 1U);
}

TEST_F(BadMessages, OddOnesAreDeliveredWithAWarning) {
    EventClient client("client");
    ASSERT_EQ(client.Connect(Socket()), 0);
    const SystemHealth prototype;
    Recorder recorder;
    ASSERT_EQ(client.Subscribe("system_health", Recorder::Handle, &prototype, &recorder, false), 0);
    BusProbe probe(Socket());
    probe.Publish("system_health", R"({"code":1,"code":2,"processName":"x"})");
    probe.Publish("system_health", "{\"code\":3,\"processName\":\"\xC0\"}");
    probe.Publish("system_health", R"({"code":4,"unknown":{"code":[]}})");
    probe.Publish("system_health", R"({"processName":")" + std::string(1 << 20, 'n') + R"("})");
    ASSERT_TRUE(recorder.WaitFor(4));
    EXPECT_EQ(recorder.Calls()[0].json, R"({"processName":"x","code":1})");
    EXPECT_EQ(recorder.Calls()[1].json, "{\"processName\":\"\xEF\xBF\xBD\",\"code\":3}");
    EXPECT_EQ(recorder.Calls()[2].json, R"({"processName":"","code":4})");
    EXPECT_EQ(recorder.Calls()[3].json.size(), (1U << 20) + std::string(R"({"processName":"","code":0})").size());
    EXPECT_EQ(CountInLog("Message on \"system_health\": \"code\" is given twice, the first one counts\n"), 1U);
    EXPECT_EQ(CountInLog("Message on \"system_health\": \"processName\" is not UTF-8\n"), 1U);
    EXPECT_EQ(CountInLog("dropped"), 0U);
}

}  // namespace
