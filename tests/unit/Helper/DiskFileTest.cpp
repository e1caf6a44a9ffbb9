// A disk that takes what is written to it bit by bit.
#include "Common/Helper/DiskFile.h"

#include <gtest/gtest.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/unit/ScratchFolder.h"

namespace {

constexpr std::size_t kNoLimit = SIZE_MAX;
std::size_t sBytesPerCall = kNoLimit;
int sCalls = 0;
bool sIsInterrupted = false;

}  // namespace

// The linker sends the program's calls here.
extern "C" {
ssize_t RealWriteV(int descriptor, const iovec* pieces, int count) asm("__real_writev");
ssize_t WriteVCut(int descriptor, const iovec* pieces, int count) asm("__wrap_writev");
}

ssize_t WriteVCut(int descriptor, const iovec* pieces, int count) {
    ++sCalls;
    if (sIsInterrupted && sCalls % 2 == 1) {
        errno = EINTR;
        return -1;
    }
    std::array<iovec, 2> some{};
    std::size_t left = sBytesPerCall;
    for (int i = 0; i < count; ++i) {
        auto& piece = some.at(static_cast<std::size_t>(i));
        piece = pieces[i];
        piece.iov_len = std::min(piece.iov_len, left);
        left -= piece.iov_len;
    }
    return RealWriteV(descriptor, some.data(), count);
}

namespace {

class DiskFileTest : public testing::Test {
protected:
    DiskFileTest() {
        sCalls = 0;
        EXPECT_TRUE(mFile.OpenForAppending(mFolder.Path("file")));
    }
    ~DiskFileTest() override {
        sBytesPerCall = kNoLimit;
        sIsInterrupted = false;
    }

    const ScratchFolder mFolder;
    DiskFile mFile;
};

TEST_F(DiskFileTest, TwoPiecesAreWrittenWithOneCall) {
    EXPECT_EQ(mFile.Write("first ", "second"), 0);
    EXPECT_EQ(mFolder.Read("file"), "first second");
    EXPECT_EQ(sCalls, 1);
}

TEST_F(DiskFileTest, NothingIsWrittenWithoutACall) {
    EXPECT_EQ(mFile.Write("", ""), 0);
    EXPECT_EQ(sCalls, 0);
}

TEST_F(DiskFileTest, EveryPieceArrivesWholeHoweverLittleIsTakenAtOnce) {
    for (std::size_t bytes = 1; bytes <= 13; ++bytes) {
        SCOPED_TRACE(bytes);
        sBytesPerCall = bytes;
        EXPECT_EQ(mFile.Write("first ", "second"), 0);
        EXPECT_EQ(mFile.Write("alone"), 0);
        EXPECT_EQ(mFile.Write("", "behind"), 0);
    }
    std::string expected;
    for (int i = 0; i < 13; ++i) {
        expected += "first secondalonebehind";
    }
    EXPECT_EQ(mFolder.Read("file"), expected);
}

TEST_F(DiskFileTest, ASignalIsNoFailure) {
    sIsInterrupted = true;
    sBytesPerCall = 5;
    EXPECT_EQ(mFile.Write("first ", "second"), 0);
    EXPECT_EQ(mFolder.Read("file"), "first second");
    EXPECT_EQ(sCalls, 6);
}

TEST_F(DiskFileTest, ADiskThatTakesNothingIsAFailure) {
    sBytesPerCall = 0;
    EXPECT_EQ(mFile.Write("first ", "second"), EIO);
    EXPECT_EQ(sCalls, 1);
}

TEST_F(DiskFileTest, WhatTheSystemSaysIsTheFailure) {
    DiskFile full;
    ASSERT_TRUE(full.OpenForReplacing("/dev/full"));
    EXPECT_EQ(full.Write("first ", "second"), ENOSPC);
}

}  // namespace
