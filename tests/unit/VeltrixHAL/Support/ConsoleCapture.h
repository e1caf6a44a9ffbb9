// Keeps what the process writes to its standard output, or its standard error, while the object is alive. GoogleTest
// speaks there too: after a failure everything is shown when the object goes.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <string>

class ConsoleCapture {
public:
    explicit ConsoleCapture(int descriptor = STDOUT_FILENO)
        : mDescriptor(descriptor), mBefore(::dup(descriptor)), mFile(::memfd_create("console", MFD_CLOEXEC)) {
        std::fflush(nullptr);
        if (mBefore < 0 || mFile < 0 || ::dup2(mFile, descriptor) < 0) {
            throw std::runtime_error("cannot redirect the console");
        }
    }
    ~ConsoleCapture() {
        std::fflush(nullptr);
        ::dup2(mBefore, mDescriptor);
        if (testing::Test::HasFailure()) {
            mTaken = 0;
            std::fputs(Take().c_str(), mDescriptor == STDERR_FILENO ? stderr : stdout);
            std::fflush(nullptr);
        }
        ::close(mBefore);
        ::close(mFile);
    }
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    // What was written since the last call. The writing threads must be at rest.
    std::string Take() {
        std::fflush(nullptr);
        std::string text;
        char piece[4096];
        for (ssize_t count = 0; (count = ::pread(mFile, piece, sizeof piece, mTaken)) > 0; mTaken += count) {
            text.append(piece, static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    const int mDescriptor;
    const int mBefore;
    const int mFile;
    off_t mTaken = 0;
};
