// Settings and commands that other processes publish for the carrier.
#include <filesystem>

#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SettingsTopicsTest : public EndToEndTest {
protected:
    static std::vector<std::string> FramesAfter(Machine& machine, const std::string& topic,
                                                const std::string& payload) {
        const std::size_t line = machine.Line().Position();
        machine.Bus().Publish(topic, payload);
        machine.FlushBus();
        return machine.Line().Frames(line);
    }

    static void Refuse(Machine& machine, std::uint8_t command) {
        simulator::ScriptedFault fault;
        fault.what = simulator::ScriptedFault::What::Nack;
        fault.code = simulator::nack::kCommandFailed;
        fault.command = command;
        fault.count = 3;
        machine.Carrier().Faults().Script(fault);
    }
};

TEST_F(SettingsTopicsTest, TessimorSettingsReachTheCarrierAsNineBytes) {
    Machine& machine = BootMachine();
    EXPECT_THAT(FramesAfter(machine, "tessimor_settings",
                            R"({"is10KHzRawData":true,"currentSensorType":2,"useWireFeedSensor":true,)"
                            R"("useGasSensor":false,"gasType":3,"preWeldDataTenthSeconds":5,)"
                            R"("postWeldDataTenthSeconds":6,"weldEndRequirementMSecs":100,)"
                            R"("weldStartCurrentThresholdAmps":20.4})"),
                ElementsAre("0A 31 09 00 2B 1A 01 02 01 00 03 05 06 64 14 99 72"));
    machine.Out().Await("<<<<<< received Tessimor Settings message from VeltrixTessimor >>>>>>>>");
    EXPECT_EQ(machine.Log().Lines().back(), "[info] Tessimor Settings sent to Carrier.");

    Refuse(machine, simulator::command::kSetTessimorSettings);
    const char* const zeros = "0A 31 09 00 2B 1A 00 00 00 00 00 00 00 00 00 B1 E7";
    EXPECT_THAT(FramesAfter(machine, "tessimor_settings", "{}"), ElementsAre(zeros, zeros, zeros));
    EXPECT_EQ(machine.Log().Lines().back(), "[warning] Failed to send Tessimor Settings to Carrier");
}

TEST_F(SettingsTopicsTest, TessimorSettingsAreFittedIntoTheirBytes) {
    struct Row {
        const char* field;
        const char* value;
        const char* lastBytes;  // requirement, threshold, CRC of the payload
    };
    const std::vector<Row> rows = {{"weldStartCurrentThresholdAmps", "253.4", "00 FD 9D 8D"},
                                   {"weldStartCurrentThresholdAmps", "253.5", "00 FE AF 16"},
                                   {"weldStartCurrentThresholdAmps", "254.0", "00 FE AF 16"},
                                   {"weldStartCurrentThresholdAmps", "254.1", "00 FF BE 9F"},
                                   {"weldStartCurrentThresholdAmps", "300", "00 FF BE 9F"},
                                   {"weldStartCurrentThresholdAmps", "1e308", "00 FF BE 9F"},
                                   {"weldStartCurrentThresholdAmps", "0.4", "00 00 B1 E7"},
                                   {"weldStartCurrentThresholdAmps", "0.5", "00 01 A0 6E"},
                                   {"weldStartCurrentThresholdAmps", "-7", "00 00 B1 E7"},
                                   {"weldStartCurrentThresholdAmps", "20.5", "00 15 F6 CB"},
                                   {"weldEndRequirementMSecs", "100", "64 00 B3 D2"},
                                   {"weldEndRequirementMSecs", "255", "FF 00 4E 27"},
                                   {"weldEndRequirementMSecs", "256", "FF 00 4E 27"},
                                   {"weldEndRequirementMSecs", "1000", "FF 00 4E 27"},
                                   {"weldEndRequirementMSecs", "2147483647", "FF 00 4E 27"},
                                   {"weldEndRequirementMSecs", "-1", "FF 00 4E 27"},
                                   {"weldEndRequirementMSecs", "-256", "00 00 B1 E7"}};
    Machine& machine = BootMachine();
    for (const Row& row : rows) {
        EXPECT_THAT(FramesAfter(machine, "tessimor_settings", std::string("{\"") + row.field + "\":" + row.value + "}"),
                    ElementsAre(std::string("0A 31 09 00 2B 1A 00 00 00 00 00 00 00 ") + row.lastBytes))
            << row.field << " " << row.value;
    }
    EXPECT_THAT(FramesAfter(machine, "tessimor_settings",
                            R"({"currentSensorType":257,"gasType":-1,"preWeldDataTenthSeconds":256,)"
                            R"("postWeldDataTenthSeconds":510})"),
                ElementsAre("0A 31 09 00 2B 1A 00 01 00 00 FF 00 FE 00 00 59 2D"));
}

