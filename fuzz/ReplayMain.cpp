// Runs every file of a corpus folder through a fuzzing harness, under any compiler: each file is a regression test.
//
//     Replay<Target> [--seconds N] <file or folder>...
//
// Status 0 when every file passed, 1 when there was no file or one could not be read, 2 when a file took longer than N
// seconds (60 by default); a broken demand or a sanitizer ends the program on its own.
#include "fuzz/Support/Surroundings.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::array<char, 512> sRunning{};

// Only calls that a signal handler may make.
extern "C" void GiveUp(int /*signal*/) {
    constexpr char kText[] = "A hang: the time for one file ran out at ";
    static_cast<void>(!::write(STDERR_FILENO, kText, sizeof kText - 1));
    static_cast<void>(!::write(STDERR_FILENO, sRunning.data(), ::strnlen(sRunning.data(), sRunning.size())));
    static_cast<void>(!::write(STDERR_FILENO, "\n", 1));
    ::_exit(2);
}

std::vector<std::string> FilesOf(const std::string& argument) {
    if (!std::filesystem::is_directory(argument)) {
        return {argument};
    }
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(argument)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool RunFile(const std::string& name, unsigned int seconds) {
    std::ifstream stream(name, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream.is_open() || stream.bad()) {
        Fuzz::Report("Cannot read " + name + "\n");
        return false;
    }
    name.copy(sRunning.data(), sRunning.size() - 1);
    sRunning[std::min(name.size(), sRunning.size() - 1)] = '\0';
    // A block of just this size, so that reading beyond it shows.
    std::vector<std::uint8_t> bytes(content.begin(), content.end());
    ::alarm(seconds);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    ::alarm(0);
    return true;
}

int Run(const std::vector<std::string>& arguments) {
    unsigned int seconds = 60;
    std::vector<std::string> files;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (*argument == "--seconds" && std::next(argument) != arguments.end()) {
            ++argument;
            std::from_chars(argument->data(), argument->data() + argument->size(), seconds);
            continue;
        }
        const auto found = FilesOf(*argument);
        files.insert(files.end(), found.begin(), found.end());
    }
    if (files.empty()) {
        Fuzz::Report("no corpus files\n");
        return 1;
    }
    if (std::signal(SIGALRM, &GiveUp) == SIG_ERR || LLVMFuzzerInitialize(nullptr, nullptr) != 0) {
        return 1;
    }
    bool isGood = true;
    for (const std::string& file : files) {
        isGood = RunFile(file, seconds) && isGood;
    }
    Fuzz::Report(std::to_string(files.size()) + " corpus files replayed\n");
    return isGood ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Run({argv + 1, argv + argc});
    } catch (const std::exception& exception) {
        Fuzz::Report(std::string("Replay failed: ") + exception.what() + "\n");
        return 1;
    }
}
