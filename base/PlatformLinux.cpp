#include "base/Platform.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/fs.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace w64 {

namespace {

int64_t CopyThroughMemory(int from, int to, int64_t offset, int64_t bytes) {
    std::vector<char> block(static_cast<size_t>(std::min<int64_t>(bytes, 1 << 20)));
    const ssize_t got = ::pread(from, block.data(), block.size(), offset);
    return got <= 0 ? got : ::pwrite(to, block.data(), static_cast<size_t>(got), offset);
}

// The kernel or the file system does not support the call; the files are fine.
bool CannotCopyInKernel() {
    return errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP || errno == EPERM;
}

// Asks for the length first, then for the list or value. Empty when there is none.
template <class Ask>
bool ReadAttribute(std::string& bytes, const Ask& ask) {
    const ssize_t size = ask(nullptr, size_t{0});
    bytes.resize(size > 0 ? static_cast<size_t>(size) : 0);
    const ssize_t got = size > 0 ? ask(bytes.data(), bytes.size()) : size;
    if (got >= 0) bytes.resize(static_cast<size_t>(got));
    return got >= 0;
}

auto ValueOf(int file, const std::string& name) {
    return [=](char* out, size_t size) { return ::fgetxattr(file, name.c_str(), out, size); };
}

// Splits a list of NUL-terminated names.
std::vector<std::string> Split(const std::string& names) {
    std::vector<std::string> list;
    for (const char* name = names.c_str(); *name; name += list.back().size() + 1) list.emplace_back(name);
    return list;
}

}  // namespace

namespace Platform {

XStr ExecutablePath() {
    std::error_code error;
    return FromFileName(std::filesystem::read_symlink("/proc/self/exe", error).native());
}

int MemoryFile() { return ::memfd_create("w64", MFD_CLOEXEC); }

bool MakePipe(int (&ends)[2]) { return ::pipe2(ends, O_NONBLOCK | O_CLOEXEC) == 0; }

bool ShareContents(int from, int to) { return ::ioctl(to, FICLONE, from) == 0; }

int64_t NextData(int file, int64_t position) {
    const off_t data = ::lseek(file, position, SEEK_DATA);
    return data >= 0 ? data : errno == ENXIO ? INT64_MAX : position;
}

int64_t CopySomeBytes(int from, int to, int64_t offset, int64_t bytes) {
    off_t read = offset;
    off_t write = offset;
    ssize_t copied = 0;
    do {
        copied = ::copy_file_range(from, &read, to, &write, static_cast<size_t>(bytes), 0);
    } while (copied < 0 && errno == EINTR);
    return copied < 0 && CannotCopyInKernel() ? CopyThroughMemory(from, to, offset, bytes) : copied;
}

void StartFlush(int file) { ::sync_file_range(file, 0, 0, SYNC_FILE_RANGE_WRITE); }

void DropFromCache(int file) { ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED); }

int64_t BytesWritten() {
    std::ifstream counts("/proc/self/io");
    std::string name;
    int64_t bytes = 0;
    while (counts >> name >> bytes && name != "wchar:") {
    }
    return name == "wchar:" ? bytes : 0;
}

bool CopyAttributes(int from, int to) {
    std::string names;
    std::string oldNames;
    const auto namesOf = [](int file) {
        return [=](char* out, size_t size) { return ::flistxattr(file, out, size); };
    };
    if (!ReadAttribute(names, namesOf(from)) || !ReadAttribute(oldNames, namesOf(to))) {
        return errno == EOPNOTSUPP;
    }
    // A new file may have inherited an access list from its folder.
    for (const std::string& name : Split(oldNames)) {
        std::string value;
        const bool isWanted = ReadAttribute(value, ValueOf(from, name));
        if (!isWanted && ::fremovexattr(to, name.c_str()) != 0) return false;
    }
    for (const std::string& name : Split(names)) {
        std::string value;
        std::string old;
        if (!ReadAttribute(value, ValueOf(from, name))) return false;
        // Some are fixed and cannot be set.
        if (ReadAttribute(old, ValueOf(to, name)) && old == value) continue;
        if (::fsetxattr(to, name.c_str(), value.data(), value.size(), 0) != 0) return false;
    }
    return true;
}

}  // namespace Platform

}  // namespace w64
