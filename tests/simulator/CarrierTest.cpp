#include "CarrierSimulator/Carrier.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/simulator/CarrierFixture.h"

namespace simulator {
namespace {

class CarrierTest : public CarrierFixture {};

TEST_F(CarrierTest, AnswersRequestsWithWhatItIs) {
    CarrierOptions options;
    options.clock = TimeRecord{25, 3, 7, 8, 5, 9, 250, 0};
    Begin(options);
    Exchange("0A 07 00 00 AC 75", "0A 01 07 00 37 A4 35 33 31 37 32 35 43 2E E1");
    Exchange("0A 08 00 00 E6 B2", "0A 01 07 00 37 A4 35 33 31 37 32 36 52 05 81");
    Exchange("0A 32 00 00 13 66", "0A 01 01 00 63 74 03 C2 E3");
    Exchange("0A 0D 00 00 DF 0F", "0A 01 04 00 1D CC E1 7A 44 40 C4 4F");
    Exchange("0A 0F 00 00 6A B7", "0A 01 08 00 B4 6C 19 03 07 08 05 09 FA 00 E9 A6");
}

TEST_F(CarrierTest, RemembersWhatItIsTold) {
    CarrierOptions options;
    options.clock = TimeRecord{20, 1, 1, 0, 0, 0, 0, 0};
    Begin(options);
    Exchange("0A 1D 00 00 5A 9A", kAckBytes);                                // WiFi LED on
    Exchange("0A 24 01 00 59 F2 01 E1 F1", kAckBytes);                       // USB activity
    Exchange("0A 0A 01 00 4A D2 01 E1 F1", kAckBytes);                       // data reporting on
    Exchange("0A 27 01 00 B6 96 02 D3 6A", kAckBytes);                       // current sensor 2
    Exchange("0A 2B 01 00 13 35 01 E1 F1", kAckBytes);                       // SD card
    Exchange("0A 2A 02 00 63 81 02 00 3C F7", kAckBytes);                    // update phase 2
    Exchange("0A 0E 08 00 FE AB 19 03 07 08 05 09 FA 00 E9 A6", kAckBytes);  // clock
    CarrierState state = mCarrier->State();
    EXPECT_EQ(state.leds, (LedStates{.isWifiOn = true, .isUsbActive = true}));
    EXPECT_TRUE(state.isDataReporting);
    EXPECT_EQ(state.currentSensor, 2);
    EXPECT_EQ(state.isSdCardMounted, true);
    EXPECT_EQ(state.updatePhases, std::vector<uint16_t>{2});
    EXPECT_EQ(TextOf(state.clockSet.value()), "2025-03-07T08:05:09.250Z");
    EXPECT_EQ(TextOf(state.clock), "2025-03-07T08:05:09.250Z");
    Exchange("0A 1E 00 00 B5 FE", kAckBytes);  // WiFi LED off
    EXPECT_FALSE(mCarrier->State().leds.isWifiOn);
}

// The longer payloads, whose frames are not written out by hand.
TEST_F(CarrierTest, RemembersSettings) {
    Begin();
    const Bytes admin = {25, 3, 7, 8, 5, 9, 0, 0, 1, 0};
    const Bytes nine = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const Bytes seven = {1, 2, 3, 4, 5, 6, 7};
    for (const auto& [command, payload] :
         std::vector<std::pair<uint8_t, Bytes>>{{command::kAdminAccess, {}},
                                                {command::kAdminAccess, admin},
                                                {command::kSetTessimorSettings, nine},
                                                {command::kSetStrovanelLedSettings, nine},
                                                {command::kSetStrovanelLedSettings, seven}}) {
        ASSERT_TRUE(mModule->WriteBytes(EncodeFrame(command, std::span<const uint8_t>(payload))));
        EXPECT_EQ(mModule->Read(6), kAckBytes);
    }
    const CarrierState state = mCarrier->State();
    EXPECT_EQ(state.adminQueries, 1U);
    ASSERT_TRUE(state.adminAccess);
    EXPECT_EQ(TextOf(state.adminAccess->expiry), "2025-03-07T08:05:09.000Z");
    EXPECT_TRUE(state.adminAccess->isConsoleEnabled);
    EXPECT_FALSE(state.adminAccess->isShellEnabled);
    EXPECT_EQ(state.tessimorSettings, nine);
    EXPECT_EQ(state.ledSettings, seven);
}

TEST_F(CarrierTest, InternetQueryEndsWithTheNextInternetState) {
    Begin();
    const auto send = [this](uint8_t command) {
        ASSERT_TRUE(mModule->WriteBytes(EncodeFrame(command)));
        ASSERT_EQ(mModule->Read(6), kAckBytes);
    };
    send(command::kInternetQuery);
    EXPECT_TRUE(mCarrier->State().leds.isInternetQueried);
    send(command::kInternetUp);
    EXPECT_EQ(mCarrier->State().leds, (LedStates{.isInternetOn = true}));
}

TEST_F(CarrierTest, RefusesWhatItDoesNotKnowOrCannotRead) {
    Begin();
    Exchange("0A 2D 00 00 DC 34", "0A 00 01 00 39 A8 00 F0 78");           // no such command
    Exchange("0A 09 00 00 BC 6E", "0A 00 01 00 39 A8 09 6D B9");           // heartbeats are its own
    Exchange("0A 2B 00 00 0A ED", "0A 00 01 00 39 A8 03 C2 E3");           // payload missing
    Exchange("0A 00 01 00 39 A8 01 E1 F2", "0A 00 01 00 39 A8 02 D3 6A");  // payload CRC
    Exchange("0A 01 00 00 7A AD", "0A 00 01 00 39 A8 01 E1 F1");           // header CRC
    Exchange("0A 04 F9 FF E7 79", "0A 00 01 00 39 A8 03 C2 E3");           // 65,529 bytes announced
    Exchange("0A 23 03 00 E6 47 45", "0A 00 01 00 39 A8 05 A7 D5");        // payload does not end
    EXPECT_EQ(mCarrier->Statistics().damagedReceived, 4U);
}

TEST_F(CarrierTest, RefusesATimeThatIsNone) {
    Begin();
    const Bytes payload = {25, 13, 7, 8, 5, 9, 0, 0};
    ASSERT_TRUE(mModule->WriteBytes(EncodeFrame(command::kSetRtc, std::span<const uint8_t>(payload))));
    EXPECT_EQ(mModule->Read(9), "0A 00 01 00 39 A8 0C 3A 14");
    EXPECT_FALSE(mCarrier->State().clockSet);
}

TEST_F(CarrierTest, NoiseIsRecordedAndNotAnswered) {
    Begin();
    ASSERT_TRUE(mModule->Write("33 44 55"));
    const auto noise = mCarrier->WaitForFrame([](const FrameRecord& record) { return !record.IsFrame(); }, kPatience);
    ASSERT_TRUE(noise);
    EXPECT_EQ(noise->kind, LineItem::Kind::Noise);
    EXPECT_EQ(noise->raw, (Bytes{0x33, 0x44, 0x55}));
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
}

TEST_F(CarrierTest, SendsWhatACarrierSends) {
    Begin();
    mCarrier->SendHeartbeat();
    EXPECT_EQ(mModule->Read(14), "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
    mCarrier->SendError("E42");
    EXPECT_EQ(mModule->Read(11), "0A 23 03 00 E6 47 45 34 32 3A 54");
    mCarrier->SendPowerFail();
    EXPECT_EQ(mModule->Read(6), "0A 0C 00 00 85 D3");
    mCarrier->SendReset();
    EXPECT_EQ(mModule->Read(6), "0A 26 00 00 F5 92");
    mCarrier->SendSdCardQuery();
    EXPECT_EQ(mModule->Read(6), "0A 2B 00 00 0A ED");
    mCarrier->SendVersionsRequest();
    EXPECT_EQ(mModule->Read(6), "0A 2C 00 00 86 E8");
    mCarrier->SendCommsTest(3);
    EXPECT_EQ(mModule->Read(11), "0A 28 03 00 CF E1 00 01 02 FC 06");
    mCarrier->SendNack(16);
    EXPECT_EQ(mModule->Read(9), "0A 00 01 00 39 A8 10 E0 F9");
    mCarrier->Send(45);
    EXPECT_EQ(mModule->Read(6), "0A 2D 00 00 DC 34");
    mCarrier->SendRaw({0x33, 0x0A, 0x44});
    EXPECT_EQ(mModule->Read(3), "33 0A 44");
}

TEST_F(CarrierTest, OutcomeTellsOfTheAnswer) {
    CarrierOptions options;
    options.ownCommands.answerTime = kPatience;
    Begin(options);
    const uint64_t versions = mCarrier->SendVersionsRequest();
    ASSERT_EQ(mModule->Read(6), "0A 2C 00 00 86 E8");
    ASSERT_TRUE(mModule->WriteBytes(EncodeFrame(command::kAck, std::string_view("531720M\0", 8))));
    const auto outcome = mCarrier->WaitForOutcome(versions, kPatience);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->state, OwnCommand::State::Acked);
    EXPECT_EQ(outcome->answer.size(), 8U);
    EXPECT_EQ(mCarrier->State().halBuild, "531720M");

    const uint64_t error = mCarrier->SendError("E1");
    mModule->Read(10);
    ASSERT_TRUE(mModule->Write("0A 00 01 00 39 A8 0D 2B 9D"));
    EXPECT_EQ(mCarrier->WaitForOutcome(error, kPatience)->nackCodes, (Bytes{13}));

    ASSERT_TRUE(mModule->Write(kAckBytes));
    ASSERT_TRUE(mCarrier->WaitForCount(command::kAck, 2, kPatience));
    EXPECT_EQ(mCarrier->Statistics().answersUnexpected, 1U);
}

TEST_F(CarrierTest, UnansweredCommandIsSentAgainAsOftenAsAsked) {
    CarrierOptions options;
    options.ownCommands = {.attempts = 3, .answerTime = 30ms};
    Begin(options);
    const uint64_t id = mCarrier->SendPowerFail();
    EXPECT_EQ(mModule->Read(18), "0A 0C 00 00 85 D3 0A 0C 00 00 85 D3 0A 0C 00 00 85 D3");
    const auto outcome = mCarrier->WaitForOutcome(id, kPatience);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->state, OwnCommand::State::Unanswered);
    EXPECT_EQ(outcome->timesSent, 3U);
}

TEST_F(CarrierTest, HeartbeatsComeAtTheirPeriodAndStopWithIt) {
    CarrierOptions options;
    options.heartbeatPeriod = 20ms;
    Begin(options);
    const std::string beat = "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7";
    EXPECT_EQ(mModule->Read(42), beat + " " + beat + " " + beat);
    mCarrier->SetHeartbeatPeriod(0ms);
    mModule->ReadUntilQuiet(kQuiet);
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
}

TEST_F(CarrierTest, FrameArrivesInPiecesAndSeveralInOneRead) {
    Begin();
    for (const char* byte : {"0A", "1D", "00", "00", "5A", "9A"}) {
        ASSERT_TRUE(mModule->Write(byte));
    }
    EXPECT_EQ(mModule->Read(6), kAckBytes);
    Exchange("0A 1D 00 00 5A 9A 0A 1E 00 00 B5 FE", kAckBytes + " " + kAckBytes);
    EXPECT_TRUE(mCarrier->WaitForCount(command::kWifiUp, 2, kPatience));
}

TEST_F(CarrierTest, WaitsSeeOnlyWhatTheyAskFor) {
    Begin();
    Exchange("0A 1D 00 00 5A 9A", kAckBytes);
    const std::size_t from = mCarrier->ReceivedCount();
    EXPECT_EQ(from, 1U);
    EXPECT_FALSE(mCarrier->WaitForFrame(command::kWifiUp, 1ms, from));
    EXPECT_TRUE(mCarrier->WaitForFrame(command::kWifiUp, 1ms));
    std::thread later([this] { mModule->Write("0A 27 01 00 B6 96 02 D3 6A"); });
    const auto frame = mCarrier->WaitForFrame(command::kCurrentSensorSelection, Bytes{2}, kPatience, from);
    later.join();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->index, 1U);
    EXPECT_TRUE(frame->IsCrcOk());
    EXPECT_EQ(HexText(frame->raw), "0A 27 01 00 B6 96 02 D3 6A");
    EXPECT_TRUE(mCarrier->WaitForState([](const CarrierState& state) { return state.currentSensor == 2; }, kPatience));
    EXPECT_TRUE(
        mCarrier->WaitForSent([](const FrameRecord& sent) { return sent.IsCommand(command::kAck); }, kPatience));
}

