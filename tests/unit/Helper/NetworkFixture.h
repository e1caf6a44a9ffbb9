#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "Common/Helper/CommonHelperFunctions.h"
#include "tests/unit/Helper/RecordingPopen.h"
#include "tests/unit/ScratchFolder.h"

// A machine whose `ip` and `ifconfig` say what a test wants and write down how they were called. Not every awk knows
// \> as the end of a word; the machine's does, and so does the one here.
class NetworkFixture : public testing::Test {
protected:
    NetworkFixture() {
        mFolder.WriteScript("bin/awk",
                            "case $1 in -*) flag=$1; shift;; esac\n"
                            "program=$(printf '%s' \"$1\" | sed 's/\\\\>/( |$)/')\n"
                            "exec /usr/bin/awk $flag \"$program\"\n");
        TakeCommands();
    }

    // What the tool prints, whatever it is asked.
    void LetPrint(const std::string& tool, const std::string& output) {
        mFolder.Write(tool + ".out", output);
        mFolder.WriteScript("bin/" + tool, "echo \"" + tool + " $*\" >> " + mFolder.Path("calls") + "\ncat " +
                                               mFolder.Path(tool + ".out") + "\n");
    }

    // How the tools were called, a line each.
    std::string Calls() const { return mFolder.Read("calls"); }

    const ScratchFolder mFolder;
    const ScopedVariable mRoot{"VELTRIX_ROOT", mFolder.Path()};
    const ScopedVariable mSearchPath{"PATH", mFolder.Path("bin") + ":" + std::getenv("PATH")};
};
