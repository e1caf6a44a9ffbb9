// A rotating log of a test's own.
#pragma once

#include <Veltrix/VeltrixErrorLog.h>
#include <gtest/gtest.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/TempFolder.h"

// Puts the machine's root into a folder of its own for the length of a test.
class RootFixture : public testing::Test {
protected:
    RootFixture() { setenv("VELTRIX_ROOT", mRoot.Path().c_str(), 1); }
    ~RootFixture() override {
        VeltrixErrorLog::gRotatingLogger.reset();
        spdlog::drop_all();
        unsetenv("VELTRIX_ROOT");
    }

    std::string Read(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(mRoot / name).rdbuf();
        return text.str();
    }

    TempFolder mRoot;
};

// With the log "Test" in it.
class LogFixture : public RootFixture {
protected:
    LogFixture() { VeltrixErrorLog::initLogger("Test"); }

    std::string Log() const { return Read("Veltrix/log/Test.log"); }

    std::size_t CountInLog(const std::string& text) const {
        const std::string log = Log();
        std::size_t count = 0;
        for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + text.size())) {
            ++count;
        }
        return count;
    }
};
