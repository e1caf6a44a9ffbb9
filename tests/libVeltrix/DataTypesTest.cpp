// The JSON form of every data type, as literal texts: other processes and the broker's tools read and write them.
#include <Veltrix/DataTypes.h>
#include <Veltrix/DeviceCapabilities.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <limits>
#include <ostream>
#include <string>

namespace {

// Reads a complete text, and writes the same text again.
template <typename T>
T ReadAndRewrite(const std::string& json) {
    T object;
    EXPECT_TRUE(object.FromJson(json)) << json << "\n" << object.ReadJson(json).problem;
    EXPECT_EQ(object.ToJson(), json);
    return object;
}

TEST(DataTypes, HalInfo) {
    const auto info =
        ReadAndRewrite<HALInfo>(R"({"serialNumber":"SN-1","machineType":"Mig 500","revisionNumber":4294967295})");
    EXPECT_EQ(info.get_serialNumber(), "SN-1");
    EXPECT_EQ(info.get_machineType(), "Mig 500");
    EXPECT_EQ(info.get_revisionNumber(), 4294967295U);
    EXPECT_EQ(HALInfo().ToJson(), R"({"serialNumber":"","machineType":"","revisionNumber":0})");
}

TEST(DataTypes, RequestTypeHasNoFields) {
    ReadAndRewrite<RequestType>("{}");
    RequestType request;
    EXPECT_TRUE(request.FromJson(R"({"anything": [1, {"at": "all"}]})"));
    EXPECT_FALSE(request.FromJson("[]"));
}

TEST(DataTypes, HalStatus) {
    EXPECT_TRUE(ReadAndRewrite<HALStatus>(R"({"ready":true})").get_ready());
    EXPECT_EQ(HALStatus().ToJson(), R"({"ready":false})");
}

TEST(DataTypes, ProcessReady) {
    EXPECT_EQ(ReadAndRewrite<ProcessReady>(R"({"index":512})").get_index(), 512U);
}

TEST(DataTypes, SystemHealth) {
    const auto health = ReadAndRewrite<SystemHealth>(R"({"processName":"HAL","code":560})");
    EXPECT_EQ(health.get_processName(), "HAL");
    EXPECT_EQ(health.get_code(), 560U);
}

TEST(DataTypes, PowerDownStatus) {
    const auto status = ReadAndRewrite<PowerDownStatus>(
        R"({"isPoweringDown":true,"nameOfCaller":"HAL","reasonForPowerdown":"Carrier indicated a power fail"})");
    EXPECT_TRUE(status.get_isPoweringDown());
    EXPECT_EQ(status.get_nameOfCaller(), "HAL");
    EXPECT_EQ(status.get_reasonForPowerdown(), "Carrier indicated a power fail");
}

TEST(DataTypes, WeldTriggerStart) {
    const auto start = ReadAndRewrite<WeldTriggerStart>(
        R"({"tag":-7,"timestamp":1741064767,"settings":"a","gas":"b","alloy":"c","wireType":"d"})");
    EXPECT_EQ(start.get_tag(), -7);
    EXPECT_EQ(start.get_timestamp(), 1741064767);
    EXPECT_EQ(start.get_settings(), "a");
    EXPECT_EQ(start.get_gas(), "b");
    EXPECT_EQ(start.get_alloy(), "c");
    EXPECT_EQ(start.get_wireType(), "d");
}

TEST(DataTypes, WeldTriggerStartDescribesItselfAsNotAvailable) {
    const auto start = ReadAndRewrite<WeldTriggerStart>(R"({"tag":1,"timestamp":0})");
    EXPECT_EQ(start.get_settings(), "N/A");
    EXPECT_EQ(start.get_gas(), "N/A");
    EXPECT_EQ(start.get_alloy(), "N/A");
    EXPECT_EQ(start.get_wireType(), "N/A");
    EXPECT_FALSE(start.has_gas());
}

TEST(DataTypes, WeldTraceData) {
    const auto trace =
        ReadAndRewrite<WeldTraceData>(R"({"sequence":12,"data":{"amps":201.5,"volts":-0.25,"wfs":1e+100}})");
    EXPECT_EQ(trace.get_sequence(), 12);
    EXPECT_EQ(trace.get_data().get_amps(), 201.5);
    EXPECT_EQ(trace.get_data().get_volts(), -0.25);
    EXPECT_EQ(trace.get_data().get_wfs(), 1e100);
}

TEST(DataTypes, WeldTriggerEnd) {
    const auto end = ReadAndRewrite<WeldTriggerEnd>(
        R"({"tag":3,"metrics":{"ArcDuration":{"unit":"s","value":2.5},"AverageVoltage":{"unit":"V","value":24},)"
        R"("AverageAmperage":{"unit":"A","value":180.25},"AverageWFS":{"unit":"IPM","value":300}}})");
    EXPECT_EQ(end.get_tag(), 3);
    EXPECT_EQ(end.get_metrics().get_ArcDuration().get_unit(), "s");
    EXPECT_EQ(end.get_metrics().get_ArcDuration().get_value(), 2.5);
    EXPECT_EQ(end.get_metrics().get_AverageVoltage().get_value(), 24.0);
    EXPECT_EQ(end.get_metrics().get_AverageAmperage().get_value(), 180.25);
    EXPECT_EQ(end.get_metrics().get_AverageWFS().get_unit(), "IPM");
}

TEST(DataTypes, WeldTriggerEndWithoutMetricsReadsAsZeros) {
    const auto end = ReadAndRewrite<WeldTriggerEnd>(R"({"tag":3,"metrics":{}})");
    EXPECT_EQ(end.get_metrics().get_ArcDuration().get_value(), 0.0);
    EXPECT_EQ(end.get_metrics().get_AverageWFS().get_unit(), "");
    EXPECT_FALSE(end.get_metrics().has_ArcDuration());
}

TEST(DataTypes, SystemLedStatus) {
    const auto status = ReadAndRewrite<SystemLedStatus>(
        R"({"ethernetIsUp":true,"wifiIsUp":false,"operatorIsUp":true,"internetIsUp":false,"internetQueried":true,)"
        R"("isAccessingUSB":false,"doNotSendToCarrier":true})");
    EXPECT_TRUE(status.get_ethernetIsUp());
    EXPECT_FALSE(status.get_wifiIsUp());
    EXPECT_TRUE(status.get_operatorIsUp());
    EXPECT_FALSE(status.get_internetIsUp());
    EXPECT_TRUE(status.get_internetQueried());
    EXPECT_FALSE(status.get_isAccessingUSB());
    EXPECT_TRUE(status.get_doNotSendToCarrier());
}

TEST(DataTypes, LedSettings) {
    const auto leds = ReadAndRewrite<LedSettings>(
        R"({"cloudGreenLed":1,"cloudYellowLed":2,"wifiGreenLed":3,"wifiYellowLed":4,"ethernetGreenLed":5,)"
        R"("ethernetYellowLed":6,"usbGreenLed":7,"opIDGreenLed":8,"opIDYellowLed":9})");
    EXPECT_EQ(leds.get_cloudGreenLed(), 1);
    EXPECT_EQ(leds.get_cloudYellowLed(), 2);
    EXPECT_EQ(leds.get_wifiGreenLed(), 3);
    EXPECT_EQ(leds.get_wifiYellowLed(), 4);
    EXPECT_EQ(leds.get_ethernetGreenLed(), 5);
    EXPECT_EQ(leds.get_ethernetYellowLed(), 6);
    EXPECT_EQ(leds.get_usbGreenLed(), 7);
    EXPECT_EQ(leds.get_opIDGreenLed(), 8);
    EXPECT_EQ(leds.get_opIDYellowLed(), 9);
}

TEST(DataTypes, TessimorSettings) {
    const auto settings = ReadAndRewrite<TessimorSettings>(
        R"({"is10KHzRawData":true,"currentSensorType":-2147483648,"useWireFeedSensor":true,"useGasSensor":false,)"
        R"("gasType":2147483647,"preWeldDataTenthSeconds":10,"postWeldDataTenthSeconds":20,)"
        R"("weldEndRequirementMSecs":1000,"weldStartCurrentThresholdAmps":253.4})");
    EXPECT_TRUE(settings.get_is10KHzRawData());
    EXPECT_EQ(settings.get_currentSensorType(), std::numeric_limits<std::int32_t>::min());
    EXPECT_TRUE(settings.get_useWireFeedSensor());
    EXPECT_FALSE(settings.get_useGasSensor());
    EXPECT_EQ(settings.get_gasType(), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(settings.get_preWeldDataTenthSeconds(), 10);
    EXPECT_EQ(settings.get_postWeldDataTenthSeconds(), 20);
    EXPECT_EQ(settings.get_weldEndRequirementMSecs(), 1000);
    EXPECT_EQ(settings.get_weldStartCurrentThresholdAmps(), 253.4);
}

TEST(DataTypes, CarrierFileInfo) {
    const auto file =
        ReadAndRewrite<CarrierFileInfo>(R"({"fileSize":70000,"fileName":"app.bin","fileFullPath":"/tmp/app.bin"})");
    EXPECT_EQ(file.get_fileSize(), 70000U);
    EXPECT_EQ(file.get_fileName(), "app.bin");
    EXPECT_EQ(file.get_fileFullPath(), "/tmp/app.bin");
}

TEST(DataTypes, FirmwareUpdateEnd) {
    EXPECT_TRUE(ReadAndRewrite<FirmwareUpdateEnd>(R"({"wasUpdateSuccessful":true})").get_wasUpdateSuccessful());
}

TEST(DataTypes, AdminAccessSettings) {
    const auto access = ReadAndRewrite<AdminAccessSettings>(
        R"({"expiryDate":"2025-03-04T05:06:07.089Z","enableConsole":true,"enableShell":false})");
    EXPECT_EQ(access.get_expiryDate(), "2025-03-04T05:06:07.089Z");
    EXPECT_TRUE(access.get_enableConsole());
    EXPECT_FALSE(access.get_enableShell());
}

TEST(DataTypes, IncomingCommands) {
    const auto commands = ReadAndRewrite<IncomingCommands>(
        R"({"currentSensorTypeReceived":true,"currentSensorType":2,"arcStartThreshold":12.5})");
    EXPECT_TRUE(commands.get_currentSensorTypeReceived());
    EXPECT_EQ(commands.get_currentSensorType(), 2);
    EXPECT_EQ(commands.get_arcStartThreshold(), 12.5);
}

TEST(DataTypes, TimeSyncType) {
    const auto sync =
        ReadAndRewrite<TimeSyncType>(R"({"serverTimestamp":"2025-03-04T05:06:07.089Z","receivedTimeFromCloud":true})");
    EXPECT_EQ(sync.get_serverTimestamp(), DateTime(1741064767, 89));
    EXPECT_TRUE(sync.get_receivedTimeFromCloud());
}

TEST(DataTypes, DeviceSettings) {
    const auto settings =
        ReadAndRewrite<DeviceSettings>(R"({"batteryVoltage":3.25,"currentSensorConfig":1,"arcStartThreshold":10,)"
                                       R"("timestamp":"1970-01-01T00:00:01.000Z"})");
    EXPECT_EQ(settings.get_batteryVoltage(), 3.25);
    EXPECT_EQ(settings.get_currentSensorConfig(), 1);
    EXPECT_EQ(settings.get_arcStartThreshold(), 10);
    EXPECT_EQ(settings.get_timestamp(), DateTime(1));
}

TEST(DataTypes, DeviceSettingsWritesWhatWasSetOnly) {
    DeviceSettings settings;
    EXPECT_EQ(settings.ToJson(), "{}");
    settings.set_arcStartThreshold(0);
    EXPECT_EQ(settings.ToJson(), R"({"arcStartThreshold":0})");
    EXPECT_TRUE(settings.has_arcStartThreshold());
    EXPECT_FALSE(settings.has_batteryVoltage());
    EXPECT_EQ(settings.get_batteryVoltage(), 0.0);
    EXPECT_EQ(settings.get_timestamp(), DateTime());
}

TEST(DataTypes, CarrierInfo) {
    const auto info = ReadAndRewrite<CarrierInfo>(R"({"appVersion":"531726R","bootloaderVersion":"1","HALVersion":8})");
    EXPECT_EQ(info.get_appVersion(), "531726R");
    EXPECT_EQ(info.get_bootloaderVersion(), "1");
    EXPECT_EQ(info.get_HALVersion(), 8U);
    EXPECT_EQ(CarrierInfo().ToJson(), R"({"HALVersion":0})");
}

TEST(DataTypes, ErrorLogType) {
    const auto error = ReadAndRewrite<ErrorLogType>(
        R"({"code":"SWMismatch_System","message":"x","timestamp":"2025-03-04T05:06:07.089Z"})");
    EXPECT_EQ(error.get_code(), "SWMismatch_System");
    EXPECT_EQ(error.get_message(), "x");
    EXPECT_EQ(error.get_timestamp(), DateTime(1741064767, 89));
}

TEST(DataTypes, SettersAndGettersAgree) {
    UnitValueDoublePair duration;
    duration.set_unit("s");
    duration.set_value(1.5);
    WeldMetrics metrics;
    metrics.set_ArcDuration(duration);
    WeldTriggerEnd end;
    end.set_tag(9);
    end.set_metrics(metrics);
    EXPECT_EQ(end.ToJson(), R"({"tag":9,"metrics":{"ArcDuration":{"unit":"s","value":1.5}}})");
}

TEST(DataTypes, CloneIsAnIndependentObjectOfTheSameClass) {
    HALStatus status;
    status.set_ready(true);
    const auto copy = status.Clone();
    status.set_ready(false);
    ASSERT_NE(dynamic_cast<HALStatus*>(copy.get()), nullptr);
    EXPECT_TRUE(dynamic_cast<HALStatus&>(*copy).get_ready());
}

TEST(DataTypes, NumbersThatAreNotFiniteAreLeftOut) {
    WeldTraceDataPoint point;
    point.set_amps(std::nan(""));
    point.set_volts(std::numeric_limits<double>::infinity());
    point.set_wfs(1.0);
    EXPECT_EQ(point.ToJson(), R"({"wfs":1})");
    DeviceSettings settings;
    settings.set_batteryVoltage(-std::numeric_limits<double>::infinity());
    EXPECT_EQ(settings.ToJson(), "{}");
}

struct TextCase {
    const char* legend;
    std::string text;
    std::string json;
};

void PrintTo(const TextCase& text, std::ostream* out) {
    *out << text.legend;
}

class TextWriting : public testing::TestWithParam<TextCase> {};

TEST_P(TextWriting, EscapesAndReplaces) {
    ErrorLogType error;
    error.set_code(GetParam().text);
    EXPECT_EQ(error.ToJson(),
              R"({"code":")" + GetParam().json + R"(","message":"","timestamp":"1970-01-01T00:00:00.000Z"})");
}

INSTANTIATE_TEST_SUITE_P(
    DataTypes, TextWriting,
    testing::Values(TextCase{"quote and backslash", "a\"b\\c/", R"(a\"b\\c/)"},
                    TextCase{"short escapes", "\b\f\n\r\t", R"(\b\f\n\r\t)"},
                    TextCase{"other control characters", "\x01\x1f\x7f", "\\u0001\\u001f\x7f"},
                    TextCase{"what follows a NUL is lost", std::string("a\0b", 3), "a"},
                    TextCase{"two, three and four bytes", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\xA5",
                             "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\xA5"},
                    TextCase{"a lone continuation", "a\x80z", "a\xEF\xBF\xBDz"},
                    TextCase{"cut short: one mark for each byte", "\xE2\x82", "\xEF\xBF\xBD\xEF\xBF\xBD"},
                    TextCase{"cut short before a good one", "\xE2\x82\xC3\xA9", "\xEF\xBF\xBD\xEF\xBF\xBD\xC3\xA9"},
                    TextCase{"overlong slash", "\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
                    TextCase{"overlong in three", "\xE0\x9F\xBF", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                    TextCase{"surrogate", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                    TextCase{"above U+10FFFF", "\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                    TextCase{"the last code point", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
                    TextCase{"no UTF-8 byte", "\xFF", "\xEF\xBF\xBD"}),
    [](const auto& test) {
        std::string name = test.param.legend;
        for (char& character : name) {
            character = std::isalnum(static_cast<unsigned char>(character)) != 0 ? character : '_';
        }
        return name;
    });

TEST(DataTypes, DoublesComeBackBitForBit) {
    for (const double value : {0.1, 1.0 / 3.0, 5e-324, 1.7976931348623157e308, -0.0, 123456789012345680.0,
                               9007199254740991.0, 1.0000000000000002, 253.40000000000001}) {
        WeldTraceDataPoint written;
        written.set_amps(value);
        WeldTraceDataPoint read;
        ASSERT_TRUE(read.FromJson(written.ToJson())) << written.ToJson();
        EXPECT_EQ(read.get_amps(), value);
        EXPECT_EQ(std::signbit(read.get_amps()), std::signbit(value));
    }
}

TEST(DataTypes, CapabilitiesAreOffByDefault) {
    const DeviceCapabilities none;
    EXPECT_FALSE(none.allowsFeederAttachment || none.realTimeStatusDrivenByEvents || none.reportsBatteryVoltage ||
                 none.reportsVolts || none.reportsAmps || none.reportsWireFeedSpeed || none.reportsProgramNumber ||
                 none.reportsProcess || none.reportsPowerSupplySerialNumber || none.reportsGasType ||
                 none.reportsWireAlloy || none.reportsWireDiameter || none.reportsLifetimeArcHours ||
                 none.reportsWeldEvents || none.reportsPower || none.reportsGasFlowRate);
}

}  // namespace
