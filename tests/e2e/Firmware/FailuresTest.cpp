// Updates that fail, each by what is sent, said and left behind.
#include "tests/e2e/Firmware/FirmwareTest.h"

#include <filesystem>

namespace {

using std::chrono::milliseconds;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;

constexpr std::size_t kSize = 2500;
constexpr std::size_t kAttempts = 3;  // of each command, before its failure counts
constexpr const char* kStart = "0A 02 05 00 EB 70 02 C4 09 00 00 0C D4";
constexpr const char* kInitiating = "[info] Initiating VeltrixApp_CRC.bin transfer of size 2500";
constexpr const char* kReady = "[info] Carrier is ready for firmware";
constexpr const char* kSending = "[info] Sending file";
constexpr const char* kRefused = "[info] Nack received - 0d13";
constexpr const char* kCorrupt = "[info] Nack received - 0d14";
constexpr const char* kFinalizing = "[info] Finalizing file transfer";
constexpr const char* kApplied = "[info] Firmware apply command sent. Waiting for carrier to restart...";
constexpr const char* kBack = "[info] Carrier connected after firmware update";
constexpr const char* kCrcFailure = "[error] Carrier reported CRC failure on VeltrixApp_CRC.bin file transfer";

class FirmwareFailuresTest : public FirmwareTest {
protected:
    static std::vector<std::string> Times(std::size_t count, const std::string& frame) {
        return std::vector<std::string>(count, frame);
    }

    static std::vector<std::string> Join(const std::vector<std::vector<std::string>>& parts) {
        std::vector<std::string> all;
        for (const auto& part : parts) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }
};

// ---- Files that cannot be had. From then on every file is turned away, until the process starts anew.

TEST_F(FirmwareFailuresTest, AFileThatCannotBeOpened) {
    Machine& machine = GreetedMachine(Options());
    const Since since(machine);
    Announce(machine, kAppFile, "/Veltrix/update/gone.bin", 10);
    AwaitIdle(machine);
    since.ExpectOut(
        ElementsAre("Opening update file: /Veltrix/update/gone.bin", "Could not open firmware file. Aborting update"));
    EXPECT_THAT(since.Log(), ElementsAre("[error] Could not open firmware file. Aborting update"));
    since.ExpectFrames(IsEmpty());
    ExpectThatUpdatesAreRefused(machine);
    ExpectThatUpdatesAreRefused(machine);

    EXPECT_EQ(machine.Stop(), 0);
    const std::size_t bus = machine.Bus().Position();
    machine.Start();
    machine.Bus().Await("process_ready", bus);
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFailuresTest, AFileThatIsShorterThanAnnounced) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk file = Put(machine, kAppFile, 2000);
    const Since since(machine);
    Announce(machine, file.name, file.path, 2001);
    AwaitIdle(machine);
    since.ExpectOut(ElementsAre("Opening update file: /Veltrix/update/VeltrixApp_CRC.bin",
                                "Reading update file: /Veltrix/update/VeltrixApp_CRC.bin",
                                "HAL - Failure reading firmware file. Aborting update", "Read 2000 of 2001 expected."));
    EXPECT_THAT(since.Log(), ElementsAre("[error] HAL Errlog: Failure reading firmware file. Aborting update"));
    since.ExpectFrames(IsEmpty());
    ExpectKept(machine, file);
    ExpectThatUpdatesAreRefused(machine);
}

TEST_F(FirmwareFailuresTest, AFolderInPlaceOfAFile) {
    Machine& machine = GreetedMachine(Options());
    machine.Files().Write("/Veltrix/update/folder/file", "");
    const Since since(machine);
    Announce(machine, kAppFile, "/Veltrix/update/folder", 20);
    AwaitIdle(machine);
    since.ExpectOut(ElementsAre("Opening update file: /Veltrix/update/folder",
                                "Reading update file: /Veltrix/update/folder",
                                "HAL - Failure reading firmware file. Aborting update", "Read 0 of 20 expected."));
    EXPECT_THAT(since.Log(), ElementsAre("[error] HAL Errlog: Failure reading firmware file. Aborting update"));
    since.ExpectFrames(IsEmpty());
    EXPECT_TRUE(machine.Files().Exists("/Veltrix/update/folder/file"));
    ExpectThatUpdatesAreRefused(machine);
}

