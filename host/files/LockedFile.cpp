#include "host/files/LockedFile.h"

#include "base/XStr.h"
#include "host/terminal/Failure.h"

#include <sys/file.h>

namespace w64 {

namespace fs = std::filesystem;

namespace {

// The path may not resolve, as in a current folder that is deleted. Opening the file then says what is wrong.
fs::path Followed(const std::string& name) {
    std::error_code error;
    fs::path followed = fs::canonical(name, error);
    return error ? fs::path(name) : followed;
}

FileStamp Open(XFile& file, const fs::path& path, LockedFile::Lock lock) {
    if (!file.Open(FromFileName(path.native()), XFile::Access::ReadWrite)) {
        if (errno == EWOULDBLOCK) throw Failure("is in use by another program");
        throw SystemFailure("cannot open the file for writing");
    }
    const auto locks = [&] {
        int result = 0;
        do {
            result = ::flock(file.Descriptor(), LOCK_EX | LOCK_NB);
        } while (result != 0 && errno == EINTR);
        return result == 0;
    };
    if (lock == LockedFile::Lock::Required && !locks()) {
        throw SystemFailure("cannot be locked, which keeps two edits apart; --in-place edits without a lock");
    }
    return FileStamp(file.Descriptor());
}

}  // namespace

LockedFile::LockedFile(const std::string& name, Lock lock)
    : name_(name), path_(Followed(name)), stamp_(Open(file_, path_, lock)) {
    RefuseChanges();
}

void LockedFile::RefuseChanges() const {
    if (IsUnchanged()) return;
    throw Failure("another program has changed the file meanwhile; its version is kept, and this edit is "
                  "dropped");
}

}  // namespace w64
