#include "CarrierSimulator/PayloadText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CarrierSimulator/CarrierState.h"

namespace simulator {
namespace {

struct LineCase {
    const char* hex;
    const char* line;
};

TEST(FrameText, SaysWhatAFrameMeans) {
    const std::vector<LineCase> cases = {
        {"0A 01 00 00 7A AC", "-> Ack"},
        {"0A 00 01 00 39 A8 10 E0 F9", "-> Nack [1] 10 = Busy"},
        {"0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7", "-> CarrierAlive [6] 08 00 00 00 00 00 = HAL 8, comm 0"},
        {"0A 23 03 00 E6 47 45 34 32 3A 54", "-> CarrierErrorMessage [3] 45 34 32 = \"E42\""},
        {"0A 2A 02 00 63 81 02 00 3C F7", "-> UpdatePhase [2] 02 00 = phase 2 (application is being sent)"},
        {"0A 02 05 00 EB 70 02 0A 00 00 00 05 51",
         "-> FileTransferStart [5] 02 0A 00 00 00 = application bin, 10 bytes"},
        {"0A 01 07 00 37 A4 35 33 31 37 32 36 52 05 81", "-> Ack [7] 35 33 31 37 32 36 52 = \"531726R\""},
        {"0A 0E 08 00 FE AB 19 03 07 08 05 09 FA 00 E9 A6",
         "-> SetRTC [8] 19 03 07 08 05 09 FA 00 = 2025-03-07T08:05:09.250Z"},
        {"0A 24 01 00 59 F2 01 E1 F1", "-> USBActivity [1] 01 = on"},
        {"0A 2D 00 00 DC 34", "-> Command 45"},
        {"0A 01 00 00 7A AD", "-> (bad header) [6] 0A 01 00 00 7A AD"},
        {"33 44", "-> (noise) [2] 33 44"},
    };
    for (const LineCase& each : cases) {
        Bytes bytes;
        ASSERT_TRUE(BytesFromHex(each.hex, bytes));
        EXPECT_EQ(FrameText(RecordOfSent(bytes, TimePoint{})), each.line);
    }
}

struct MeaningCase {
    uint8_t command;
    Bytes payload;
    const char* meaning;
};

TEST(PayloadMeaning, IsKnownForWhatIsSet) {
    const std::vector<MeaningCase> cases = {
        {37, {25, 3, 7, 8, 5, 9, 0, 0, 1, 0}, "until 2025-03-07T08:05:09.000Z, console on, shell off"},
        {37, {}, ""},
        {48,
         {1, 2, 3, 4, 5, 6, 7},
         "cloud green 1, cloud yellow 2, WiFi green 3, WiFi yellow 4, Ethernet green 5, Ethernet yellow 6, USB green "
         "7"},
        {49,
         {1, 2, 3, 4, 5, 6, 7, 8, 9},
         "10 kHz 1, current sensor 2, wire feed 3, gas 4, gas type 5, before weld (0.1 s) 6, after weld (0.1 s) 7, "
         "weld "
         "end (ms) 8, weld start (A) 9"},
        {39, {2}, "2"},
        {43, {0}, "not mounted"},
        {10, {0}, "off"},
        {6, {3}, "boot loader bin"},
        {6, {9}, "unknown destination"},
        {42, {9, 0}, "phase 9 (unknown)"},
        {42, {7, 0}, "phase 7 (failed)"},
        {0, {99}, "reason 99"},
        {35, {'a', 0, 7, 'b'}, "\"a.b\""},
    };
    for (const MeaningCase& each : cases) {
        FrameRecord record;
        record.command = each.command;
        record.payload = each.payload;
        EXPECT_EQ(PayloadMeaning(record), each.meaning) << int{each.command};
    }
}

TEST(FrameText, ReadsAnAnswerByWhatItAnswers) {
    Bytes bytes;
    ASSERT_TRUE(BytesFromHex("0A 01 04 00 1D CC E1 7A 44 40 C4 4F", bytes));
    FrameRecord record = RecordOfSent(bytes, TimePoint{});
    EXPECT_EQ(FrameText(record), "-> Ack [4] E1 7A 44 40");
    record.answerTo = 13;
    EXPECT_EQ(FrameText(record), "-> Ack [4] E1 7A 44 40 = 3.07 V");
}

TEST(FrameText, MarksWhatWasLost) {
    FrameRecord record = RecordOfSent(Bytes{0x0A, 1, 0, 0, 0x7A, 0xAC}, TimePoint{});
    record.isLost = true;
    EXPECT_EQ(FrameText(record), "-> Ack (nobody there)");
    record.direction = Direction::Received;
    EXPECT_EQ(FrameText(record), "<- Ack (not heard)");
}

TEST(StateText, HoldsOneKeyPerLine) {
    CarrierState state;
    state.leds.isWifiOn = true;
    state.updatePhases = {2, 3};
    state.tessimorSettings = {1, 2};
    state.adminAccess = AdminAccess{{25, 3, 7, 8, 5, 9, 0, 0}, true, false};
    const std::string text = StateText(state);
    for (const char* line : {"app_version: 531726R\n", "wifi_led: on\n", "ethernet_led: off\n", "update_phases: 2 3\n",
                             "tessimor_settings: 01 02\n", "led_settings: none\n", "firmware_received: 0/0\n",
                             "admin_access: until 2025-03-07T08:05:09.000Z, console on, shell off\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << "in\n" << text;
    }
}

}  // namespace
}  // namespace simulator
