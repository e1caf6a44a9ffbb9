// Every topic that the process listens to is fed with what is no message of its type: the process stays up, says which
// topic and what was wrong, and the next good message works.
#include <algorithm>
#include <functional>
#include <map>

#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

enum class Kind { Bool, Int32, Uint32, Int64, Double, Text, Time, Object };

struct Field {
    const char* name;
    Kind kind;
};

struct Topic {
    const char* name;
    std::vector<Field> fields;
    const char* goodMessage;
    // Shows that the good message was handled.
    std::function<void(Machine&)> expectHandled;
    bool endsTheProcess = false;
};

void PrintTo(const Topic& topic, std::ostream* out) {
    *out << topic.name;
}

// A value of every JSON type, and numbers that fit no field of a kind.
const std::map<std::string, std::vector<Kind>>& ValuesAndTheKindsThatTakeThem() {
    static const auto& values = *new std::map<std::string, std::vector<Kind>>{
        {"null", {}},
        {"true", {Kind::Bool}},
        {"5", {Kind::Int32, Kind::Uint32, Kind::Int64, Kind::Double}},
        {"5.0", {Kind::Int32, Kind::Uint32, Kind::Int64, Kind::Double}},
        {"5.5", {Kind::Double}},
        {"-1", {Kind::Int32, Kind::Int64, Kind::Double}},
        {"2147483648", {Kind::Uint32, Kind::Int64, Kind::Double}},
        {"-2147483649", {Kind::Int64, Kind::Double}},
        {"4294967296", {Kind::Int64, Kind::Double}},
        {"9007199254740994", {Kind::Double}},
        {"1e300", {Kind::Double}},
        {"1e400", {}},
        {"-1e999999999999999999999", {}},
        {"\"text\"", {Kind::Text}},
        {"\"2025-02-30T00:00:00Z\"", {Kind::Text}},
        {"\"2025-03-04T05:06:07Z and more\"", {Kind::Text}},
        {"[]", {}},
        {"[{}]", {}},
        {"{}", {Kind::Object}},
    };
    return values;
}

std::vector<std::string> NoObjects() {
    std::string deep = R"({"a":)";
    deep.append(10000, '[');
    std::string deepAndClosed = deep;
    deepAndClosed.append(10000, ']');
    return {"hello",
            "{",
            "}",
            "{} {}",
            "{}x",
            "[]",
            "[{}]",
            "null",
            "17",
            "\"text\"",
            R"({"a")",
            R"({"a":})",
            R"({"a":1,})",
            R"({"a":tru})",
            R"({"a":"unfinished)",
            R"({"a":"\x"})",
            "\xFF\xFE{}",
            deep,
            deepAndClosed + "}",
            std::string(1024 * 1024, 'x'),
            "{\"a\":\"" + std::string(1024 * 1024, 'x')};
}

// A value that leads to nothing much. No size for a file: without a path it would block all updates.
std::string HarmlessValue(Kind kind) {
    switch (kind) {
        case Kind::Bool:
            return "false";
        case Kind::Text:
            return "\"a\"";
        case Kind::Time:
            return "\"2025-03-04T05:06:07.000Z\"";
        case Kind::Object:
            return "{}";
        case Kind::Int32:
        case Kind::Uint32:
        case Kind::Int64:
        case Kind::Double:
            break;
    }
    return "0";
}

class IllFormedMessagesTest : public EndToEndTest, public testing::WithParamInterface<Topic> {
protected:
    // Each of these is dropped with one warning.
    static void SendIllFormed(Machine& machine, const Topic& topic) {
        std::vector<std::string> payloads = NoObjects();
        for (const Field& field : topic.fields) {
            for (const auto& [value, kinds] : ValuesAndTheKindsThatTakeThem()) {
                if (std::find(kinds.begin(), kinds.end(), field.kind) == kinds.end()) {
                    payloads.push_back("{\"" + std::string(field.name) + "\":" + value + "}");
                }
            }
        }
        const std::size_t log = machine.Log().Position();
        for (const std::string& payload : payloads) {
            machine.Bus().Publish(topic.name, payload);
        }
        const std::string warning = std::string("[warning] Message on \"") + topic.name + "\" dropped: {}";
        machine.Log().Await(warning, log, payloads.size());
        machine.FlushBus();
        EXPECT_EQ(machine.Log().Count(warning, log), payloads.size());
        for (const Field& field : topic.fields) {
            EXPECT_TRUE(machine.Log().Has(warning + "\"" + field.name + "\"{}", log)) << field.name;
        }
    }

