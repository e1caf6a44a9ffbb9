#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "tests/libVeltrix/LogFixture.h"

namespace {

namespace fs = std::filesystem;

// Runs before main, perhaps before the library's own dynamic initialisation.
struct EarlyUser {
    bool wasNull = VeltrixErrorLog::gRotatingLogger == nullptr;
    int verbosity = VeltrixErrorLog::gVerbosity;
};
const EarlyUser sEarly;

class ErrorLog : public RootFixture {};

TEST_F(ErrorLog, CanBeAskedForBeforeMain) {
    EXPECT_TRUE(sEarly.wasNull);
    EXPECT_EQ(sEarly.verbosity, 0);
}

TEST_F(ErrorLog, LiesBelowTheRootAndMissingFoldersAreMade) {
    VeltrixErrorLog::initLogger("HAL");
    ASSERT_NE(VeltrixErrorLog::gRotatingLogger, nullptr);
    EXPECT_TRUE(fs::is_regular_file(mRoot / "Veltrix/log/HAL.log"));
    EXPECT_EQ(spdlog::get("HAL"), VeltrixErrorLog::gRotatingLogger);
}

TEST_F(ErrorLog, EveryMessageIsInTheFileAtOnce) {
    VeltrixErrorLog::initLogger("HAL");
    ASSERT_NE(VeltrixErrorLog::gRotatingLogger, nullptr);
    VeltrixErrorLog::gRotatingLogger->info("number {}", 1);
    EXPECT_NE(Read("Veltrix/log/HAL.log").find("number 1\n"), std::string::npos);
    VeltrixErrorLog::gRotatingLogger->critical("number {}", 2);
    EXPECT_NE(Read("Veltrix/log/HAL.log").find("number 2\n"), std::string::npos);
}

TEST_F(ErrorLog, RotatesAtOneMebibyteAndKeepsThreeOldFiles) {
    VeltrixErrorLog::initLogger("HAL");
    ASSERT_NE(VeltrixErrorLog::gRotatingLogger, nullptr);
    const std::string line(64 * 1024, 'x');
    for (int i = 0; i < 16 * 6; ++i) {
        VeltrixErrorLog::gRotatingLogger->info(line);
    }
    for (const char* const name : {"HAL.log", "HAL.1.log", "HAL.2.log", "HAL.3.log"}) {
        const std::string path = mRoot / ("Veltrix/log/" + std::string(name));
        ASSERT_TRUE(fs::exists(path)) << name;
        EXPECT_LE(fs::file_size(path), 1024U * 1024U) << name;
    }
    EXPECT_GT(fs::file_size(mRoot / "Veltrix/log/HAL.1.log"), 900U * 1024U);
    EXPECT_FALSE(fs::exists(mRoot / "Veltrix/log/HAL.4.log"));
}

TEST_F(ErrorLog, StaysNullWhereTheFolderCannotBeMade) {
    std::ofstream(mRoot / "Veltrix") << "a file in the folder's place";
    VeltrixErrorLog::initLogger("HAL");
    EXPECT_EQ(VeltrixErrorLog::gRotatingLogger, nullptr);
}

TEST_F(ErrorLog, StaysNullWhereTheFileCannotBeMade) {
    fs::create_directories(mRoot / "Veltrix/log/HAL.log");
    VeltrixErrorLog::initLogger("HAL");
    EXPECT_EQ(VeltrixErrorLog::gRotatingLogger, nullptr);
}

TEST_F(ErrorLog, WhatCannotBeWrittenIsToldWithoutTheRootAndNotEachTime) {
    fs::create_directories(mRoot / "Veltrix/log");
    fs::create_symlink("/dev/full", mRoot / "Veltrix/log/HAL.log");
    VeltrixErrorLog::initLogger("HAL");
    ASSERT_NE(VeltrixErrorLog::gRotatingLogger, nullptr);
    const auto start = std::chrono::steady_clock::now();
    testing::internal::CaptureStderr();
    for (int i = 0; i < 100; ++i) {
        VeltrixErrorLog::gRotatingLogger->info("number {}", i);
    }
    const std::string told = testing::internal::GetCapturedStderr();
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();

    const std::string line =
        "Could not write to the log: Failed flush to file /Veltrix/log/HAL.log: No space left on device\n";
    ASSERT_EQ(told.substr(0, line.size()), line);
    EXPECT_EQ(told.size() % line.size(), 0U) << told;
    EXPECT_LE(told.size() / line.size(), static_cast<std::size_t>(seconds)) << "more than one a second";
}

TEST_F(ErrorLog, ThreadsMayLogWhileTheProcessEnds) {
    testing::FLAGS_gtest_death_test_style = "fast";
    EXPECT_EXIT(
        {
            VeltrixErrorLog::initLogger("HAL");
            for (int i = 0; i < 4; ++i) {
                std::thread([] {
                    for (;;) {
                        VeltrixErrorLog::gRotatingLogger->info("still here");
                    }
                }).detach();
            }
            VeltrixErrorLog::gRotatingLogger->flush();
            spdlog::drop("HAL");
            std::exit(0);  // this is what is tested
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
