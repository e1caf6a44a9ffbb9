// One file on disk, opened, used and closed within one operation of its user.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class DiskFile {
public:
    DiskFile() = default;
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;
    ~DiskFile();

    // Open; false with errno set. None blocks on what is no plain file, and none is inherited by child processes. The
    // writing ones make the file, not its folder.
    bool OpenForReading(const std::string& path);
    bool OpenForAppending(const std::string& path);
    bool OpenForReplacing(const std::string& path);

    // Reads up to `size` bytes into the caller's buffer; less at the end of the file or where reading failed.
    std::size_t Read(std::uint8_t* buffer, std::size_t size);

    // Writes it all, both pieces with one call where the disk takes it whole. 0 or a positive errno.
    int Write(std::string_view content, std::string_view more = {});

    // Brings to the disk what was written. 0 or a positive errno.
    int Sync();

    // Closes before the destructor does, for whoever wants to know: 0 or a positive errno.
    int Close();

    // The size that the file system reports, at most what 32 bits hold; 0 where the file cannot be examined.
    static std::uint32_t Size(const std::string& path);

    // Deletes a file. 0 or a positive errno.
    static int Remove(const std::string& path);

private:
    bool Open(const std::string& path, int flags);

    int mDescriptor = -1;
};
