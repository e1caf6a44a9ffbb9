// A UART behind which nobody takes the bytes away: a pseudo terminal whose other end answers, but does not read.
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tests/e2e/Firmware/FirmwareTest.h"

namespace {

constexpr std::size_t kSize = 200U * 1024;  // more than the system keeps for a terminal
constexpr std::array<std::uint8_t, 6> kAckBytes = {0x0A, 0x01, 0x00, 0x00, 0x7A, 0xAC};

class BlindCarrier {
public:
    explicit BlindCarrier(const std::string& link) : mTerminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        std::array<char, 64> name{};
        if (mTerminal < 0 || grantpt(mTerminal) != 0 || unlockpt(mTerminal) != 0 ||
            ptsname_r(mTerminal, name.data(), name.size()) != 0) {
            throw std::runtime_error("no pseudo terminal");
        }
        // Held open, so that the module finds the line as it was left.
        mOtherEnd = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        std::filesystem::create_symlink(name.data(), link);
    }
    ~BlindCarrier() {
        close(mOtherEnd);
        close(mTerminal);
    }
    BlindCarrier(const BlindCarrier&) = delete;
    BlindCarrier& operator=(const BlindCarrier&) = delete;

    void Ack() const { EXPECT_EQ(write(mTerminal, kAckBytes.data(), kAckBytes.size()), ssize_t{kAckBytes.size()}); }

    // Again and again, since an Ack that comes between two waits is lost; what is too many is taken for later ones.
    template <typename Condition>
    void AckUntil(Condition condition) const {
        const auto attempt = [&] {
            Ack();
            return WaitUntil(condition, kPause);
        };
        EXPECT_TRUE(WaitUntil(attempt, kPatience));
    }

    bool HasBytes() const {
        pollfd file{mTerminal, POLLIN, 0};
        return poll(&file, 1, static_cast<int>(kPause.count())) == 1;
    }

    std::size_t Drain() const {
        std::array<char, 4096> buffer{};
        std::size_t total = 0;
        while (HasBytes()) {
            const ssize_t count = read(mTerminal, buffer.data(), buffer.size());
            if (count <= 0) {
                break;
            }
            total += static_cast<std::size_t>(count);
        }
        return total;
    }

private:
    static constexpr std::chrono::milliseconds kPause{100};

    int mTerminal;
    int mOtherEnd = -1;
};

class FullLineTest : public FirmwareTest {};

TEST_F(FullLineTest, EndsAnUpdateAndWorksAgainOnceItIsRead) {
    MachineOptions options = Options();
    options.isCarrierThere = false;
    options.arguments = {"-f", "-v", "1"};
    Machine& machine = NewMachine(options);
    const BlindCarrier carrier(machine.Files().Path("/dev/ttymxc3"));
    machine.Boot();
    const FirmwareOnDisk file = Put(machine, kAppFile, kSize);
    Announce(machine, file);
    carrier.AckUntil([&] { return machine.Out().Has("Sending file"); });
    // Every frame is acknowledged, whether it found room or not; then the carrier says nothing any more.
    std::size_t sent = 1;
    for (; sent < kSize / 1024 / 2; ++sent) {
        machine.Out().Await("Sent FileTransferPacket. {} remaining of 204800", 0, sent);
        carrier.Ack();
    }
    const std::size_t log = machine.Log().Position();
    machine.Log().Await("[info] WaitForResponseToCommand() Timed out after {}", log, 3);
    AwaitIdle(machine);
    EXPECT_TRUE(machine.Files().Exists(file.path));
    EXPECT_LT(carrier.Drain(), sent * 1024) << "the line was full";

    // The line has room again.
    machine.Bus().Publish("system_led_status", R"({"ethernetIsUp":true})");
    EXPECT_TRUE(WaitUntil([&] { return carrier.HasBytes(); }));
    carrier.Ack();
    AwaitIdle(machine);
    const std::size_t bytes = carrier.Drain();
    EXPECT_TRUE(bytes == 6 || bytes == 12 || bytes == 18) << bytes << ": the frame, and its repetitions";
}

}  // namespace
