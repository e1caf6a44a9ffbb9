#include "tests/e2e/Firmware/FirmwareTest.h"

#include <algorithm>
#include <csignal>
#include <span>

namespace {

constexpr std::size_t kPacketSize = 1024;
constexpr std::chrono::milliseconds kLongestStop{6000};
// No carrier is back before the process has begun to wait for it, a few milliseconds after the apply was acknowledged;
// and these carriers send one heartbeat only.
constexpr simulator::Milliseconds kRestart{500};

std::string FolderOf(const std::string& name) {
    return "/Veltrix/update/" + name;
}

}  // namespace

MachineOptions FirmwareTest::Options() {
    MachineOptions options;
    options.arguments = {"-f", "-v", "0"};
    options.carrier.restartTime = kRestart;
    options.carrier.firmware.check = simulator::ImageCheck::Crc32;
    return options;
}

FirmwareOnDisk FirmwareTest::Put(Machine& machine, const std::string& name, std::size_t size, std::uint64_t seed) {
    FirmwareOnDisk file{name, FolderOf(name), simulator::MakeImage(size, seed)};
    machine.Files().Write(file.path, std::string(file.bytes.begin(), file.bytes.end()));
    return file;
}

bool FirmwareTest::IsThere(Machine& machine, const FirmwareOnDisk& file) {
    return machine.Files().Exists(file.path);
}

void FirmwareTest::Announce(Machine& machine, const std::string& name, const std::string& path, std::size_t size) {
    machine.Bus().Publish("carrier_file", R"({"fileSize":)" + std::to_string(size) + R"(,"fileName":")" + name +
                                              R"(","fileFullPath":")" + machine.Files().Path(path) + R"("})");
}

void FirmwareTest::AwaitIdle(Machine& machine, std::chrono::milliseconds limit) {
    const std::size_t from = machine.Bus().Position();
    machine.Bus().Publish("req_delayed_device_settings", "{}");
    machine.Bus().Await("delayed_device_settings", from, {}, limit);
}

void FirmwareTest::Update(Machine& machine, const FirmwareOnDisk& file) {
    Announce(machine, file);
    AwaitIdle(machine);
}

std::vector<std::string> FirmwareTest::Packets(const simulator::Bytes& bytes) {
    std::vector<std::string> frames;
    for (std::size_t at = 0; at < bytes.size(); at += kPacketSize) {
        const auto part = std::span(bytes).subspan(at, std::min(kPacketSize, bytes.size() - at));
        frames.push_back(simulator::HexText(simulator::EncodeFrame(simulator::command::kFileTransferPacket, part)));
    }
    return frames;
}

std::size_t FirmwareTest::CountCommand(Machine& machine, std::uint8_t command, std::size_t from) {
    const auto records = machine.Carrier().Received(from);
    return static_cast<std::size_t>(std::count_if(records.begin(), records.end(),
                                                  [command](const auto& record) { return record.IsCommand(command); }));
}

void FirmwareTest::ExpectKept(Machine& machine, const FirmwareOnDisk& file) {
    EXPECT_EQ(machine.Files().Read(file.path), std::string(file.bytes.begin(), file.bytes.end()));
    EXPECT_TRUE(machine.Carrier().AppliedImages().empty());
}

void FirmwareTest::ExpectApplied(Machine& machine, const FirmwareOnDisk& file, std::uint8_t destination) {
    const auto images = machine.Carrier().AppliedImages();
    ASSERT_EQ(images.size(), 1U);
    EXPECT_EQ(images.front().destination, destination);
    EXPECT_TRUE(images.front().bytes == file.bytes) << "another image was applied";
    EXPECT_FALSE(IsThere(machine, file));
}

void FirmwareTest::ExpectThatUpdatesWork(Machine& machine) {
    const FirmwareOnDisk file = Put(machine, "VeltrixApp.hex", 1500, 99);
    Update(machine, file);
    const auto images = machine.Carrier().AppliedImages();
    ASSERT_FALSE(images.empty());
    EXPECT_EQ(images.back().destination, 0);
    EXPECT_TRUE(images.back().bytes == file.bytes);
    EXPECT_FALSE(IsThere(machine, file));
}

void FirmwareTest::ExpectThatUpdatesAreRefused(Machine& machine) {
    const FirmwareOnDisk file = Put(machine, "VeltrixApp.hex", 1500, 99);
    const Since since(machine);
    Update(machine, file);
    since.ExpectOut(testing::ElementsAre("Unknown file received or unable to grab mutex"));
    EXPECT_THAT(since.Log(), testing::ElementsAre("[info] Unknown file received or unable to grab mutex"));
    since.ExpectFrames(testing::IsEmpty());
    ExpectKept(machine, file);
}

void FirmwareTest::ExpectToStop(Machine& machine) {
    const auto start = std::chrono::steady_clock::now();
    machine.Hal().Signal(SIGTERM);
    EXPECT_EQ(machine.Hal().WaitForExit(), 0);
    EXPECT_LE(std::chrono::steady_clock::now() - start, kLongestStop);
    EXPECT_TRUE(machine.Out().Has("HAL is down"));
}