TEST_F(SettingsTopicsTest, TheEndOfAnUpdateIsPassedOn) {
    Machine& machine = BootMachine();
    EXPECT_THAT(FramesAfter(machine, "firmware_update_end", R"({"wasUpdateSuccessful":true})"),
                ElementsAre("0A 2A 02 00 63 81 05 00 71 FF"));
    EXPECT_THAT(FramesAfter(machine, "firmware_update_end", R"({"wasUpdateSuccessful":false})"),
                ElementsAre("0A 2A 02 00 63 81 07 00 42 4F"));
    EXPECT_EQ(machine.Out().Count("<<<<<< Update Complete received by HAL >>>>>>>>"), 2U);
    EXPECT_THAT(machine.Carrier().State().updatePhases, ElementsAre(5, 7));
}

TEST_F(SettingsTopicsTest, ASensorSelectionIsSentAndAnnounced) {
    Machine& machine = BootMachine();
    std::size_t from = machine.Bus().Position();
    EXPECT_THAT(FramesAfter(machine, "incoming_commands",
                            R"({"currentSensorTypeReceived":true,"currentSensorType":2,"arcStartThreshold":0})"),
                ElementsAre("0A 27 01 00 B6 96 02 D3 6A"));
    EXPECT_TRUE(machine.Log().Has("[info] Sensor config 2 sent"));
    machine.Bus().AwaitPayload("device_settings", R"({"currentSensorConfig":3,"timestamp":"{}Z"})", from);
    EXPECT_FALSE(machine.Files().Exists("/Veltrix/system.config"));

    // Cut to a byte first, then one more for the bus.
    from = machine.Bus().Position();
    EXPECT_THAT(
        FramesAfter(machine, "incoming_commands", R"({"currentSensorTypeReceived":true,"currentSensorType":511})"),
        ElementsAre("0A 27 01 00 B6 96 FF FF 00"));
    machine.Bus().AwaitPayload("device_settings", R"({"currentSensorConfig":256,"timestamp":"{}Z"})", from);

    from = machine.Bus().Position();
    Refuse(machine, simulator::command::kCurrentSensorSelection);
    const char* const two = "0A 27 01 00 B6 96 02 D3 6A";
    EXPECT_THAT(
        FramesAfter(machine, "incoming_commands", R"({"currentSensorTypeReceived":true,"currentSensorType":2})"),
        ElementsAre(two, two, two));
    EXPECT_TRUE(machine.Log().Has("[info] Sensor config 2 send failed"));
    EXPECT_EQ(machine.Bus().Count("device_settings", from), 0U);

    EXPECT_THAT(FramesAfter(machine, "incoming_commands", R"({"currentSensorType":2})"), IsEmpty());
}

TEST_F(SettingsTopicsTest, AnArcStartThresholdIsStoredAndAnnounced) {
    struct Row {
        const char* value;
        const char* stored;  // null for no change
    };
    const std::vector<Row> rows = {{"12.9", "12"},       {"0", nullptr},   {"0.9", nullptr}, {"-5", nullptr},
                                   {"5", "8"},           {"2000", "2000"}, {"3000", "3000"}, {"65535.9", "65535"},
                                   {"65536.0", nullptr}, {"65546", "10"},  {"1e30", "65535"}};
    Machine& machine = BootMachine();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        const std::string before = machine.Files().Read("/Veltrix/system.config");
        const std::size_t from = machine.Bus().Position();
        EXPECT_THAT(FramesAfter(machine, "incoming_commands", std::string("{\"arcStartThreshold\":") + row.value + "}"),
                    IsEmpty());
        if (row.stored == nullptr) {
            EXPECT_EQ(machine.Files().Read("/Veltrix/system.config"), before);
            EXPECT_EQ(machine.Bus().Count("device_settings", from), 0U);
            continue;
        }
        EXPECT_EQ(machine.Files().Read("/Veltrix/system.config"),
                  std::string("{\n\t\"ArcStartAmps\":\t") + row.stored + "\n}");
        EXPECT_EQ(machine.Log().Lines().back(), std::string("[info] ArcThreshold set to ") + row.stored);
        machine.Bus().AwaitPayload(
            "device_settings", std::string("{\"arcStartThreshold\":") + row.stored + R"(,"timestamp":"{}Z"})", from);
    }
}

