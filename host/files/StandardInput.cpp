#include "host/files/StandardInput.h"

#include "host/files/TempFile.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <vector>

namespace w64 {

namespace {

// A file that nobody has read from yet.
bool IsWholeFile(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
           ::lseek(descriptor, 0, SEEK_CUR) == 0;
}

// The number of bytes; 0 at the end.
size_t ReadSome(std::vector<char>& block) {
    for (;;) {
        Interrupt::Check();
        const ssize_t got = ::read(STDIN_FILENO, block.data(), block.size());
        if (got >= 0) return static_cast<size_t>(got);
        if (errno != EINTR) throw SystemFailure("cannot be read");
    }
}

Descriptor KeepStream() {
    if (::isatty(STDIN_FILENO) == 1) throw Failure("is a terminal; a pipe or < leads audio to it");
    const std::filesystem::path folder = TempFile::SharedFolder();
    TempFile file(folder, XFile::Access::CreatePrivate);
    std::vector<char> block(1 << 16);
    while (const size_t bytes = ReadSome(block)) {
        if (!file.File().Write(block.data(), bytes)) {
            throw SystemFailure("cannot be kept in '" + folder.native() + "', the folder of TMPDIR");
        }
    }
    file.File().Close();  // and its lock
    Descriptor copy(::open(file.Path().c_str(), O_RDONLY | O_CLOEXEC));
    if (!copy.IsOpen()) throw SystemFailure("cannot be kept");
    file.Remove();
    return copy;
}

}  // namespace

StandardInput::StandardInput()
    : copy_(IsWholeFile(STDIN_FILENO) ? Descriptor() : KeepStream()),
      path_("/dev/fd/" + std::to_string(copy_.IsOpen() ? copy_.Number() : STDIN_FILENO)) {}

}  // namespace w64
