#include "tests/e2e/Harness/Sandbox.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "tests/e2e/Harness/BuiltFiles.h"
#include "tests/support/WaitUntil.h"

namespace {

constexpr const char* kClockLog = "clock.log";
constexpr const char* kShutdownLog = "shutdown.log";
constexpr std::chrono::seconds kShutdownLimit{20};

void WriteFile(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Sanitizers look at the order of libraries; the guard replaces nothing of theirs.
std::string SanitizerOptions(const std::string& given) {
    return (given.empty() ? "" : given + ":") + "verify_asan_link_order=0";
}

}  // namespace

Sandbox::Sandbox() : mRoot(mFolder / "root") {
    for (const char* const folder : {"/Veltrix", "/var", "/dev"}) {
        std::filesystem::create_directories(Path(folder));
    }
    WriteStub();
}

void Sandbox::WriteStub() const {
    // The lines of several calls never mix: each is one short write at the file's end.
    WriteFile(StubPath(), "#!/bin/sh\nprintf '%s\\n' \"$*\" >> '" + mFolder / kShutdownLog + "'\n");
    std::filesystem::permissions(StubPath(), std::filesystem::perms::owner_all);
}

void Sandbox::Write(const std::string& absolutePath, const std::string& content) const {
    WriteFile(Path(absolutePath), content);
}

std::string Sandbox::Read(const std::string& absolutePath) const {
    return ReadFile(Path(absolutePath));
}

bool Sandbox::Exists(const std::string& absolutePath) const {
    return std::filesystem::exists(Path(absolutePath));
}

std::vector<std::string> Sandbox::Environment() const {
    if (!std::filesystem::is_regular_file(StubPath()) || access(StubPath().c_str(), X_OK) != 0) {
        throw std::runtime_error("no recording shutdown at " + StubPath() + ": this computer could be restarted");
    }
    if (access(kClockGuardLibrary, R_OK) != 0) {
        throw std::runtime_error(std::string("no ") + kClockGuardLibrary + ": this computer's clock could be set");
    }
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::size_t at = text.find('=');
        variables[text.substr(0, at)] = at == std::string::npos ? "" : text.substr(at + 1);
    }
    for (const auto& [name, value] : mVariables) {
        variables[name] = value;
    }
    variables["VELTRIX_ROOT"] = mRoot;
    variables["VELTRIX_CLOCK_GUARD_LOG"] = mFolder / kClockLog;
    variables["PATH"] = (mFolder / "bin") + ":" + variables["PATH"];
    variables["LD_PRELOAD"] = kClockGuardLibrary + mLibraries;
    variables["ASAN_OPTIONS"] = SanitizerOptions(variables["ASAN_OPTIONS"]);
    std::vector<std::string> environment;
    for (const auto& [name, value] : variables) {
        environment.push_back(name + "=" + value);
    }
    return environment;
}

std::vector<std::string> Sandbox::Shutdowns() const {
    return Lines(ReadFile(mFolder / kShutdownLog));
}

void Sandbox::AwaitShutdown(const std::string& arguments) const {
    std::vector<std::string> calls;
    WaitUntil(
        [&] {
            calls = Shutdowns();
            return !calls.empty();
        },
        kShutdownLimit);
    if (calls != std::vector<std::string>{arguments}) {
        throw std::runtime_error("asked for " + std::to_string(calls.size()) + " restarts, the last with \"" +
                                 (calls.empty() ? "" : calls.back()) + "\"");
    }
}

std::vector<std::string> Sandbox::ClockSettings() const {
    return Lines(ReadFile(mFolder / kClockLog));
}
