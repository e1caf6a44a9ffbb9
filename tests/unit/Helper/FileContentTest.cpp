// Whole files, read and replaced.
#include "Common/Helper/FileContent.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>

#include "Common/Helper/ErrorText.h"
#include "tests/unit/ScratchFolder.h"

namespace {

class FileContentTest : public testing::Test {
protected:
    const ScratchFolder mFolder;
};

TEST_F(FileContentTest, AWholeFileIsReadWhateverItsSize) {
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 8192U, 100000U}) {
        std::string content(size, 'x');
        if (size > 2) {
            content[size / 2] = '\0';
            content.back() = '\xFF';
        }
        EXPECT_EQ(ReadFile(mFolder.Write("file", content)), std::optional(content)) << size;
    }
}

TEST_F(FileContentTest, WhatCannotBeOpenedHasNoContent) {
    EXPECT_EQ(ReadFile(mFolder.Path("none")), std::nullopt);
}

TEST_F(FileContentTest, WhatCannotBeReadIsEmpty) {
    EXPECT_EQ(ReadFile(mFolder.Path()), std::optional<std::string>(""));
}

TEST_F(FileContentTest, APipeWithoutAWriterDoesNotBlock) {
    ASSERT_EQ(::mkfifo(mFolder.Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(ReadFile(mFolder.Path("pipe")), std::optional<std::string>(""));
}

TEST_F(FileContentTest, AFileIsMadeAndReplacedWithNothingLeftBeside) {
    EXPECT_EQ(ReplaceFile(mFolder.Path("file"), "a long first content"), 0);
    EXPECT_EQ(mFolder.Read("file"), "a long first content");
    EXPECT_EQ(ReplaceFile(mFolder.Path("file"), "short"), 0);
    EXPECT_EQ(mFolder.Read("file"), "short");
    EXPECT_FALSE(mFolder.Exists("file.new"));
}

TEST_F(FileContentTest, WhatAnInterruptedReplacementLeftBehindIsOverwritten) {
    mFolder.Write("file", "old");
    mFolder.Write("file.new", "half of a much longer text");
    EXPECT_EQ(ReplaceFile(mFolder.Path("file"), "short"), 0);
    EXPECT_EQ(mFolder.Read("file"), "short");
    EXPECT_FALSE(mFolder.Exists("file.new"));
}

TEST_F(FileContentTest, AFolderThatIsMissingIsNotMade) {
    EXPECT_EQ(ReplaceFile(mFolder.Path("none/file"), "text"), ENOENT);
    EXPECT_FALSE(mFolder.Exists("none"));
}

TEST_F(FileContentTest, WhatCannotBeReplacedStaysWithNothingLeftBeside) {
    mFolder.Write("place/file", "kept");
    EXPECT_EQ(ReplaceFile(mFolder.Path("place"), "text"), EISDIR);
    EXPECT_EQ(mFolder.Read("place/file"), "kept");
    EXPECT_FALSE(mFolder.Exists("place.new"));
}

TEST_F(FileContentTest, ErrorsHaveTheSystemsWords) {
    EXPECT_EQ(ErrorText(ENOENT), "No such file or directory");
    EXPECT_EQ(ErrorText(ECONNREFUSED), "Connection refused");
}

}  // namespace