TEST_F(FirmwareFailuresTest, AnEmptyOrMissingFileWithoutAGivenSizeIsPassedOverInSilence) {
    Machine& machine = GreetedMachine(Options());
    machine.Files().Write("/Veltrix/update/empty.bin", "");
    const Since since(machine);
    Announce(machine, kAppFile, "/Veltrix/update/empty.bin", 0);
    Announce(machine, kAppFile, "/Veltrix/update/gone.bin", 0);
    AwaitIdle(machine);
    since.ExpectOut(IsEmpty());
    EXPECT_THAT(since.Log(), IsEmpty());
    since.ExpectFrames(IsEmpty());
    EXPECT_TRUE(machine.Files().Exists("/Veltrix/update/empty.bin"));
    ExpectThatUpdatesWork(machine);
}

// Announcements wait for each other. The second one finds the file gone, which counts as a file that cannot be opened.
TEST_F(FirmwareFailuresTest, TwoAnnouncementsOfOneFileInARow) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Announce(machine, file);
    Announce(machine, file);
    AwaitIdle(machine);
    EXPECT_THAT(since.Log(), ElementsAre(kInitiating, kReady, kSending, kFinalizing, kApplied, kBack,
                                         "[error] Could not open firmware file. Aborting update"));
    ExpectApplied(machine, file, 2);
}

TEST_F(FirmwareFailuresTest, TwoFilesInARowAreSentOneAfterTheOther) {
    Machine& machine = GreetedMachine(Options());
    const FirmwareOnDisk boot = Put(machine, kBootFile, 1200, 3);
    const FirmwareOnDisk app = Put(machine, kAppFile, kSize, 4);
    Announce(machine, boot);
    Announce(machine, app);
    AwaitIdle(machine);
    const auto images = machine.Carrier().AppliedImages();
    ASSERT_EQ(images.size(), 2U);
    EXPECT_TRUE(images[0].bytes == boot.bytes);
    EXPECT_TRUE(images[1].bytes == app.bytes);
    EXPECT_EQ(machine.Carrier().State().updatePhases, (std::vector<std::uint16_t>{1, 2, 3, 4}));
}

// ---- Carriers that refuse. The file is kept, and the next update works.

TEST_F(FirmwareFailuresTest, ARefusedStart) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.refuseStarts = kAttempts;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    since.ExpectFrames(ElementsAre(kPhase2, kStart, kStart, kStart));
    since.ExpectOut(Contains("Transfer initiation failed. CommError = 4"));
    EXPECT_THAT(since.Log(),
                ElementsAre(kInitiating, "[info] Nack received - 0d6", "[info] Nack received - 0d6",
                            "[info] Nack received - 0d6", "[info] Transfer initiation failed. CommError = 4"));
    ExpectKept(machine, file);
    ExpectThatUpdatesWork(machine);
}

// It is sent the file after two seconds.
TEST_F(FirmwareFailuresTest, ACarrierThatIsNeverReady) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.isNeverReady = true;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    EXPECT_THAT(since.Log(), ElementsAre(kInitiating, kSending, kFinalizing, kApplied, kBack));
    const auto records = machine.Carrier().Received(since.Line());
    ASSERT_GE(records.size(), 3U);
    ASSERT_TRUE(records[1].IsCommand(simulator::command::kFileTransferStart));
    ASSERT_TRUE(records[2].IsCommand(simulator::command::kFileTransferPacket));
    EXPECT_GE(records[2].time - records[1].time, milliseconds(1990));
    EXPECT_LE(records[2].time - records[1].time, milliseconds(3500));
    ExpectApplied(machine, file, 2);
}

