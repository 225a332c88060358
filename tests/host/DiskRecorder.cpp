// Preloaded into a program, writes to the file DISK_LOG what the program does to files in the folder DISK_FOLDER: a line
// with operation, path, position and number of bytes, then the bytes. With DISK_KILL=N, the N-th change kills the
// program instead; with DISK_FAIL=N, it fails, and with DISK_FAILS=M, so do the M - 1 after it. With DISK_NO_LOCKS, files
// cannot be locked.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

namespace fs = std::filesystem;

template <class Function>
Function* Plain(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

const std::string& Folder() {
    static const std::string folder = std::getenv("DISK_FOLDER");
    return folder;
}

std::string PathOf(int descriptor) {
    std::error_code error;
    return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
}

int Number(const char* name) {
    const char* number = std::getenv(name);
    return number ? std::atoi(number) : 0;
}

// Whether the change that comes now is to fail.
bool Fails(const std::string& path) {
    static int changes = 0;
    if (!path.starts_with(Folder())) return false;
    if (++changes == Number("DISK_KILL")) ::kill(::getpid(), SIGKILL);
    const int first = Number("DISK_FAIL");
    const bool fails = first > 0 && changes >= first && changes < first + std::max(Number("DISK_FAILS"), 1);
    if (fails) errno = EIO;
    return fails;
}

void Log(const std::string& operation, const std::string& path, int64_t position, size_t bytes,
         const void* data) {
    if (!path.starts_with(Folder())) return;
    static const char* name = std::getenv("DISK_LOG");
    static const int log = name ? static_cast<int>(::syscall(SYS_openat, AT_FDCWD, name,
                                                             O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600))
                                : -1;
    std::string line = operation + " " + path + " " + std::to_string(position) + " " +
                       std::to_string(data ? bytes : 0) + " " + std::to_string(bytes) + "\n";
    line.append(static_cast<const char*>(data), data ? bytes : 0).append("\n");
    if (log >= 0) ::syscall(SYS_write, log, line.data(), line.size());
}

}  // namespace

EXPORT int open(const char* path, int flags, ...) {
    static auto* plain = Plain<int(const char*, int, ...)>("open");
    va_list list;
    va_start(list, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(list, mode_t) : 0;
    va_end(list);
    if (flags & O_CREAT && ::access(path, F_OK) != 0) {
        if (Fails(fs::absolute(path))) return -1;
        Log("create", fs::absolute(path), 0, 0, nullptr);
    }
    return plain(path, flags, mode);
}

EXPORT ssize_t read(int file, void* data, size_t bytes) {
    const ssize_t got = Plain<decltype(read)>("read")(file, data, bytes);
    if (got > 0) Log("read", PathOf(file), 0, static_cast<size_t>(got), nullptr);
    return got;
}

EXPORT ssize_t write(int file, const void* data, size_t bytes) {
    const std::string path = PathOf(file);
    const bool fails = Fails(path);
    if (fails) bytes /= 2;  // as on a disk that gets full
    if (path.starts_with(Folder())) Log("write", path, ::lseek(file, 0, SEEK_CUR), bytes, data);
    const ssize_t put = Plain<decltype(write)>("write")(file, data, bytes);
    if (!fails) return put;
    errno = EIO;
    return -1;
}

EXPORT ssize_t copy_file_range(int from, off64_t* read, int to, off64_t* written, size_t bytes, unsigned) {
    if (Fails(PathOf(to))) return -1;
    std::vector<char> block(bytes);
    const ssize_t got = ::pread(from, block.data(), bytes, *read);
    if (got > 0) Log("write", PathOf(to), *written, static_cast<size_t>(got), block.data());
    return got > 0 ? ::pwrite(to, block.data(), static_cast<size_t>(got), *written) : got;
}

EXPORT int ftruncate(int file, off_t size) noexcept {
    if (Fails(PathOf(file))) return -1;
    Log("truncate", PathOf(file), size, 0, nullptr);
    return Plain<int(int, off_t)>("ftruncate")(file, size);
}

EXPORT int fsync(int file) {
    if (Fails(PathOf(file))) return -1;
    Log("sync", PathOf(file), 0, 0, nullptr);
    return Plain<decltype(fsync)>("fsync")(file);
}

EXPORT int rename(const char* from, const char* to) noexcept {
    const std::string target = fs::absolute(to);
    if (Fails(target)) return -1;
    Log("rename", fs::absolute(from), 0, target.size(), target.data());
    return Plain<int(const char*, const char*)>("rename")(from, to);
}

EXPORT int unlink(const char* path) noexcept {
    if (Fails(fs::absolute(path))) return -1;
    Log("unlink", fs::absolute(path), 0, 0, nullptr);
    return Plain<int(const char*)>("unlink")(path);
}

EXPORT int flock(int file, int operation) noexcept {
    if (!std::getenv("DISK_NO_LOCKS")) return Plain<int(int, int)>("flock")(file, operation);
    errno = ENOLCK;
    return -1;
}