    // Odd, but messages all the same.
    static void SendOdd(Machine& machine, const Topic& topic) {
        const std::size_t log = machine.Log().Position();
        const std::string megabyte(1024 * 1024, 'y');
        machine.Bus().Publish(topic.name, R"({"noSuchField":")" + megabyte + R"(","another":[[{"x":null}]]})");
        machine.Bus().Publish(topic.name, " \n{ }\t\r\n");
        machine.Bus().Publish(topic.name, "");
        for (const Field& field : topic.fields) {
            const std::string key = "\"" + std::string(field.name) + "\":";
            const std::string member = key + HarmlessValue(field.kind);
            machine.Bus().Publish(topic.name, "{" + member + "," + member + "}");
            if (field.kind == Kind::Text) {
                machine.Bus().Publish(topic.name, "{" + key + "\"" + megabyte + "\"}");
                machine.Bus().Publish(topic.name, "{" + key + "\"\xC3\x28 \xFF\"}");
            }
        }
        machine.FlushBus();
        const std::string warning = std::string("[warning] Message on \"") + topic.name + "\"";
        EXPECT_FALSE(machine.Log().Has(warning + " dropped: {}", log));
        for (const Field& field : topic.fields) {
            const std::string about = warning + ": \"" + field.name + "\"";
            EXPECT_EQ(machine.Log().Count(about + " is given twice{}", log), 1U) << field.name;
            EXPECT_EQ(machine.Log().Count(about + " is not UTF-8{}", log), field.kind == Kind::Text ? 1U : 0U);
        }
    }
};

TEST_P(IllFormedMessagesTest, AreDroppedAndReportedAndTheNextOneWorks) {
    const Topic& topic = GetParam();
    Machine& machine = GreetedMachine();
    SendIllFormed(machine, topic);
    if (!topic.endsTheProcess) {
        SendOdd(machine, topic);
    }
    ASSERT_TRUE(machine.Hal().IsRunning());
    machine.Bus().Publish(topic.name, topic.goodMessage);
    topic.expectHandled(machine);
}

std::function<void(Machine&)> OnTheLine(const char* frame) {
    return [frame](Machine& machine) { machine.Line().AwaitFrame(frame); };
}

std::function<void(Machine&)> InTheLog(const char* line) {
    return [line](Machine& machine) { machine.Log().Await(line); };
}

