#pragma once

#include "Input.h"

#include <csignal>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

namespace w64 {

// No file of this process grows beyond that, as a disk that is full.
inline void LimitFiles(uint64_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    Require(::setrlimit(RLIMIT_FSIZE, &limit) == 0, "files can be limited");
}

// Temporary folders are in memory, where there is such a place.
inline void KeepFoldersInMemory() {
    if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 0);
}

// A file in memory that can be opened by name.
class MemoryFile {
public:
    MemoryFile() : number_(::memfd_create("fuzz", 0)) { Require(number_ >= 0, "there is memory for a file"); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(number_); }

    std::string Path() const { return "/dev/fd/" + std::to_string(number_); }
    std::wstring Name() const {
        const std::string path = Path();
        return {path.begin(), path.end()};
    }

    void Write(const void* data, size_t bytes) const {
        Require(::ftruncate(number_, 0) == 0, "a file can be cut off");
        Require(::pwrite(number_, data, bytes, 0) == static_cast<ssize_t>(bytes), "a file can be written");
    }
    void Write(const Bytes& bytes) const { Write(bytes.data(), bytes.size()); }

    Bytes Read() const {
        Bytes bytes(static_cast<size_t>(::lseek(number_, 0, SEEK_END)));
        Require(::pread(number_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
                "a file can be read");
        return bytes;
    }

private:
    int number_;
};

}  // namespace w64
