// Where the library's own files lie, and how texts show them.
#include "libVeltrix/src/RootedPath.h"

#include <gtest/gtest.h>

#include "tests/unit/ScratchFolder.h"

namespace {

using VeltrixDetail::DisplayText;
using VeltrixDetail::RootedPath;

TEST(LibraryPathTest, LieBelowTheFolderIfThereIsOne) {
    const ScopedVariable none("VELTRIX_ROOT", "");
    EXPECT_EQ(RootedPath("/Veltrix/log/HAL.log"), "/Veltrix/log/HAL.log");
    for (const char* const value : {"/some/place", "/some/place/", "/some/place//"}) {
        const ScopedVariable root("VELTRIX_ROOT", value);
        EXPECT_EQ(RootedPath("/Veltrix/log/HAL.log"), "/some/place/Veltrix/log/HAL.log");
    }
    const ScopedVariable top("VELTRIX_ROOT", "/");
    EXPECT_EQ(RootedPath("/Veltrix/log/HAL.log"), "/Veltrix/log/HAL.log");
}

TEST(LibraryPathTest, AreShownInTextsWithoutTheFolder) {
    const ScopedVariable root("VELTRIX_ROOT", "/some/place/");
    EXPECT_EQ(DisplayText("from /some/place/Veltrix/a to /some/place/Veltrix/b: failed"),
              "from /Veltrix/a to /Veltrix/b: failed");
    EXPECT_EQ(DisplayText("/some/placebo/a"), "/some/placebo/a");
    EXPECT_EQ(DisplayText(""), "");
    EXPECT_EQ(DisplayText("bus at /var/some/place/bus, ./some/place/bus"),
              "bus at /var/some/place/bus, ./some/place/bus");
    EXPECT_EQ(DisplayText("\"/some/place/some/place/bus\""), "\"/some/place/bus\"");
    const ScopedVariable none("VELTRIX_ROOT", "");
    EXPECT_EQ(DisplayText("/some/place/Veltrix/a"), "/some/place/Veltrix/a");
}

}  // namespace