TEST_F(SettingsTopicsTest, AThresholdThatCannotBeStoredIsInForceAllTheSame) {
    Machine& machine = NewMachine();
    machine.Files().Write("/Veltrix/system.config/in/the/way", "");
    machine.Boot();
    machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":42})");
    machine.Bus().AwaitPayload("device_settings", R"({"arcStartThreshold":42,"timestamp":"{}Z"})");
    machine.Log().Await("[warning] Unable to write /Veltrix/system.config. {}");
    std::filesystem::remove_all(machine.Files().Path("/Veltrix/system.config"));
    machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":43})");
    machine.FlushBus();
    EXPECT_EQ(machine.Files().Read("/Veltrix/system.config"), "{\n\t\"ArcStartAmps\":\t43\n}");
}

TEST_F(SettingsTopicsTest, ABrokenSystemConfigurationIsReplacedByTheNextThreshold) {
    Machine& machine = NewMachine();
    machine.Files().Write("/Veltrix/system.config", "{\"ArcStartAmps\":");
    machine.Boot();
    machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":9})");
    machine.FlushBus();
    EXPECT_EQ(machine.Files().Read("/Veltrix/system.config"), "{\n\t\"ArcStartAmps\":\t9\n}");
}

TEST_F(SettingsTopicsTest, TimeFromTheCloudSetsTheCarriersClock) {
    Machine& machine = BootMachine();
    EXPECT_THAT(FramesAfter(machine, "time_sync",
                            R"({"serverTimestamp":"2025-03-04T05:06:07.890Z","receivedTimeFromCloud":true})"),
                ElementsAre("0A 0E 08 00 FE AB 19 03 04 05 06 07 00 00 2D 01"));
    machine.Log().AwaitInOrder({"[info] Received 2025-03-04T05:06:07.890Z from Core",
                                "[info] Syncing Carrier to year 25, month 3, day 4. Hour 5, min 6, sec 7"});
    machine.Out().AwaitInOrder(
        {"Received time from Core - 2025-03-04T05:06:07.890Z", "Setting STM to time received from CORE"});
    EXPECT_TRUE(machine.Files().ClockSettings().empty()) << "the module's own clock is not touched";

    EXPECT_THAT(FramesAfter(machine, "time_sync",
                            R"({"serverTimestamp":"2025-03-04T05:06:07Z","receivedTimeFromCloud":false})"),
                IsEmpty());
    EXPECT_EQ(machine.Log().Count("[info] Received {} from Core"), 1U);
}

TEST_F(SettingsTopicsTest, OnlyYearsThatTheCarrierCanHoldArePassedOn) {
    const auto message = [](const std::string& time) {
        return R"({"receivedTimeFromCloud":true,"serverTimestamp":")" + time + "\"}";
    };
    Machine& machine = BootMachine();
    EXPECT_THAT(FramesAfter(machine, "time_sync", message("2000-01-01T00:00:00Z")),
                ElementsAre("0A 0E 08 00 FE AB 00 01 01 00 00 00 00 00 18 8D"));
    EXPECT_THAT(FramesAfter(machine, "time_sync", message("2255-12-31T23:59:59Z")),
                ElementsAre("0A 0E 08 00 FE AB FF 0C 1F 17 3B 3B 00 00 18 8A"));
    for (const char* const time : {"1999-12-31T23:59:59.999Z", "2256-01-01T00:00:00Z", "1970-01-01T00:00:00Z"}) {
        const std::size_t from = machine.Log().Position();
        EXPECT_THAT(FramesAfter(machine, "time_sync", message(time)), IsEmpty()) << time;
        EXPECT_EQ(machine.Log().Count("[warning] {}", from), 1U) << time;
    }
    const std::size_t from = machine.Log().Position();
    EXPECT_THAT(FramesAfter(machine, "time_sync", R"({"receivedTimeFromCloud":true})"), IsEmpty());
    EXPECT_EQ(machine.Log().Count("[warning] {}", from), 1U) << "no timestamp";
}

}  // namespace
