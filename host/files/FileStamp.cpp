#include "host/files/FileStamp.h"

#include "host/terminal/Failure.h"

namespace w64 {

namespace {

struct stat Status(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) throw SystemFailure("cannot look at the file");
    return status;
}

int64_t Nanoseconds(const timespec& time) { return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec; }

#ifdef __APPLE__
const timespec& LastWrite(const struct stat& status) { return status.st_mtimespec; }
const timespec& LastChange(const struct stat& status) { return status.st_ctimespec; }
#else
const timespec& LastWrite(const struct stat& status) { return status.st_mtim; }
const timespec& LastChange(const struct stat& status) { return status.st_ctim; }
#endif

}  // namespace

FileStamp::FileStamp(int descriptor) : FileStamp(Status(descriptor)) {}

FileStamp::FileStamp(const struct stat& status)
    : device_(status.st_dev), inode_(status.st_ino), size_(status.st_size),
      written_(Nanoseconds(LastWrite(status))), changed_(Nanoseconds(LastChange(status))) {}

bool FileStamp::StillHolds(const std::filesystem::path& path) const {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && FileStamp(status) == *this;
}

}  // namespace w64