TEST_F(FirmwareFailuresTest, ARefusedPacket) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.nackPacket = 2;
    options.carrier.firmwareFaults.nackPacketTimes = kAttempts;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    const std::vector<std::string> packets = Packets(file.bytes);
    since.ExpectFrames(ElementsAre(kPhase2, kStart, kAck, packets[0], packets[1], packets[1], packets[1]));
    EXPECT_THAT(since.Log(), ElementsAre(kInitiating, kReady, kSending, kRefused, kRefused, kRefused));
    since.ExpectOut(Contains("HAL Sent packet: 0x4, carrier return code: 4").Times(3));
    ExpectKept(machine, file);
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFailuresTest, APacketRefusedOnceIsSentAgain) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.nackPacket = 2;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    EXPECT_THAT(since.Log(), ElementsAre(kInitiating, kReady, kSending, kRefused, kFinalizing, kApplied, kBack));
    EXPECT_EQ(CountCommand(machine, simulator::command::kFileTransferPacket, since.Line()), 4U);
    ExpectApplied(machine, file, 2);
}

TEST_F(FirmwareFailuresTest, ABusyCarrierIsWaitedFor) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.busyNacks = 4;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    const std::string busy =
        "[info] Received busy nack; carrier is storing the packet ({}ms of ms remaining before aborting)";
    EXPECT_EQ(machine.Log().Count(busy), 4U);
    EXPECT_EQ(machine.Out().Count("Received busy nack; carrier is storing the packet ({}ms of 5100ms remaining before "
                                  "aborting)"),
              4U);
    EXPECT_EQ(CountCommand(machine, simulator::command::kFileTransferPacket, since.Line()), 3U) << "none is repeated";
    ExpectApplied(machine, file, 2);
}

TEST_F(FirmwareFailuresTest, ARefusedEnd) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.nackEnds = kAttempts;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    since.ExpectFrames(ElementsAreArray(Join({{kPhase2, kStart, kAck}, Packets(file.bytes), Times(kAttempts, kEnd)})));
    EXPECT_THAT(since.Log(), ElementsAre(kInitiating, kReady, kSending, kRefused, kRefused, kRefused));
    ExpectKept(machine, file);
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFailuresTest, ACrcFailureThatIsMadeGood) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.corruptEnds = 1;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    EXPECT_THAT(since.Log(),
                ElementsAre(kInitiating, kReady, kSending, kCorrupt, kCrcFailure, testing::_, testing::_, kFinalizing,
                            kApplied, kBack, "[error] File transer giving up after 1 attempts"));
    EXPECT_THAT(since.Log(), Contains(kSending).Times(2));
    since.ExpectOut(EndsWithLine("File transer giving up after 1 attempts"));
    EXPECT_EQ(machine.Carrier().State().updatePhases, (std::vector<std::uint16_t>{2, 3, 4}));
    ExpectApplied(machine, file, 2);
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFailuresTest, ThreeCrcFailuresAreTheLimit) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.corruptEnds = 3;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    EXPECT_THAT(since.Log(), Contains(kCrcFailure).Times(3));
    EXPECT_THAT(since.Log(), Contains(kSending).Times(3));
    EXPECT_THAT(since.Log(), Not(Contains(kFinalizing)));
    EXPECT_EQ(since.Log().back(), "[error] File transer giving up after 3 attempts");
    since.ExpectOut(Contains("Carrier reported CRC failure on VeltrixApp_CRC.bin file transfer").Times(3));
    since.ExpectOut(EndsWithLine("File transer giving up after 3 attempts"));
    EXPECT_EQ(CountCommand(machine, simulator::command::kFileTransferStart, since.Line()), 3U);
    EXPECT_EQ(CountCommand(machine, simulator::command::kFileTransferApply, since.Line()), 0U);
    ExpectKept(machine, file);
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFailuresTest, AnImageThatTheCarrierFindsDamaged) {
    Machine& machine = GreetedMachine(Options());
    FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    file.bytes[700] ^= 0x10U;
    machine.Files().Write(file.path, std::string(file.bytes.begin(), file.bytes.end()));
    const Since since(machine);
    Update(machine, file);
    EXPECT_THAT(since.Log(), Contains(kCrcFailure).Times(3));
    EXPECT_EQ(since.Log().back(), "[error] File transer giving up after 3 attempts");
    ExpectKept(machine, file);
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFailuresTest, ARefusedApply) {
    MachineOptions options = Options();
    options.carrier.firmwareFaults.refuseApplies = kAttempts;
    Machine& machine = GreetedMachine(options);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    since.ExpectFrames(ElementsAreArray(
        Join({{kPhase2, kStart, kAck}, Packets(file.bytes), {kEnd, kPhase3}, Times(kAttempts, kApplyApp)})));
    since.ExpectOut(EndsWithLine("Firmware Apply failed. CommError = 4"));
    EXPECT_THAT(since.Log(), ElementsAre(kInitiating, kReady, kSending, kFinalizing, kRefused, kRefused, kRefused,
                                         "[info] Firmware Apply failed. CommError = 4"));
    ExpectKept(machine, file);
    ExpectThatUpdatesWork(machine);
}

