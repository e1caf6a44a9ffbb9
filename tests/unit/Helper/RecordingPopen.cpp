#include "tests/unit/Helper/RecordingPopen.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace {

std::vector<std::string>& Commands() {
    static auto& commands = *new std::vector<std::string>;
    return commands;
}

bool sFails = false;

}  // namespace

std::vector<std::string> TakeCommands() {
    return std::exchange(Commands(), {});
}

void LetPopenFail(bool fails) {
    sFails = fails;
}

extern "C" std::FILE* popen(const char* command, const char* mode) {
    using Operation = std::FILE* (*)(const char*, const char*);
    static const auto systems = reinterpret_cast<Operation>(::dlsym(RTLD_NEXT, "popen"));
    Commands().emplace_back(command);
    if (sFails) {
        errno = EMFILE;
        return nullptr;
    }
    return systems(command, mode);
}
