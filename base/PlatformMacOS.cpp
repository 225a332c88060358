#include "base/Platform.h"

#include <algorithm>
#include <cerrno>
#include <copyfile.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <libproc.h>
#include <mach-o/dyld.h>
#include <unistd.h>
#include <vector>

namespace w64::Platform {

XStr ExecutablePath() {
    uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::string path(size, '\0');
    if (_NSGetExecutablePath(path.data(), &size) != 0) return {};
    std::error_code error;
    return FromFileName(std::filesystem::canonical(path.c_str(), error).native());  // it may be a link
}

int MemoryFile() {
    std::error_code error;
    std::string name = (std::filesystem::temp_directory_path(error) / "w64-XXXXXX").native();
    const int file = ::mkstemp(name.data());
    if (file < 0) return -1;
    ::unlink(name.c_str());
    ::fcntl(file, F_SETFD, FD_CLOEXEC);
    return file;
}

bool MakePipe(int (&ends)[2]) {
    if (::pipe(ends) != 0) return false;
    for (const int end : ends) {
        ::fcntl(end, F_SETFL, O_NONBLOCK);
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    return true;
}

// The system clones files by name only, and the copy is already open.
bool ShareContents(int /*from*/, int /*to*/) { return false; }

int64_t NextData(int file, int64_t position) {
    const off_t data = ::lseek(file, position, SEEK_DATA);
    return data >= 0 ? data : errno == ENXIO ? INT64_MAX : position;
}

int64_t CopySomeBytes(int from, int to, int64_t offset, int64_t bytes) {
    std::vector<char> block(static_cast<size_t>(std::min<int64_t>(bytes, 1 << 20)));
    const ssize_t got = ::pread(from, block.data(), block.size(), offset);
    return got <= 0 ? got : ::pwrite(to, block.data(), static_cast<size_t>(got), offset);
}

void StartFlush(int /*file*/) {}

void DropFromCache(int /*file*/) {}

int64_t BytesWritten() {
    rusage_info_v2 info{};
    const bool isKnown =
        ::proc_pid_rusage(::getpid(), RUSAGE_INFO_V2, reinterpret_cast<rusage_info_t*>(&info)) == 0;
    return isKnown ? static_cast<int64_t>(info.ri_diskio_byteswritten) : 0;
}

bool CopyAttributes(int from, int to) {
    return ::fcopyfile(from, to, nullptr, COPYFILE_XATTR | COPYFILE_ACL) == 0;
}

}  // namespace w64::Platform
