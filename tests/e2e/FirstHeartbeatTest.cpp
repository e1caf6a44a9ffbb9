// From the carrier's first heartbeat to "carrier_info", and what later heartbeats lead to.
#include <regex>

#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/WaitUntil.h"

namespace {

using testing::ElementsAre;

constexpr const char* kAck = "0A 01 00 00 7A AC";
constexpr const char* kGetBootloaderVersion = "0A 07 00 00 AC 75";
constexpr const char* kGetCarrierVersion = "0A 08 00 00 E6 B2";
constexpr const char* kBoardRevision = "0A 32 00 00 13 66";
constexpr const char* kAdminAccess = "0A 25 00 00 1A F6";
constexpr const char* kGetVBat = "0A 0D 00 00 DF 0F";
constexpr const char* kGetRtc = "0A 0F 00 00 6A B7";

class FirstHeartbeatTest : public EndToEndTest {};

MachineOptions KnownCarrier() {
    MachineOptions options;
    options.carrier.identity.appVersion = "531726R";
    options.carrier.identity.bootVersion = "531725C";
    options.carrier.identity.boardRevision = 0x1B;
    options.carrier.identity.halVersion = 8;
    options.carrier.identity.commType = 0;
    options.carrier.identity.battery = 3.25F;
    return options;
}

TEST_F(FirstHeartbeatTest, RunsTheStartSequenceFrameByFrame) {
    Machine& machine = BootMachine(KnownCarrier());
    machine.Carrier().SendHeartbeat();
    EXPECT_EQ(machine.Bus().Await("carrier_info"),
              R"({"appVersion":"531726R","bootloaderVersion":"531725C","HALVersion":8})");
    EXPECT_THAT(machine.Line().Frames(), ElementsAre(kAck, kGetBootloaderVersion, kGetCarrierVersion, kBoardRevision,
                                                     kAdminAccess, kGetVBat, kGetRtc));
    machine.Bus().AwaitPayload("device_settings", R"({"batteryVoltage":3.25,"timestamp":"{}Z"})");
    machine.Out().AwaitInOrder({"Veltrix bootloader version: 531725C", "Veltrix carrier version: 531726R",
                                "Veltrix Board Revision: 0x1b", "Sending command: 0x25", "Sending command: 0xd",
                                "Battery voltage = 3.25", "Sending command: 0xf", "published info"});
    machine.Log().Await("[error] Deprecated AdminAccess command sent by carrier 0d1");
    EXPECT_TRUE(WaitUntil([&] {
        return std::regex_search(machine.BusBroker().Log(), std::regex("Client client-[^ ]* disconnected\\."));
    })) << "the versions go out on a connection of their own";

    // Later ones are acknowledged, once each, and that is all.
    machine.FlushLine();
    const std::size_t line = machine.Line().Position();
    for (int i = 0; i < 5; ++i) {
        machine.Carrier().SendHeartbeat();
    }
    EXPECT_THAT(machine.Line().AwaitFrames(5, line), ElementsAre(kAck, kAck, kAck, kAck, kAck));
    machine.FlushLine();
    EXPECT_EQ(machine.Line().Frames(line).size(), 6U) << "five and the echo";
    EXPECT_EQ(machine.Bus().Count("carrier_info"), 1U);
    EXPECT_EQ(machine.Bus().Count("error_log"), 0U);
    EXPECT_FALSE(machine.Log().Has("[warning] Carrier comm settings do not match those of SBC"));
}

TEST_F(FirstHeartbeatTest, AtThePaceOfARealWireNothingIsSentTwice) {
    MachineOptions options = KnownCarrier();
    options.carrier.baud = 115200;
    options.carrier.answerDelay = simulator::Milliseconds(20);
    Machine& machine = BootMachine(options);
    machine.Carrier().SendHeartbeat();
    EXPECT_EQ(machine.Bus().Await("carrier_info"),
              R"({"appVersion":"531726R","bootloaderVersion":"531725C","HALVersion":8})");
    EXPECT_THAT(machine.Line().Frames(), ElementsAre(kAck, kGetBootloaderVersion, kGetCarrierVersion, kBoardRevision,
                                                     kAdminAccess, kGetVBat, kGetRtc));
}

TEST_F(FirstHeartbeatTest, ACarrierThatRestartsIsNotAskedAgain) {
    Machine& machine = GreetedMachine();
    const std::size_t line = machine.Line().Position();
    machine.Carrier().Restart();
    EXPECT_THAT(machine.Line().AwaitFrames(1, line), ElementsAre(kAck));
    machine.FlushLine();
    EXPECT_EQ(machine.Line().Frames(line).size(), 2U);
    EXPECT_EQ(machine.Bus().Count("carrier_info"), 1U);
}

TEST_F(FirstHeartbeatTest, AnotherApplicationVersionIsReported) {
    MachineOptions options = KnownCarrier();
    options.carrier.identity.appVersion = "531726Q";
    Machine& machine = BootMachine(options);
    machine.Carrier().SendHeartbeat();
    machine.Bus().AwaitPayload("carrier_info",
                               R"({"appVersion":"531726Q","bootloaderVersion":"531725C","HALVersion":8})");
    machine.Bus().AwaitPayload(
        "error_log",
        R"({"code":"SWMismatch_System","message":"531726Q received, but expecting 531726R","timestamp":"{}Z"})");
    EXPECT_THAT(machine.Line().Frames(), ElementsAre(kAck, kGetBootloaderVersion, kGetCarrierVersion, kBoardRevision,
                                                     kAdminAccess, kGetVBat, kGetRtc));
}

TEST_F(FirstHeartbeatTest, OtherCommSettingsAreReportedOnEveryHeartbeatOfSixBytes) {
    Machine& machine = BootMachine(KnownCarrier());
    machine.Carrier().SendHeartbeat(8, 1);
    machine.Bus().AwaitPayload("carrier_info", R"({{}"HALVersion":8})");
    machine.Log().AwaitInOrder({"[warning] Carrier comm settings do not match those of SBC",
                                "[warning] Carrier: HAL 8, Comm 1; SBC: HAL 8, Comm 0"});

    machine.Carrier().SendHeartbeat(0x1234, 0, 0xFFFF);
    machine.FlushLine();
    EXPECT_EQ(machine.Log().Count("[warning] Carrier comm settings do not match those of SBC"), 2U);
    EXPECT_TRUE(machine.Log().Has("[warning] Carrier: HAL 4660, Comm 0; SBC: HAL 8, Comm 0"));

    const std::size_t line = machine.Line().Position();
    machine.Carrier().Send(simulator::command::kCarrierAlive, {9, 0, 9, 0});
    machine.Carrier().Send(simulator::command::kCarrierAlive);
    machine.Carrier().Send(simulator::command::kCarrierAlive, {9, 0, 9, 0, 0, 0, 0});
    EXPECT_THAT(machine.Line().AwaitFrames(3, line), ElementsAre(kAck, kAck, kAck));
    machine.FlushLine();
    EXPECT_EQ(machine.Log().Count("[warning] Carrier comm settings do not match those of SBC"), 2U)
        << "another length says nothing about versions";
}

TEST_F(FirstHeartbeatTest, AHeartbeatWithoutVersionsStartsTheSequenceAllTheSame) {
    Machine& machine = BootMachine(KnownCarrier());
    machine.Carrier().Send(simulator::command::kCarrierAlive);
    EXPECT_EQ(machine.Bus().Await("carrier_info"),
              R"({"appVersion":"531726R","bootloaderVersion":"531725C","HALVersion":0})");
}

TEST_F(FirstHeartbeatTest, WhatTheCarrierDoesNotTellIsLeftOut) {
    Machine& machine = BootMachine(KnownCarrier());
    simulator::ScriptedFault refuse;
    refuse.what = simulator::ScriptedFault::What::Nack;
    refuse.code = simulator::nack::kCommandFailed;
    refuse.count = 0;
    for (const int command : {7, 8, 50, 37, 13, 15}) {
        refuse.command = static_cast<std::uint8_t>(command);
        machine.Carrier().Faults().Script(refuse);
    }
    machine.Carrier().SendHeartbeat();
    EXPECT_EQ(machine.Bus().Await("carrier_info"), R"({"HALVersion":8})");
    machine.Bus().AwaitPayload(
        "error_log", R"({"code":"SWMismatch_System","message":" received, but expecting 531726R","timestamp":"{}Z"})");
    machine.Log().AwaitInOrder({"[warning] Failed to get carrier bootloader version",
                                "[warning] Failed to get carrier app version",
                                "[warning] Failed to get board revision"});
    machine.Out().AwaitInOrder({"Failed to get carrier bootloader version", "Failed to get carrier app version",
                                "Failed to get board revision", "Nack received - 0xd", "2 retry attempts remaining",
                                "1 retry attempts remaining"});
    EXPECT_EQ(machine.Bus().Count("device_settings"), 0U);
    std::vector<std::string> expected = {kAck};
    for (const char* const frame :
         {kGetBootloaderVersion, kGetCarrierVersion, kBoardRevision, kAdminAccess, kGetVBat, kGetRtc}) {
        expected.insert(expected.end(), 3, frame);
    }
    EXPECT_EQ(machine.Line().Frames(), expected) << "three attempts each";
}

}  // namespace
