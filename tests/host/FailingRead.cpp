// Preloaded into a program, fails one of its reads of WAV files as a bad disk does: that of the number in
// FAILING_READ, from 0 on.

#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace w64 {

extern "C" __attribute__((visibility("default"))) ssize_t read(int descriptor, void* data, size_t bytes) {
    static const auto plainRead = reinterpret_cast<decltype(&read)>(dlsym(RTLD_NEXT, "read"));
    static int left = std::atoi(std::getenv("FAILING_READ"));
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
    if (path.extension() != ".wav" || left-- != 0) return plainRead(descriptor, data, bytes);
    errno = EIO;
    return -1;
}

}  // namespace w64