TEST_F(CarrierTest, LogKeepsTheLatest) {
    CarrierOptions options;
    options.logLimit = 2;
    Begin(options);
    for (int count = 0; count < 5; ++count) {
        Exchange("0A 1D 00 00 5A 9A", kAckBytes);
    }
    const std::vector<FrameRecord> received = mCarrier->Received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received.back().index, 4U);
    EXPECT_EQ(mCarrier->ReceivedCount(), 5U);
    mCarrier->SetLogLimit(0);
    EXPECT_TRUE(mCarrier->Received().empty());
}

TEST_F(CarrierTest, RestartForgetsAndComesBackWithAHeartbeat) {
    CarrierOptions options;
    options.restartTime = 1s;  // time enough to send it something meanwhile
    Begin(options);
    Exchange("0A 1D 00 00 5A 9A", kAckBytes);
    mCarrier->Restart();
    ASSERT_TRUE(mModule->Write("0A 1D 00 00 5A 9A"));
    EXPECT_EQ(mModule->Read(14), "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
    const CarrierState state = mCarrier->State();
    EXPECT_EQ(state.restarts, 1U);
    EXPECT_EQ(state.leds, LedStates{});
}

TEST_F(CarrierTest, CarrierResetIsAcknowledgedBeforeTheRestart) {
    CarrierOptions options;
    options.restartTime = 10ms;
    Begin(options);
    ASSERT_TRUE(mModule->WriteBytes(EncodeFrame(command::kCarrierReset)));
    EXPECT_EQ(mModule->Read(20), kAckBytes + " 0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
    EXPECT_EQ(mCarrier->State().restarts, 1U);
}

TEST_F(CarrierTest, IsWhatItIsMade) {
    Begin();
    CarrierIdentity identity;
    identity.bootVersion = "531725C";
    identity.appVersion = "X";
    identity.halVersion = 5;
    mCarrier->SetIdentity(identity);
    mCarrier->SetAppVersion("531726R");
    mCarrier->SetBattery(3.07F);
    mCarrier->SetClock(TimeRecord{25, 3, 7, 8, 5, 9, 250, 0});
    Exchange("0A 08 00 00 E6 B2", "0A 01 07 00 37 A4 35 33 31 37 32 36 52 05 81");
    Exchange("0A 0D 00 00 DF 0F", "0A 01 04 00 1D CC E1 7A 44 40 C4 4F");
    Exchange("0A 0F 00 00 6A B7", "0A 01 08 00 B4 6C 19 03 07 08 05 09 FA 00 E9 A6");
    mCarrier->SetClock(std::nullopt);
    EXPECT_NE(TextOf(mCarrier->State().clock), "2025-03-07T08:05:09.250Z");
    mCarrier->SendHeartbeat();
    EXPECT_EQ(mModule->Read(14).substr(18, 17), "05 00 00 00 00 00");
    mCarrier->SendHeartbeat(8, 0);
    EXPECT_EQ(mModule->Read(14), "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
}

TEST_F(CarrierTest, ListsWhatItSentOnItsOwn) {
    Begin();
    mCarrier->SetOwnCommandPolicy({.attempts = 1, .answerTime = kPatience, .isOneByOne = true});
    const uint64_t first = mCarrier->SendPowerFail();
    const uint64_t second = mCarrier->SendReset();
    EXPECT_EQ(mModule->Read(6), "0A 0C 00 00 85 D3");
    ASSERT_TRUE(mModule->Write(kAckBytes));
    EXPECT_EQ(mModule->Read(6), "0A 26 00 00 F5 92");
    ASSERT_TRUE(mModule->Write(kAckBytes));
    ASSERT_TRUE(mCarrier->WaitForOutcome(second, kPatience));
    const std::vector<OwnCommand> all = mCarrier->OwnCommandList();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].id, first);
    EXPECT_EQ(all[1].state, OwnCommand::State::Acked);
    EXPECT_EQ(mCarrier->Outcome(first)->acks, 1U);
    EXPECT_FALSE(mCarrier->Outcome(99));
    // An answer may be quicker than the note that the frame has left.
    EXPECT_TRUE(
        mCarrier->WaitForSent([](const FrameRecord& sent) { return sent.IsCommand(command::kSbcReset); }, kPatience));
    EXPECT_EQ(mCarrier->Sent().size(), 2U);
}

TEST_F(CarrierTest, CannotStartWhereThereIsNoLine) {
    CarrierOptions options;
    options.device = "/nowhere/tty";
    Carrier carrier(options);
    EXPECT_FALSE(carrier.Start());
    EXPECT_EQ(carrier.Error(), "Cannot open /nowhere/tty: No such file or directory");
}

TEST_F(CarrierTest, SilentCarrierHearsAndObeys) {
    Begin();
    mCarrier->SetSilent(1h);
    ASSERT_TRUE(mModule->Write("0A 1D 00 00 5A 9A"));
    ASSERT_TRUE(mCarrier->WaitForState([](const CarrierState& state) { return state.leds.isWifiOn; }, kPatience));
    EXPECT_EQ(mModule->ReadUntilQuiet(kQuiet), "");
    mCarrier->SetSilent(0ms);
    Exchange("0A 1E 00 00 B5 FE", kAckBytes);
}

TEST_F(CarrierTest, ModuleMayComeAndGo) {
    Begin();
    for (int round = 0; round < 3; ++round) {
        mModule.reset();
        const std::size_t from = mCarrier->SentCount();
        mCarrier->SendHeartbeat();
        const auto lost = mCarrier->WaitForSent(
            [](const FrameRecord& sent) { return sent.isLost && sent.IsCommand(command::kCarrierAlive); }, kPatience,
            from);
        ASSERT_TRUE(lost);
        mModule = std::make_unique<ModuleEnd>(mCarrier->DevicePath());
        Exchange("0A 1D 00 00 5A 9A", kAckBytes);
    }
}

TEST_F(CarrierTest, StoppedCarrierHangsUpAndStartsAnew) {
    Begin();
    Exchange("0A 1D 00 00 5A 9A", kAckBytes);
    mCarrier->Stop();
    EXPECT_TRUE(mModule->WaitForHangUp());
    ASSERT_TRUE(mCarrier->Start());
    mModule = std::make_unique<ModuleEnd>(mCarrier->DevicePath());
    Exchange("0A 1E 00 00 B5 FE", kAckBytes);
    EXPECT_EQ(mCarrier->ReceivedCount(), 2U);
}

TEST_F(CarrierTest, LongestFramesGoBothWays) {
    CarrierOptions options;
    options.gaps.frame = 10s;  // the writer may be slow
    Begin(options);
    Bytes payload(65528);
    for (std::size_t index = 0; index < payload.size(); ++index) {
        payload[index] = static_cast<uint8_t>(index * 7 & 0xFFU);
    }
    const Bytes frame = EncodeFrame(command::kCommsTest, std::span<const uint8_t>(payload));
    // Both ends write at once: the answer only comes when all is in.
    ASSERT_TRUE(mModule->WriteBytes(frame));
    const std::string echo = mModule->Read(65536, kPatience);
    EXPECT_EQ(echo.substr(18, 11), "00 07 0E 15");
    EXPECT_EQ(echo.size(), 65536U * 3 - 1);
    const auto record = mCarrier->WaitForFrame(command::kCommsTest, kPatience);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->payload, payload);
}

