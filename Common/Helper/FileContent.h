// Whole small files, read and replaced.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// The content of a file as far as it can be read, or nothing when it cannot be opened. Never blocks on what is no
// plain file.
std::optional<std::string> ReadFile(const std::string& path);

// Replaces a file's content so that, whenever power fails, the file holds the old or the new content and never half of
// one: written beside it, flushed to the disk, then renamed. Returns 0 or a positive errno; then the file is as before.
int ReplaceFile(const std::string& path, std::string_view content);