TEST_F(FirmwareFailuresTest, APhaseThatIsRefusedAtTheBeginningIsRepeatedUntilItIsTaken) {
    Machine& machine = GreetedMachine(Options());
    simulator::ScriptedFault refuse;
    refuse.what = simulator::ScriptedFault::What::Nack;
    refuse.code = simulator::nack::kCommandFailed;
    refuse.command = simulator::command::kUpdatePhase;
    refuse.count = 7;
    machine.Carrier().Faults().Script(refuse);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    const std::vector<std::string> frames = since.Frames();
    EXPECT_THAT(frames, Contains(kPhase2).Times(8));
    since.ExpectOut(Contains(" ---> Sending LED udpates status indication <--- ").Times(3));
    since.ExpectOut(Contains(" ---> LED udpates status indication sent <--- ").Times(1));
    ExpectApplied(machine, file, 2);
}

// A packet that the line doubles is answered twice, and answers carry no name: each later one is taken for that of the
// command behind its own. The refused end passes for a refused phase and the phase's Ack for that of the apply, whose
// own refusal then looks like a sign of life. The carrier keeps what it runs, but the file is deleted. The link has no
// means to tell; whoever announces files has to look at the carrier's version afterwards.
TEST_F(FirmwareFailuresTest, APacketThatComesTwiceCanCostTheFileButNeverTheCarrier) {
    Machine& machine = GreetedMachine(Options());
    simulator::ScriptedFault twice;
    twice.where = simulator::ScriptedFault::Where::Received;
    twice.what = simulator::ScriptedFault::What::Duplicate;
    twice.command = simulator::command::kFileTransferPacket;
    twice.skip = 1;
    machine.Carrier().Faults().Script(twice);
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    const Since since(machine);
    Update(machine, file);
    if (!machine.Carrier().AppliedImages().empty()) {
        // The second answer was seen in time, between two commands: the next pass made it good.
        EXPECT_THAT(since.Log(), Contains("[warning] Received Ack but not expecting one"));
        EXPECT_THAT(since.Log(), Contains(kCrcFailure));
        ExpectApplied(machine, file, 2);
        return;
    }
    EXPECT_EQ(machine.Carrier().State().restarts, 0U);
    EXPECT_THAT(since.Log(), Contains(kCorrupt));
    EXPECT_THAT(since.Log(), Contains("[warning] Received Nack but not expecting one"));
    EXPECT_FALSE(IsThere(machine, file));
}

}  // namespace
