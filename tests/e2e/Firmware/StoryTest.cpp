// An update as it should go: every frame, every line, and what is left of it.
#include "tests/e2e/Firmware/FirmwareTest.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr std::size_t kSize = 2500;
constexpr std::uint8_t kAppBin = 2;

class FirmwareStoryTest : public FirmwareTest {
protected:
    static std::vector<std::string> WithPackets(std::vector<std::string> before, const FirmwareOnDisk& file,
                                                const std::vector<std::string>& after) {
        const std::vector<std::string> packets = Packets(file.bytes);
        before.insert(before.end(), packets.begin(), packets.end());
        before.insert(before.end(), after.begin(), after.end());
        return before;
    }
};

TEST_F(FirmwareStoryTest, TheCarrierRunsTheNewVersion) {
    MachineOptions options = Options();
    options.carrier.nextAppVersion = "531726S";
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    const std::size_t sent = machine.Carrier().SentCount();
    Update(machine, file);

    since.ExpectFrames(ElementsAreArray(WithPackets({kPhase2,
                                                     "0A 02 05 00 EB 70 02 C4 09 00 00 0C D4",  // start
                                                     kAck},                                     // to "ready"
                                                    file,
                                                    {kEnd, kPhase3, kApplyApp,  //
                                                     kAck,                      // to the heartbeat
                                                     kPhase4})));
    ExpectApplied(machine, file, kAppBin);
    EXPECT_EQ(machine.Carrier().State().identity.appVersion, "531726S");
    EXPECT_EQ(machine.Carrier().State().restarts, 1U);
    EXPECT_TRUE(machine.Carrier().WaitForSent(
        [](const auto& record) { return record.IsCommand(simulator::command::kCarrierAlive); }, kPatience, sent));
    since.ExpectOut(ElementsAre(
        "Opening update file: /Veltrix/update/VeltrixApp_CRC.bin",
        "Reading update file: /Veltrix/update/VeltrixApp_CRC.bin",
        "Initiating VeltrixApp_CRC.bin transfer of size 2500", "", " ---> Sending LED udpates status indication <--- ",
        "", " ---> LED udpates status indication sent <--- ", "Carrier is ready for firmware", "Sending file",
        "Sent FileTransferPacket. 1476 remaining of 2500", "Sent FileTransferPacket. 452 remaining of 2500",
        "Sent FileTransferPacket. 0 remaining of 2500", "Finalizing file transfer",
        "Firmware apply command sent. Waiting for carrier to restart... ", "Carrier connected after firmware update",
        "Removing /Veltrix/update/VeltrixApp_CRC.bin", "Updating VeltrixApp_CRC.bin"));
    EXPECT_THAT(since.Log(), ElementsAre("[info] Initiating VeltrixApp_CRC.bin transfer of size 2500",
                                         "[info] Carrier is ready for firmware", "[info] Sending file",
                                         "[info] Finalizing file transfer",
                                         "[info] Firmware apply command sent. Waiting for carrier to restart...",
                                         "[info] Carrier connected after firmware update"));
}

TEST_F(FirmwareStoryTest, TheEndOfTheWholeUpdateIsPassedOn) {
    Machine& machine = GreetedMachine(Options());
    Since since(machine);
    machine.Bus().Publish("firmware_update_end", R"({"wasUpdateSuccessful":true})");
    machine.Bus().Publish("firmware_update_end", R"({"wasUpdateSuccessful":false})");
    machine.FlushBus();
    since.ExpectFrames(ElementsAre(kPhaseEnd, kPhaseFail));
    since.ExpectOut(ElementsAre("<<<<<< Update Complete received by HAL >>>>>>>>",
                                "<<<<<< Update Complete received by HAL >>>>>>>>"));
    EXPECT_THAT(since.Log(), IsEmpty());
}

TEST_F(FirmwareStoryTest, ABootLoaderIsAnnouncedOnlyAtTheBeginning) {
    MachineOptions options = Options();
    options.carrier.nextBootVersion = "531725D";
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, "PreBoot.hex", kSize);
    const Since since(machine);
    Update(machine, file);
    since.ExpectFrames(ElementsAreArray(WithPackets({kPhase1, "0A 02 05 00 EB 70 01 C4 09 00 00 11 18", kAck}, file,
                                                    {kEnd, "0A 06 01 00 EF 71 01 E1 F1", kAck})));
    ExpectApplied(machine, file, 1);
    EXPECT_EQ(machine.Carrier().State().identity.bootVersion, "531725D");
    EXPECT_EQ(machine.Carrier().State().identity.appVersion, "531726R");
}

// It is announced as nothing at all; a carrier that takes whatever comes is updated.
TEST_F(FirmwareStoryTest, AnUnknownNameIsSentWithAnEmptyStartPayload) {
    MachineOptions options = Options();
    options.carrier.firmware.check = simulator::ImageCheck::None;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, "veltrixapp_crc.bin", kSize);
    const Since since(machine);
    Update(machine, file);
    since.ExpectFrames(ElementsAreArray(WithPackets({"0A 02 05 00 EB 70 00 00 00 00 00 CF 77", kAck}, file,
                                                    {kEnd, "0A 06 01 00 EF 71 00 F0 78", kAck})));
    since.ExpectOut(testing::Contains("Unknown transfer file (veltrixapp_crc.bin) specified"));
    EXPECT_EQ(since.Log().at(0), "[error] Unknown transfer file (veltrixapp_crc.bin) specified");
    ExpectApplied(machine, file, 0);
}

TEST_F(FirmwareStoryTest, AnUnknownNameIsNothingToACarrierThatCounts) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk file = Put(machine, "veltrixapp_crc.bin", kSize);
    const Since since(machine);
    Update(machine, file);
    EXPECT_EQ(since.Log().back(), "[error] File transer giving up after 3 attempts");
    EXPECT_THAT(machine.Carrier().State().updatePhases, IsEmpty());
    ExpectKept(machine, file);
}

TEST_F(FirmwareStoryTest, WithoutAGivenSizeTheFilesOwnIsTaken) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Announce(machine, file.name, file.path, 0);
    AwaitIdle(machine);
    EXPECT_EQ(since.Frames().at(1), "0A 02 05 00 EB 70 02 C4 09 00 00 0C D4");
    ExpectApplied(machine, file, kAppBin);
}

}  // namespace
