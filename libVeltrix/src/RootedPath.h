// Where this library's own absolute paths lie: below the folder that VELTRIX_ROOT names, if it is set and not empty.
//
// The library's own: it includes nothing of the folders that are built on it. Any thread.
#pragma once

#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>

namespace VeltrixDetail {

// The folder without a trailing slash; empty for none.
inline std::string PathRoot() {
    const char* const value = std::getenv("VELTRIX_ROOT");
    std::string root = value == nullptr ? "" : value;
    root.erase(root.find_last_not_of('/') + 1);
    return root;
}

inline std::string RootedPath(std::string_view absolutePath) {
    return PathRoot().append(absolutePath);
}

// A text that names such paths as messages show it: without the folder, so that logs of several machines compare.
inline std::string DisplayText(std::string text) {
    const std::string root = PathRoot();
    const auto isPartOfPath = [](char character) {
        return std::isalnum(static_cast<unsigned char>(character)) != 0 ||
               std::string_view("/._-").find(character) != std::string_view::npos;
    };
    for (std::size_t at = 0; !root.empty() && (at = text.find(root + "/", at)) != std::string::npos; ++at) {
        if (at == 0 || !isPartOfPath(text[at - 1])) {
            text.erase(at, root.size());
        }
    }
    return text;
}

}  // namespace VeltrixDetail
