// Where this process's own absolute paths lie on this computer.
//
// With VELTRIX_ROOT set and not empty, "/Veltrix/settings.json" lies at "$VELTRIX_ROOT/Veltrix/settings.json", so
// that several machines run side by side on a developer's computer; otherwise it lies where it says. Any thread; the
// environment is read at each call.
#pragma once

#include <cstdlib>
#include <string>
#include <string_view>

// The prefix, without a trailing slash; empty for none.
inline std::string PathRoot() {
    const char* const value = std::getenv("VELTRIX_ROOT");  // nothing sets it
    std::string root = value == nullptr ? "" : value;
    while (!root.empty() && root.back() == '/') {
        root.pop_back();
    }
    return root;
}

// The place of one of the process's own absolute paths. Paths that came from outside are used as they were given.
inline std::string RootedPath(std::string_view absolutePath) {
    return PathRoot().append(absolutePath);
}

// A path as messages show it: without the prefix, if it stands below it.
inline std::string DisplayPath(std::string_view path) {
    const std::string root = PathRoot();
    if (!root.empty() && path.size() > root.size() && path.substr(0, root.size()) == root && path[root.size()] == '/') {
        path.remove_prefix(root.size());
    }
    return std::string(path);
}
