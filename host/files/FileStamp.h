#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <sys/stat.h>

namespace w64 {

// Which file it is and when it was last changed. Detects that a program that ignores locks has replaced or
// changed it.
class FileStamp {
public:
    // Of an open file. Errors: Failure.
    explicit FileStamp(int descriptor);

    // Whether the path still leads to this file and it has not been changed since.
    bool StillHolds(const std::filesystem::path& path) const;

private:
    explicit FileStamp(const struct stat& status);
    bool operator==(const FileStamp&) const = default;

    dev_t device_;
    ino_t inode_;
    int64_t size_;
    int64_t written_;  // nanoseconds
    int64_t changed_;  // nanoseconds; moves even when the time of the last write is set back
};

}  // namespace w64
