#include "Common/Helper/FileContent.h"

#include "Common/Helper/DiskFile.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>

namespace {

int WriteBeside(const std::string& path, std::string_view content) {
    DiskFile file;
    if (!file.OpenForReplacing(path)) {
        return errno;
    }
    int error = file.Write(content);
    if (error == 0) {
        error = file.Sync();
    }
    const int closing = file.Close();
    return error == 0 ? closing : error;
}

// Makes a rename in the folder last; where that cannot be done the rename stands all the same.
void SyncFolderOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (DiskFile folder; folder.OpenForReading(slash == std::string::npos ? "." : path.substr(0, slash + 1))) {
        static_cast<void>(folder.Sync());
    }
}

}  // namespace

std::optional<std::string> ReadFile(const std::string& path) {
    DiskFile file;
    if (!file.OpenForReading(path)) {
        return std::nullopt;
    }
    std::string content;
    std::array<std::uint8_t, 4096> block{};
    std::size_t count = 0;
    do {
        count = file.Read(block.data(), block.size());
        content.append(reinterpret_cast<const char*>(block.data()), count);
    } while (count == block.size());
    return content;
}

int ReplaceFile(const std::string& path, std::string_view content) {
    const std::string beside = path + ".new";
    int error = WriteBeside(beside, content);
    if (error == 0 && std::rename(beside.c_str(), path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        static_cast<void>(DiskFile::Remove(beside));
        return error;
    }
    SyncFolderOf(path);
    return 0;
}
