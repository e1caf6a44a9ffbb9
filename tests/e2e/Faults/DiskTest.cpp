// The machine's disk full, read-only or without its folders, from the start or in the middle of it. What cannot be
// written is lost or reported; the carrier and the bus are served all the same.
#include <filesystem>

#include "tests/e2e/Faults/TroubledMachineTest.h"

namespace {

using testing::HasSubstr;

constexpr const char* kAck = "0A 01 00 00 7A AC";
constexpr const char* kEthernetUp = "0A 1A 00 00 D6 9F";
constexpr const char* kConfiguration = "/Veltrix/system.config";
constexpr const char* kTen = "{\n\t\"ArcStartAmps\":\t10\n}";
constexpr const char* kNoSpace =
    "Could not write to the log: Failed flush to file /Veltrix/log/HAL.log: No space left on device";
constexpr const char* kReadOnly = "Read-only file system";

class DiskTest : public TroubledMachineTest {
protected:
    static void SetThreshold(Machine& machine, int amps) {
        const std::size_t bus = machine.Bus().Position();
        const std::string text = std::to_string(amps);
        machine.Bus().Publish("incoming_commands", R"({"arcStartThreshold":)" + text + "}");
        // It is in force, stored or not.
        machine.Bus().AwaitPayload("device_settings", R"({"arcStartThreshold":)" + text + R"(,"timestamp":"{}Z"})",
                                   bus);
        machine.FlushBus();
    }

    // Heartbeats, error texts and messages for the carrier take their way.
    static void ExpectService(Machine& machine) {
        const std::size_t line = machine.Line().Position();
        for (std::size_t i = 1; i <= 3; ++i) {
            machine.Carrier().SendHeartbeat();
            machine.Line().AwaitFrame(kAck, line, i);
        }
        machine.Carrier().SendError("E42");
        machine.Line().AwaitFrame(kAck, line, 4);
        machine.FlushLine();
        machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
        machine.Line().AwaitFrame(kEthernetUp, line);
        machine.FlushBus();
        EXPECT_TRUE(machine.Hal().IsRunning());
    }

