// The part of a computer that one machine under test may touch.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"

// A folder that stands in for "/" (VELTRIX_ROOT), a `shutdown` that only records how it was called, and a clock that
// only records how it was set. The process under test is started with Environment() and nothing else.
//
// Throws std::runtime_error where something of it cannot be made.
class Sandbox {
public:
    Sandbox();

    // The folder that stands in for "/".
    const std::string& Root() const { return mRoot; }
    // Where one of the machine's own absolute paths really lies: Path("/Veltrix/settings.json").
    std::string Path(const std::string& absolutePath) const { return mRoot + absolutePath; }

    // With the folders that it needs.
    void Write(const std::string& absolutePath, const std::string& content) const;
    // Empty when there is no such file.
    std::string Read(const std::string& absolutePath) const;
    bool Exists(const std::string& absolutePath) const;

    // For additions and changes; VELTRIX_ROOT, PATH and LD_PRELOAD are not open to them.
    void SetVariable(const std::string& name, const std::string& value) { mVariables[name] = value; }
    // One more library to preload, behind the clock guard.
    void Preload(const std::string& library) { mLibraries += ":" + library; }

    // "NAME=value" for each variable: this process's own, with the root, the stub and the guard put in. Throws when the
    // stub or the guard is not where it should be: without them a test could restart this computer or set its clock.
    std::vector<std::string> Environment() const;

    // Each call of `shutdown`, its arguments separated by blanks.
    std::vector<std::string> Shutdowns() const;

    // Waits for the one restart that was asked for, with these arguments: it runs in the background, and whoever asked
    // may have ended before it is recorded.
    void AwaitShutdown(const std::string& arguments) const;
    // Each setting of the clock that was asked for: "seconds.nanoseconds", with nine decimals.
    std::vector<std::string> ClockSettings() const;

    std::string StubPath() const { return mFolder / "bin/shutdown"; }

private:
    void WriteStub() const;

    TempFolder mFolder;
    std::string mRoot;
    std::map<std::string, std::string> mVariables;
    std::string mLibraries;
};
