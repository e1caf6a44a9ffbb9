// The simulator as people and scripts use it: the real program, its standard input and output.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/simulator/ModuleEnd.h"
#include "tests/support/WaitUntil.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kPatience{20000};

// The program with pipes for its input and output.
class Program {
public:
    explicit Program(std::vector<std::string> arguments) {
        std::array<int, 2> input{};
        std::array<int, 2> output{};
        EXPECT_EQ(::pipe2(input.data(), O_CLOEXEC), 0);
        EXPECT_EQ(::pipe2(output.data(), O_CLOEXEC), 0);
        arguments.insert(arguments.begin(), SIMULATOR_PROGRAM);
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        mProcess = ::fork();
        if (mProcess == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::dup2(input[0], STDIN_FILENO);
            ::dup2(output[1], STDOUT_FILENO);
            ::dup2(output[1], STDERR_FILENO);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(input[0]);
        ::close(output[1]);
        mInput = input[1];
        mOutput = output[0];
    }

    // A program that still runs is told to end, and must do so with status 0.
    ~Program() {
        CloseInput();
        if (mProcess > 0) {
            Signal(SIGTERM);
            EXPECT_EQ(End(), 0);
        }
        if (mProcess > 0) {
            ::kill(mProcess, SIGKILL);
            ::waitpid(mProcess, nullptr, 0);
        }
        ::close(mOutput);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void Type(const std::string& line) {
        const std::string text = line + "\n";
        EXPECT_EQ(::write(mInput, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    void CloseInput() {
        if (mInput >= 0) {
            ::close(mInput);
            mInput = -1;
        }
    }

    void Signal(int number) const { EXPECT_EQ(::kill(mProcess, number), 0); }

    // The next line, without its newline; "(nothing)" when none comes in time, "(end)" at the end.
    std::string Line() {
        for (;;) {
            const std::size_t end = mPending.find('\n');
            if (end != std::string::npos) {
                const std::string line = mPending.substr(0, end);
                mPending.erase(0, end + 1);
                return line;
            }
            pollfd state{mOutput, POLLIN, 0};
            if (::poll(&state, 1, static_cast<int>(kPatience.count())) <= 0) {
                return "(nothing)";
            }
            std::array<char, 4096> buffer;
            const ssize_t count = ::read(mOutput, buffer.data(), buffer.size());
            if (count <= 0) {
                return "(end)";
            }
            mPending.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }

    // Reads on to a line that contains the text; that line, or what Line() gives when there is none.
    std::string LineWith(const std::string& text) {
        std::string line;
        do {
            line = Line();
        } while (line.find(text) == std::string::npos && line != "(end)" && line != "(nothing)");
        return line;
    }

    // The exit status, after everything that it still printed; -1 when it was killed, -2 when it does not end.
    int End() {
        std::string line;
        do {
            line = Line();
            if (line == "(nothing)") {
                return -2;
            }
        } while (line != "(end)");
        int status = 0;
        ::waitpid(mProcess, &status, 0);
        mProcess = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t mProcess = -1;
    int mInput = -1;
    int mOutput = -1;
    std::string mPending;
};

class ProgramTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "carrier_program_XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        mFolder = pattern;
    }
    void TearDown() override {
        mModule.reset();
        mProgram.reset();
        fs::remove_all(mFolder);
    }

    std::string Link() const { return (mFolder / "carrier").string(); }

    void Begin(std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.end(), {"--link", Link(), "--heartbeat-period", "0"});
        mProgram = std::make_unique<Program>(arguments);
        ASSERT_EQ(mProgram->Line(), "Carrier ready on " + Link());
        mModule = std::make_unique<ModuleEnd>(Link());
        ASSERT_TRUE(mModule->IsOpen());
    }

    // Types a line and expects these bytes at the module's end.
    void Expect(const std::string& typed, const std::string& bytes) {
        mProgram->Type(typed);
        EXPECT_EQ(mModule->Read((bytes.size() + 1) / 3), bytes) << typed;
    }

    void Exchange(const std::string& sent, const std::string& bytes) {
        ASSERT_TRUE(mModule->Write(sent));
        EXPECT_EQ(mModule->Read((bytes.size() + 1) / 3), bytes) << "after " << sent;
    }

    // The line of "show" that begins so.
    std::string Shown(const std::string& key) {
        mProgram->Type("show");
        return mProgram->LineWith(key + ": ");
    }

    // Returns when everything typed so far has been carried out.
    void Settle() {
        const std::string mark = "mark" + std::to_string(++mMarks);
        mProgram->Type(mark);
        EXPECT_EQ(mProgram->LineWith(mark), "error: unknown command \"" + mark + "\"; \"help\" lists all");
    }

    int mMarks = 0;
    fs::path mFolder;
    std::unique_ptr<Program> mProgram;
    std::unique_ptr<ModuleEnd> mModule;
};

const std::string kAck = "0A 01 00 00 7A AC";
const std::string kWifiUp = "0A 1D 00 00 5A 9A";

TEST_F(ProgramTest, SendsWhatIsTyped) {
    Begin();
    Expect("heartbeat", "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
    Expect("error E42", "0A 23 03 00 E6 47 45 34 32 3A 54");
    Expect("powerfail", "0A 0C 00 00 85 D3");
    Expect("reset", "0A 26 00 00 F5 92");
    Expect("sdcard", "0A 2B 00 00 0A ED");
    Expect("versions", "0A 2C 00 00 86 E8");
    Expect("commstest 3", "0A 28 03 00 CF E1 00 01 02 FC 06");
    Expect("send UpdatePhase 02 00", "0A 2A 02 00 63 81 02 00 3C F7");
    Expect("send 45", "0A 2D 00 00 DC 34");
    Expect("raw 33 0A44", "33 0A 44");
}

TEST_F(ProgramTest, PrintsALineForEachFrame) {
    Begin();
    Exchange(kWifiUp, kAck);
    EXPECT_EQ(mProgram->LineWith("WiFiUp").substr(12), " <- WiFiUp");
    EXPECT_EQ(mProgram->Line().substr(12), " -> Ack");
    Expect("heartbeat", "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
    EXPECT_EQ(mProgram->Line().substr(12), " -> CarrierAlive [6] 08 00 00 00 00 00 = HAL 8, comm 0");
    EXPECT_EQ(Shown("wifi_led"), "wifi_led: on");
    EXPECT_EQ(Shown("frames_received"), "frames_received: 1");
}

TEST_F(ProgramTest, QuietPrintsNoFrames) {
    Begin({"--quiet"});
    Exchange(kWifiUp, kAck);
    mProgram->Type("progress");
    EXPECT_EQ(mProgram->Line(), "file 0/0");
}

TEST_F(ProgramTest, IsWhatTheOptionsSay) {
    Begin({"--app-version", "X1", "--board-revision", "3", "--battery", "3.07", "--clock", "2025-03-07T08:05:09.250Z"});
    Exchange("0A 32 00 00 13 66", "0A 01 01 00 63 74 03 C2 E3");
    Exchange("0A 0D 00 00 DF 0F", "0A 01 04 00 1D CC E1 7A 44 40 C4 4F");
    Exchange("0A 0F 00 00 6A B7", "0A 01 08 00 B4 6C 19 03 07 08 05 09 FA 00 E9 A6");
    EXPECT_EQ(Shown("app_version"), "app_version: X1");
}

TEST_F(ProgramTest, MisbehavesAsTyped) {
    Begin();
    mProgram->Type("nack 16 2");
    Settle();
    Exchange(kWifiUp, "0A 00 01 00 39 A8 10 E0 F9");
    Exchange(kWifiUp, "0A 00 01 00 39 A8 10 E0 F9");
    Exchange(kWifiUp, kAck);
    mProgram->Type("answer CarrierAlive");
    Settle();
    Exchange(kWifiUp, "0A 09 00 00 BC 6E");
    mProgram->Type("drop");
    Settle();
    ASSERT_TRUE(mModule->Write(kWifiUp));
    EXPECT_EQ(mModule->ReadUntilQuiet(150ms), "");
    mProgram->Type("silence 1000");
    Settle();
    ASSERT_TRUE(mModule->Write(kWifiUp));
    EXPECT_EQ(mModule->ReadUntilQuiet(150ms), "");
    mProgram->Type("silence 0");
    Settle();
    mProgram->Type("late 1");
    Settle();
    Exchange(kWifiUp, kAck);
    mProgram->Type("faults 1");
    mProgram->Type("clean");
    Settle();
    Exchange(kWifiUp, kAck);
}

TEST_F(ProgramTest, ChangesAsTyped) {
    Begin();
    mProgram->Type("battery 3.07");
    mProgram->Type("clock 2025-03-07T08:05:09.250Z");
    mProgram->Type("version 531726R");
    mProgram->Type("next-version 531800A");
    Settle();
    Exchange("0A 0D 00 00 DF 0F", "0A 01 04 00 1D CC E1 7A 44 40 C4 4F");
    Exchange("0A 0F 00 00 6A B7", "0A 01 08 00 B4 6C 19 03 07 08 05 09 FA 00 E9 A6");
    Exchange("0A 08 00 00 E6 B2", "0A 01 07 00 37 A4 35 33 31 37 32 36 52 05 81");
    Expect("restart 0.01", "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
    EXPECT_EQ(Shown("restarts"), "restarts: 1");
    mProgram->Type("clock now");
    EXPECT_NE(Shown("clock"), "clock: 2025-03-07T08:05:09.250Z");
    Expect("restart", "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
    Expect("period 10", "0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7 0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
}

TEST_F(ProgramTest, TellsTheProgressOfAFileAndRefusesItWhenTold) {
    Begin({"--quiet", "--next-version", "531800A", "--restart-time", "10"});
    mProgram->Type("refuse-image on");
    Settle();
    const std::string start = "0A 02 05 00 EB 70 02 0A 00 00 00 05 51";
    const std::string packet = "0A 04 0A 00 BE 61 00 01 02 03 04 05 06 07 08 09 2F E2";
    Exchange(start, kAck + " 0A 03 00 00 CF 14");
    Exchange(packet, kAck);
    EXPECT_EQ(mProgram->Line(), "file 10/10");
    Exchange("0A 05 00 00 19 CD", "0A 00 01 00 39 A8 0E 19 06");
    mProgram->Type("refuse-image off");
    Settle();
    Exchange(start, kAck + " 0A 03 00 00 CF 14");
    Exchange(packet, kAck);
    Exchange("0A 05 00 00 19 CD", kAck);
    Exchange("0A 06 01 00 EF 71 02 D3 6A", kAck + " 0A 09 06 00 E8 BE 08 00 00 00 00 00 D6 D7");
    EXPECT_EQ(mProgram->LineWith("back").substr(12), " ** back after the restart with version 531800A");
}

TEST_F(ProgramTest, MisbehavesDuringAnUpdateAsTyped) {
    Begin({"--quiet", "--restart-time", "10"});
    const std::string failed = "0A 00 01 00 39 A8 0D 2B 9D";
    const std::string corrupt = "0A 00 01 00 39 A8 0E 19 06";
    const std::string busy = "0A 00 01 00 39 A8 10 E0 F9";
    const std::string start = "0A 02 05 00 EB 70 02 0A 00 00 00 05 51";
    const std::string packet = "0A 04 0A 00 BE 61 00 01 02 03 04 05 06 07 08 09 2F E2";
    const std::string end = "0A 05 00 00 19 CD";
    const std::string apply = "0A 06 01 00 EF 71 02 D3 6A";
    const std::string ready = kAck + " 0A 03 00 00 CF 14";
    mProgram->Type("misbehave refuse-start");
    mProgram->Type("misbehave nack-end 1");
    mProgram->Type("misbehave corrupt-end 1");
    mProgram->Type("misbehave refuse-apply");
    mProgram->Type("misbehave nack-packet 2");
    mProgram->Type("busy 2 1");
    Settle();
    Exchange(start, "0A 00 01 00 39 A8 06 95 4E");
    Exchange(start, ready);
    Exchange(packet, busy + " " + busy + " " + kAck);
    Exchange(packet, failed);
    Exchange(end, failed);
    Exchange(start, ready);
    Exchange(packet, kAck);
    Exchange(end, corrupt);
    mProgram->Type("misbehave never-ready");
    mProgram->Type("misbehave never-back");
    Settle();
    Exchange(start, kAck);
    Exchange(packet, kAck);
    Exchange(end, kAck);
    Exchange(apply, failed);
    Exchange(apply, kAck);
    EXPECT_EQ(mProgram->LineWith("**").substr(12), " ** restarting, silent for ever");
    mProgram->Type("misbehave never");
    EXPECT_EQ(mProgram->LineWith("error").substr(0, 30), "error: usage: misbehave refuse");
}

TEST_F(ProgramTest, WrongInputIsNamedAndHelpListsEverything) {
    Begin();
    mProgram->Type("foo");
    EXPECT_EQ(mProgram->Line(), "error: unknown command \"foo\"; \"help\" lists all");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"nack", "error: usage: nack CODE [N]"},
        {"nack 256", "error: usage: nack CODE [N]"},
        {"silence -1", "error: usage: silence S"},
        {"silence nan", "error: usage: silence S"},
        {"raw 0", "error: usage: raw HEX"},
        {"raw", "error: usage: raw HEX"},
        {"clock 2025", "error: usage: clock TIME"},
        {"refuse-image maybe", "error: usage: refuse-image on|off"},
        {"commstest 65536", "error: usage: commstest [N]"},
        {"faults 2", "error: usage: faults RATE"},
        {"battery x", "error: usage: battery V"},
    };
    for (const auto& [typed, line] : cases) {
        mProgram->Type(typed);
        EXPECT_EQ(mProgram->Line(), line);
    }
    mProgram->Type("");
    mProgram->Type("help");
    for (const char* name :
         {"heartbeat", "error",    "powerfail", "reset",   "sdcard", "versions", "commstest",    "send",
          "raw",       "nack",     "busy",      "drop",    "late",   "answer",   "faults",       "clean",
          "silence",   "restart",  "period",    "battery", "clock",  "version",  "next-version", "refuse-image",
          "misbehave", "progress", "show",      "help",    "quit"}) {
        EXPECT_EQ(mProgram->Line().substr(0, 3 + std::string(name).size()), std::string("  ") + name + " ");
    }
}

TEST_F(ProgramTest, EndsCleanlyWhenToldTo) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        Begin();
        mProgram->Signal(number);
        EXPECT_EQ(mProgram->End(), 0);
        EXPECT_FALSE(fs::exists(fs::symlink_status(Link())));
        EXPECT_TRUE(mModule->WaitForHangUp());
    }
    Begin();
    mProgram->Type("quit");
    EXPECT_EQ(mProgram->End(), 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status(Link())));
}

TEST_F(ProgramTest, OutlivesItsInputUnlessTold) {
    Begin();
    mProgram->CloseInput();
    Exchange(kWifiUp, kAck);
    Begin({"--exit-on-eof"});
    mProgram->CloseInput();
    EXPECT_EQ(mProgram->End(), 0);
}

TEST_F(ProgramTest, SameSeedDamagesTheSameFrames) {
    const auto run = [this](const std::string& seed) {
        Begin({"--quiet", "--seed", seed, "--corrupt", "0.3", "--fault-direction", "sent"});
        for (int count = 0; count < 40; ++count) {
            mProgram->Type("powerfail");
        }
        EXPECT_TRUE(WaitUntil([this] { return Shown("frames_sent") == "frames_sent: 40"; }));
        return mModule->Read(240);
    };
    const std::string first = run("9");
    EXPECT_EQ(run("9"), first);
    EXPECT_NE(run("10"), first);
}

TEST_F(ProgramTest, MakesImages) {
    const std::string path = (mFolder / "image.bin").string();
    Program maker({"make-image", path, "1000", "--seed", "3"});
    EXPECT_EQ(maker.End(), 0);
    std::ifstream file(path, std::ios::binary);
    const std::vector<uint8_t> content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_EQ(content.size(), 1000U);
    // The CRC-32 over everything, its own four bytes included, is a constant when it is right.
    uint32_t crc = 0xFFFFFFFFU;
    for (const uint8_t byte : content) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
        }
    }
    EXPECT_EQ(crc ^ 0xFFFFFFFFU, 0x2144DF1CU);
    Program failing({"make-image", "/nowhere/image.bin", "10"});
    EXPECT_EQ(failing.Line(), "CarrierSimulator: Cannot open /nowhere/image.bin: No such file or directory");
    EXPECT_EQ(failing.End(), 1);
}

TEST_F(ProgramTest, RefusesWrongOptions) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--drop", "1.5"},
                                                      {"--clock", "today"},
                                                      {"--board-revision", "256"},
                                                      {"--image-check", "md5"},
                                                      {"--no-such-option"},
                                                      {"--link", "a", "--device", "b"}}) {
        Program program(arguments);
        EXPECT_NE(program.End(), 0) << arguments.front();
    }
    Program program({"--device", "/nowhere/tty"});
    EXPECT_EQ(program.Line(), "CarrierSimulator: Cannot open /nowhere/tty: No such file or directory");
    EXPECT_EQ(program.End(), 1);
}

}  // namespace