    static void ExpectStored(Machine& machine, int amps) {
        SetThreshold(machine, amps);
        EXPECT_EQ(machine.Files().Read(kConfiguration), "{\n\t\"ArcStartAmps\":\t" + std::to_string(amps) + "\n}");
    }
};

TEST_F(DiskTest, FullFromTheStartItRunsWithoutALog) {
    Machine& machine = NewTroubledMachine();
    machine.Files().Write(kConfiguration, kTen);
    mFaults.FillDisk(true);
    machine.Boot();
    machine.Greet();
    ExpectService(machine);
    SetThreshold(machine, 20);
    EXPECT_EQ(machine.Files().Read(kConfiguration), kTen) << "the old one, whole";
    EXPECT_FALSE(machine.Files().Exists(std::string(kConfiguration) + ".new"));
    EXPECT_EQ(machine.Log().Text(), "");
    EXPECT_EQ(machine.Files().Read("/Veltrix/log/Carrier.log"), "");
    machine.Err().Await(kNoSpace);
    EXPECT_GT(mFaults.Hits(), 0);
    EXPECT_EQ(machine.Stop(), 0);
}

TEST_F(DiskTest, FullForAWhileTheLogGoesOnWhereThereIsRoomAgain) {
    Machine& machine = BootTroubledMachine();
    machine.Greet();
    ExpectStored(machine, 10);
    const std::string before = machine.Log().Text();
    EXPECT_THAT(before, HasSubstr("ArcThreshold set to 10"));

    mFaults.FillDisk(true);
    ExpectService(machine);
    SetThreshold(machine, 20);
    EXPECT_EQ(machine.Files().Read(kConfiguration), kTen);
    EXPECT_EQ(machine.Log().Text(), before) << "nothing of what was said meanwhile";
    machine.Err().Await(kNoSpace);
    EXPECT_GT(mFaults.Hits(), 0);

    mFaults.FillDisk(false);
    ExpectService(machine);
    ExpectStored(machine, 30);
    machine.Log().Await("[info] ArcThreshold set to 30");
    EXPECT_FALSE(machine.Log().Has("[info] ArcThreshold set to 20"));
    EXPECT_THAT(machine.Files().Read("/Veltrix/log/Carrier.log"), testing::MatchesRegex("\\([-0-9T:]+\\) - E42\n"));
}

// The system's own full disk.
TEST_F(DiskTest, FullUnderTheCarriersErrorsIsLoggedAndAcknowledged) {
    Machine& machine = NewMachine();
    std::filesystem::create_directories(machine.Files().Path("/Veltrix/log"));
    std::filesystem::create_symlink("/dev/full", machine.Files().Path("/Veltrix/log/Carrier.log"));
    machine.Boot();
    machine.Greet();
    ExpectService(machine);
    machine.Log().Await("[error] Failed to write carrier log file. No space left on device");
}

TEST_F(DiskTest, ReadOnlyFromTheStartTheConsoleStandsInForTheLog) {
    Machine& machine = NewTroubledMachine();
    machine.Files().Write(kConfiguration, kTen);
    mFaults.ProtectDisk(true);
    machine.Boot();
    machine.Greet();
    ExpectService(machine);
    SetThreshold(machine, 20);
    machine.Out().Await("Rotating logger is nullptr - level: 2 - logged at CarrierCommInterface_StoredConfig.cpp:{}");
    machine.Out().Await(
        "Rotating logger is nullptr - level: 3 - logged at CarrierCommInterface_ErrorLogAndPower.cpp:{}");
    EXPECT_EQ(machine.Files().Read(kConfiguration), kTen);
    EXPECT_FALSE(machine.Files().Exists("/Veltrix/log"));
    EXPECT_GT(mFaults.Hits(), 0);
    EXPECT_EQ(machine.Stop(), 0);
}

TEST_F(DiskTest, ReadOnlyForAWhileWhatCannotBeStoredIsReported) {
    Machine& machine = BootTroubledMachine();
    machine.Greet();
    ExpectStored(machine, 10);
    mFaults.ProtectDisk(true);
    ExpectService(machine);
    SetThreshold(machine, 20);
    machine.Log().AwaitInOrder({"[error] Failed to open carrier log file",
                                std::string("[warning] Unable to write /Veltrix/system.config. ") + kReadOnly});
    EXPECT_EQ(machine.Files().Read(kConfiguration), kTen);
    mFaults.ProtectDisk(false);
    ExpectService(machine);
    ExpectStored(machine, 30);
}

// What root cannot write to either.
TEST_F(DiskTest, WithAFileInPlaceOfTheLogFolderItRunsWithoutALog) {
    Machine& machine = NewMachine();
    machine.Files().Write("/Veltrix/log", "no folder");
    machine.Boot();
    machine.Greet();
    ExpectService(machine);
    ExpectStored(machine, 20);
    machine.Out().Await(
        "Rotating logger is nullptr - level: 3 - logged at CarrierCommInterface_ErrorLogAndPower.cpp:{}");
    EXPECT_EQ(machine.Files().Read("/Veltrix/log"), "no folder");
    EXPECT_EQ(machine.Stop(), 0);
}

TEST_F(DiskTest, WithAFolderInPlaceOfTheLogItRunsWithoutALog) {
    const std::string inTheWay = "/Veltrix/log/HAL.log/in the way";
    Machine& machine = NewMachine();
    machine.Files().Write(inTheWay, "");
    machine.Boot();
    machine.Greet();
    ExpectService(machine);
    ExpectStored(machine, 20);
    EXPECT_THAT(machine.Files().Read("/Veltrix/log/Carrier.log"), HasSubstr(" - E42\n"));
    EXPECT_TRUE(machine.Files().Exists(inTheWay));
    EXPECT_EQ(machine.Stop(), 0);
    std::filesystem::remove_all(machine.Files().Path("/Veltrix/log/HAL.log"));  // nothing that can be read as a log
}

TEST_F(DiskTest, WithoutItsFoldersItMakesWhatItNeedsAndReportsTheRest) {
    Machine& machine = NewMachine();
    std::filesystem::remove_all(machine.Files().Path("/Veltrix"));
    machine.Boot();
    machine.Greet();
    ExpectService(machine);
    EXPECT_TRUE(machine.Log().Has("[critical] Could not open the identity file ('/Veltrix/identity.config')!"));

    // Gone under its hands: the log goes on into nothing, and everything else is there again as soon as the folder is.
    std::filesystem::remove_all(machine.Files().Path("/Veltrix"));
    ExpectService(machine);
    SetThreshold(machine, 20);
    EXPECT_FALSE(machine.Files().Exists("/Veltrix"));
    std::filesystem::create_directories(machine.Files().Path("/Veltrix/log"));
    ExpectService(machine);
    ExpectStored(machine, 30);
    EXPECT_THAT(machine.Files().Read("/Veltrix/log/Carrier.log"), HasSubstr(" - E42\n"));
    EXPECT_EQ(machine.Stop(), 0);
}

}  // namespace
