// What a test of files and commands needs: a folder with files to write and read, and environment variables.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/TempFolder.h"

class ScratchFolder : public TempFolder {
public:
    ScratchFolder() {}  // NOLINT(modernize-use-equals-default): constant objects need one that is written out

    using TempFolder::Path;
    std::string Path(const std::string& name) const { return *this / name; }

    // Writes a file, with the folders that it needs, and returns its path.
    std::string Write(const std::string& name, const std::string& content) const {
        const std::filesystem::path path = Path(name);
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
        return path.string();
    }

    std::string WriteScript(const std::string& name, const std::string& content) const {
        const std::string path = Write(name, "#!/bin/sh\n" + content);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }

    std::string Read(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    bool Exists(const std::string& name) const { return std::filesystem::exists(Path(name)); }
};

// An environment variable's value for the time of a test.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const std::string& value) : mName(name) {
        const char* const before = std::getenv(name);
        mWasSet = before != nullptr;
        mBefore = mWasSet ? before : "";
        ::setenv(name, value.c_str(), 1);
    }
    ~ScopedVariable() {
        if (mWasSet) {
            ::setenv(mName, mBefore.c_str(), 1);
        } else {
            ::unsetenv(mName);
        }
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* mName;
    bool mWasSet = false;
    std::string mBefore;
};
