// The rotating log of a process under test.
#pragma once

#include <string>
#include <vector>

#include "tests/e2e/Harness/LineSource.h"

// Lines are "[level] text", without the time and the logger's name; continuation lines of a message stand alone.
class HalLogFile : public LineSource {
public:
    // `path` is that of the newest file; the older ones lie beside it.
    explicit HalLogFile(std::string path) : LineSource("log"), mPath(std::move(path)) {}

    std::vector<std::string> Lines() const override;

    // All of it, as it stands in the files.
    std::string Text() const;

private:
    std::string mPath;
};
