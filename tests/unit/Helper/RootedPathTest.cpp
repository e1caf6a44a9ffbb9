// Where the process's own files lie, and how their paths are shown.
#include "Common/Helper/RootedPath.h"

#include <gtest/gtest.h>

#include "tests/unit/ScratchFolder.h"

namespace {

TEST(RootedPathTest, WithoutAPrefixPathsAreWhatTheySay) {
    const ScopedVariable root("VELTRIX_ROOT", "");
    EXPECT_EQ(RootedPath("/Veltrix/a"), "/Veltrix/a");
    EXPECT_EQ(DisplayPath("/Veltrix/a"), "/Veltrix/a");
    EXPECT_EQ(DisplayPath(""), "");
}

TEST(RootedPathTest, APrefixIsPutInFrontAndNotShown) {
    for (const char* const value : {"/some/place", "/some/place/", "/some/place//"}) {
        const ScopedVariable root("VELTRIX_ROOT", value);
        EXPECT_EQ(RootedPath("/Veltrix/a"), "/some/place/Veltrix/a");
        EXPECT_EQ(DisplayPath("/some/place/Veltrix/a"), "/Veltrix/a");
    }
}

TEST(RootedPathTest, PathsThatDoNotLieBelowThePrefixAreShownInFull) {
    const ScopedVariable root("VELTRIX_ROOT", "/some/place");
    for (const char* const path : {"/Veltrix/a", "/some/placebo/a", "/some/place", "/some", "a", ""}) {
        EXPECT_EQ(DisplayPath(path), path);
    }
}

TEST(RootedPathTest, TheRootFolderAsThePrefixChangesNothing) {
    const ScopedVariable root("VELTRIX_ROOT", "/");
    EXPECT_EQ(RootedPath("/Veltrix/a"), "/Veltrix/a");
    EXPECT_EQ(DisplayPath("/Veltrix/a"), "/Veltrix/a");
}

}  // namespace
