#include "fuzz/Support/Surroundings.h"

#include "fuzz/Support/Check.h"

#include <Veltrix/VeltrixErrorLog.h>
#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace Fuzz {
namespace {

// Kept before libFuzzer or a harness closes or redirects it.
const int kStandardError = ::dup(STDERR_FILENO);

std::string& RootFolder() {
    static std::string& folder = *new std::string;
    return folder;
}

void MakeRootFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "veltrix-fuzz-XXXXXX").string();
    FUZZ_CHECK(::mkdtemp(pattern.data()) != nullptr);
    RootFolder() = pattern;
    FUZZ_CHECK(::setenv("VELTRIX_ROOT", pattern.c_str(), 1) == 0);
    std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(RootFolder(), ignored);
    });
}

// The waits print a dot at every poll, whatever the verbosity.
void SilenceStandardOutput() {
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    FUZZ_CHECK(nowhere >= 0 && ::dup2(nowhere, STDOUT_FILENO) >= 0);
    ::close(nowhere);
}

}  // namespace

const std::string& Root() {
    return RootFolder();
}

void WriteRootedFile(std::string_view path, std::string_view content) {
    const std::filesystem::path file = Root() + std::string(path);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    FUZZ_CHECK(!stream.fail());
}

void RemoveRooted(std::string_view path) {
    std::error_code ignored;
    std::filesystem::remove_all(Root() + std::string(path), ignored);
}

void Report(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(kStandardError, text.data(), text.size());
        if (written <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void Fail(const char* demand, const char* file, int line) {
    Report(std::string("\nBroken demand: ") + demand + " at " + file + ":" + std::to_string(line) + "\n");
    std::abort();
}

}  // namespace Fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    Fuzz::MakeRootFolder();
    Fuzz::SilenceStandardOutput();
    VeltrixErrorLog::gVerbosity = -1;
    VeltrixErrorLog::gRotatingLogger =
        std::make_shared<spdlog::logger>("fuzz", std::make_shared<spdlog::sinks::null_sink_mt>());
    return 0;
}