TEST_F(CarrierTest, ModuleThatStopsReadingLosesBytesAndHoldsUpNothing) {
    Begin();
    mCarrier->Send(command::kCommsTest, Bytes(60000));
    mCarrier->Send(command::kCommsTest, Bytes(60000));
    for (int count = 0; count < 50; ++count) {
        mCarrier->SendPowerFail();
    }
    const auto isLast = [](const FrameRecord& sent) { return sent.index == 51; };
    ASSERT_TRUE(mCarrier->WaitForSent(isLast, kPatience));
    EXPECT_GT(mCarrier->Statistics().bytesLost, 50000U);
    mModule->ReadUntilQuiet(kQuiet);
    Exchange("0A 1D 00 00 5A 9A", kAckBytes);
}

class Witness : public CarrierListener {
public:
    void OnFrame(const FrameRecord& record) override { mLines.push_back(CommandName(record.command)); }
    void OnNote(const std::string& text) override { mLines.push_back(text); }
    void OnProgress(std::size_t received, std::size_t announced) override {
        mLines.push_back(std::to_string(received) + "/" + std::to_string(announced));
    }
    std::vector<std::string> mLines;
};

TEST_F(CarrierTest, ListenerIsToldInOrder) {
    Witness witness;
    Carrier carrier;
    carrier.SetListener(&witness);
    ASSERT_TRUE(carrier.Start());
    {
        ModuleEnd module(carrier.DevicePath());
        ASSERT_TRUE(module.Write("0A 1D 00 00 5A 9A"));
        EXPECT_EQ(module.Read(6), kAckBytes);
        ASSERT_TRUE(carrier.WaitForSent([](const FrameRecord&) { return true; }, kPatience));
    }
    carrier.Stop();
    EXPECT_EQ(witness.mLines, (std::vector<std::string>{"WiFiUp", "Ack"}));
}

TEST(Carriers, ManyLiveSideBySide) {
    std::vector<std::unique_ptr<Carrier>> carriers;
    std::vector<std::unique_ptr<ModuleEnd>> modules;
    for (int count = 0; count < 20; ++count) {
        carriers.push_back(std::make_unique<Carrier>());
        ASSERT_TRUE(carriers.back()->Start());
        modules.push_back(std::make_unique<ModuleEnd>(carriers.back()->DevicePath()));
    }
    modules[7]->Write("0A 1D 00 00 5A 9A");
    EXPECT_EQ(modules[7]->Read(6), kAckBytes);
    for (std::size_t index = 0; index < carriers.size(); ++index) {
        EXPECT_EQ(carriers[index]->State().leds.isWifiOn, index == 7);
    }
}

}  // namespace
}  // namespace simulator
