// Preloaded into a program, meddles with its files.
// FAILING_READ  the number, from 0 on, of the read of a WAV file that is to fail as on a bad disk
// MEANWHILE     a shell command that is run, and waited for, before a call that changes a Wave64 file
// MEANWHILE_AT  the number, from 0 on, of that call

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int Number(const char* name) {
    const char* text = std::getenv(name);
    return text ? std::atoi(text) : -1;
}

std::string Extension(int descriptor) {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error).extension();
}

void BeforeChange(const std::string& extension) {
    static int left = Number("MEANWHILE_AT");
    if ((extension != ".w64" && extension != ".part") || left-- != 0) return;
    const pid_t shell = ::fork();
    if (shell == 0) {
        ::unsetenv("LD_PRELOAD");
        ::execl("/bin/sh", "sh", "-c", std::getenv("MEANWHILE"), nullptr);
        ::_exit(127);
    }
    while (::waitpid(shell, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace

#define PLAIN(function) reinterpret_cast<decltype(&(function))>(dlsym(RTLD_NEXT, #function))
#pragma GCC visibility push(default)
extern "C" {

ssize_t read(int descriptor, void* data, size_t bytes) {
    static int left = Number("FAILING_READ");
    if (left < 0 || Extension(descriptor) != ".wav" || left-- != 0)
        return PLAIN(read)(descriptor, data, bytes);
    errno = EIO;
    return -1;
}

ssize_t write(int descriptor, const void* data, size_t bytes) {
    BeforeChange(Extension(descriptor));
    return PLAIN(write)(descriptor, data, bytes);
}

int ftruncate(int descriptor, off_t size) noexcept {
    BeforeChange(Extension(descriptor));
    return PLAIN(ftruncate)(descriptor, size);
}

int fsync(int descriptor) {
    BeforeChange(Extension(descriptor));
    return PLAIN(fsync)(descriptor);
}

int rename(const char* from, const char* to) noexcept {
    BeforeChange(std::filesystem::path(to).extension());
    return PLAIN(rename)(from, to);
}

// Seconds pass between two looks.
int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static time_t leap = 0;
    const int result = PLAIN(clock_gettime)(clock, time);
    if (std::getenv("MEANWHILE")) time->tv_sec += leap += 2;
    return result;
}

}  // extern "C"
