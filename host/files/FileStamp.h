#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <sys/stat.h>

namespace w64 {

// Which file it is and when it was last changed: what tells that a program that does not look at locks has
// replaced or changed it.
class FileStamp {
public:
    // Of an open file. Errors: Failure.
    explicit FileStamp(int descriptor);

    // Whether this very file is what the path leads to, and nobody has changed it since.
    bool StillHolds(const std::filesystem::path& path) const;

private:
    explicit FileStamp(const struct stat& status);
    bool operator==(const FileStamp&) const = default;

    dev_t device_;
    ino_t inode_;
    int64_t size_;
    int64_t written_;  // nanoseconds
    int64_t changed_;  // so too, and also when somebody has set the time of the last write back
};

}  // namespace w64
