// What is on the disk whenever power fails during a file's replacement.
#include "Common/Helper/FileContent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "tests/unit/DiskCalls.h"
#include "tests/unit/ScratchFolder.h"

namespace {

using testing::ElementsAre;

class FileReplacementTest : public testing::Test {
protected:
    FileReplacementTest() { mFolder.Write("file", "old"); }

    const ScratchFolder mFolder;
    const std::string mPath = std::filesystem::canonical(mFolder.Path());
    DiskCalls mDisk;
};

TEST_F(FileReplacementTest, TheNewContentIsOnTheDiskBeforeItTakesTheOldOnesPlaceAndTheFolderThereafter) {
    EXPECT_EQ(ReplaceFile(mPath + "/file", "new"), 0);
    EXPECT_THAT(mDisk.Calls(), ElementsAre("fsync " + mPath + "/file.new",
                                           "rename " + mPath + "/file.new " + mPath + "/file", "fsync " + mPath));
    EXPECT_EQ(mFolder.Read("file"), "new");
}

TEST_F(FileReplacementTest, ContentThatDoesNotReachTheDiskReplacesNothing) {
    mDisk.LetSyncFail(EIO);
    EXPECT_EQ(ReplaceFile(mPath + "/file", "new"), EIO);
    EXPECT_THAT(mDisk.Calls(), ElementsAre("fsync " + mPath + "/file.new"));
    EXPECT_EQ(mFolder.Read("file"), "old");
    EXPECT_FALSE(mFolder.Exists("file.new"));
}

}  // namespace
