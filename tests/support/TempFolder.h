// A folder that lives as long as a test.
#pragma once

#include <string>

// New and empty, removed at the end with everything in it. Below TMPDIR when that leaves room for the path of a
// Unix-domain socket (107 bytes), else below /tmp. Throws std::runtime_error when it cannot be made.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    // Absolute, without a trailing slash.
    const std::string& Path() const { return mPath; }
    // The path of something in it; a leading slash of `name` is not needed.
    std::string operator/(const std::string& name) const { return mPath + "/" + name; }

private:
    std::string mPath;
};