std::vector<Topic> Topics() {
    std::vector<Topic> topics;
    topics.push_back({"req_hal_info", {}, "{}", [](Machine& machine) {
                          const std::size_t before = machine.Bus().Count("hal_info");
                          machine.Bus().Publish("req_hal_info", "{}");
                          machine.Bus().Await("hal_info", 0, [&](const std::string&) {
                              return machine.Bus().Count("hal_info") > before;
                          });
                      }});
    topics.push_back(
        {"power_down_status",
         {{"isPoweringDown", Kind::Bool}, {"nameOfCaller", Kind::Text}, {"reasonForPowerdown", Kind::Text}},
         R"({"nameOfCaller":"me"})",
         [](Machine& machine) { EXPECT_EQ(machine.Hal().WaitForExit(), 0); },
         true});
    topics.push_back({"weld_trigger_start",
                      {{"tag", Kind::Int32},
                       {"timestamp", Kind::Int64},
                       {"settings", Kind::Text},
                       {"gas", Kind::Text},
                       {"alloy", Kind::Text},
                       {"wireType", Kind::Text}},
                      R"({"tag":77,"timestamp":86400})",
                      [](Machine& machine) { machine.Out().Await("Weld Start 77  Time: {} 1970"); }});
    topics.push_back({"weld_trace_data",
                      {{"sequence", Kind::Int32}, {"data", Kind::Object}},
                      R"({"sequence":77})",
                      [](Machine& machine) { machine.Out().Await("Sample: 77, Voltage: 0, Current: 0, WFS: 0"); }});
    topics.push_back({"weld_trigger_end",
                      {{"tag", Kind::Int32}, {"metrics", Kind::Object}},
                      R"({"tag":77,"metrics":{}})",
                      InTheLog("[info] Weld 77 ended. Duration is 0s. Averages are 0 Volts, 0 Amps, 0 IPM ")});
    topics.push_back({"system_led_status",
                      {{"ethernetIsUp", Kind::Bool},
                       {"wifiIsUp", Kind::Bool},
                       {"operatorIsUp", Kind::Bool},
                       {"internetIsUp", Kind::Bool},
                       {"internetQueried", Kind::Bool},
                       {"isAccessingUSB", Kind::Bool},
                       {"doNotSendToCarrier", Kind::Bool}},
                      R"({"ethernetIsUp":true})",
                      OnTheLine("0A 1A 00 00 D6 9F")});
    topics.push_back({"led_settings",
                      {{"cloudGreenLed", Kind::Int32},
                       {"cloudYellowLed", Kind::Int32},
                       {"wifiGreenLed", Kind::Int32},
                       {"wifiYellowLed", Kind::Int32},
                       {"ethernetGreenLed", Kind::Int32},
                       {"ethernetYellowLed", Kind::Int32},
                       {"usbGreenLed", Kind::Int32},
                       {"opIDGreenLed", Kind::Int32},
                       {"opIDYellowLed", Kind::Int32}},
                      R"({"cloudGreenLed":255,"wifiGreenLed":254})",
                      OnTheLine("0A 30 09 00 71 C6 FF 00 FE 00 00 00 00 00 00 1C A6")});
    topics.push_back({"tessimor_settings",
                      {{"is10KHzRawData", Kind::Bool},
                       {"currentSensorType", Kind::Int32},
                       {"useWireFeedSensor", Kind::Bool},
                       {"useGasSensor", Kind::Bool},
                       {"gasType", Kind::Int32},
                       {"preWeldDataTenthSeconds", Kind::Int32},
                       {"postWeldDataTenthSeconds", Kind::Int32},
                       {"weldEndRequirementMSecs", Kind::Int32},
                       {"weldStartCurrentThresholdAmps", Kind::Double}},
                      R"({"weldEndRequirementMSecs":100})",
                      OnTheLine("0A 31 09 00 2B 1A 00 00 00 00 00 00 00 64 00 B3 D2")});
    topics.push_back({"carrier_file",
                      {{"fileSize", Kind::Uint32}, {"fileName", Kind::Text}, {"fileFullPath", Kind::Text}},
                      R"({"fileSize":5,"fileName":"x","fileFullPath":"/no/such/file"})",
                      InTheLog("[error] Could not open firmware file. Aborting update")});
    topics.push_back({"firmware_update_end",
                      {{"wasUpdateSuccessful", Kind::Bool}},
                      R"({"wasUpdateSuccessful":true})",
                      OnTheLine("0A 2A 02 00 63 81 05 00 71 FF")});
    topics.push_back({"admin_access",
                      {{"expiryDate", Kind::Text}, {"enableConsole", Kind::Bool}, {"enableShell", Kind::Bool}},
                      R"({"expiryDate":"2025-03-04T05:06:07.089Z","enableConsole":true})",
                      [](Machine& machine) {
                          machine.Line().AwaitFrame("0A 25 0A 00 E7 86 19 03 04 05 06 07 59 00 01 00 D9 D5");
                          EXPECT_EQ(machine.Hal().WaitForExit(), 0);
                      }});
    topics.push_back({"incoming_commands",
                      {{"currentSensorTypeReceived", Kind::Bool},
                       {"currentSensorType", Kind::Int32},
                       {"arcStartThreshold", Kind::Double}},
                      R"({"arcStartThreshold":77})",
                      InTheLog("[info] ArcThreshold set to 77")});
    topics.push_back({"time_sync",
                      {{"serverTimestamp", Kind::Time}, {"receivedTimeFromCloud", Kind::Bool}},
                      R"({"serverTimestamp":"2025-03-04T05:06:07.000Z","receivedTimeFromCloud":true})",
                      OnTheLine("0A 0E 08 00 FE AB 19 03 04 05 06 07 00 00 2D 01")});
    topics.push_back({"system_health",
                      {{"processName", Kind::Text}, {"code", Kind::Uint32}},
                      R"({"code":4096})",
                      [](Machine& machine) {
                          machine.FlushBus();
                          // It is out of date after two whole seconds, so here is a fresh one for the next heartbeat.
                          machine.Carrier().SetHeartbeatPeriod(std::chrono::milliseconds(100));
                          machine.Bus().Publish("system_health", R"({"code":4096})");
                          machine.Line().AwaitFrame("0A 0A 01 00 4A D2 01 E1 F1");
                      }});
    topics.push_back({"req_delayed_device_settings", {}, "{}", [](Machine& machine) { machine.FlushBus(); }});
    return topics;
}

INSTANTIATE_TEST_SUITE_P(On, IllFormedMessagesTest, testing::ValuesIn(Topics()),
                         [](const auto& test) { return std::string(test.param.name); });

// Whatever stands twice in a message, the first one counts; and what is inside a nested object is looked at, too.
class OddMessagesTest : public EndToEndTest {};

TEST_F(OddMessagesTest, DuplicateKeysAndNestedFieldsAreReportedByTheirNames) {
    Machine& machine = BootMachine();
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true,"ethernetIsUp":false})");
    machine.Line().AwaitFrame("0A 1A 00 00 D6 9F");
    machine.Log().Await("[warning] Message on \"system_led_status\": \"ethernetIsUp\" is given twice{}");

    for (const std::string field : {"amps", "volts", "wfs"}) {
        machine.Bus().Publish("weld_trace_data", R"({"sequence":1,"data":{")" + field + R"(":"many"}})");
        machine.Log().Await("[warning] Message on \"weld_trace_data\" dropped: \"data." + field + "\" {}");
    }
    for (const std::string metric : {"ArcDuration", "AverageVoltage", "AverageAmperage", "AverageWFS"}) {
        const std::string dropped = "[warning] Message on \"weld_trigger_end\" dropped: \"metrics." + metric;
        const auto publish = [&](const std::string& value) {
            machine.Bus().Publish("weld_trigger_end", R"({"tag":1,"metrics":{")" + metric + "\":" + value + "}}");
        };
        publish("1");
        machine.Log().Await(dropped + "\" {}");
        publish(R"({"unit":"s","value":true})");
        machine.Log().Await(dropped + ".value\" {}");
        publish(R"({"unit":5,"value":1})");
        machine.Log().Await(dropped + ".unit\" {}");
    }
    machine.FlushBus();
    EXPECT_FALSE(machine.Out().Has("Sample: {}"));
    EXPECT_FALSE(machine.Log().Has("[info] Weld {} ended.{}"));
}

// The one topic whose odd messages are still orders.
struct OddPowerDown {
    const char* name;
    std::string reason;
    std::string logged;
};

void PrintTo(const OddPowerDown& powerDown, std::ostream* out) {
    *out << powerDown.name;
}

class OddPowerDownTest : public EndToEndTest, public testing::WithParamInterface<OddPowerDown> {};

TEST_P(OddPowerDownTest, StopsTheProcessInOrder) {
    Machine& machine = BootMachine();
    machine.Bus().Publish("power_down_status",
                          R"({"nameOfCaller":"me","reasonForPowerdown":")" + GetParam().reason + "\"}");
    EXPECT_EQ(machine.Hal().WaitForExit(), 0);
    EXPECT_TRUE(machine.Log().Has("[info] Powerdown received from me - " + GetParam().logged + "."));
}

INSTANTIATE_TEST_SUITE_P(With, OddPowerDownTest,
                         testing::Values(OddPowerDown{"AMegabyte", std::string(1024 * 1024, 'z'), "zzzz{}zzzz"},
                                         OddPowerDown{"NoUtf8", "a\xFF", "a{}"}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
