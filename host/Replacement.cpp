#include "host/Replacement.h"

#include "base/Platform.h"
#include "base/XStr.h"
#include "host/Failure.h"
#include "host/Interrupt.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

fs::path Followed(const fs::path& file) {
    std::error_code error;
    fs::path followed = fs::canonical(file, error);
    if (error) throw Failure("cannot open the file: " + error.message());
    if (ToUTF8(FromUTF8(followed.native())) != followed.native()) throw Failure("is no UTF-8 file name");
    return followed;
}

void NameLeftovers(const fs::path& folder, Console& console) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (TempFile::IsLeftover(entry.path().filename())) {
            console.Note(entry.path().native(), "left behind by a run that was killed; it can be deleted");
        }
    }
}

// The new name ought to survive a power cut; the file itself is safe either way.
void SyncFolder(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    ::fsync(descriptor);
    ::close(descriptor);
}

struct stat Status(const XFile& file) {
    struct stat status {};
    if (::fstat(file.Descriptor(), &status) != 0) throw SystemFailure("cannot look at the file");
    return status;
}

}  // namespace

Replacement::Replacement(const fs::path& file, Console& console)
    : path_(Followed(file)), copy_(path_.parent_path(), XFile::Access::CreatePrivate) {
    NameLeftovers(path_.parent_path(), console);
    LockOriginal();
    CopyContents();
}

void Replacement::LockOriginal() {
    std::error_code error;
    if (!fs::is_regular_file(path_, error)) throw Failure("is not a regular file");
    if (!original_.Open(FromUTF8(path_.native()), XFile::Access::ReadWrite)) {
        if (errno == EWOULDBLOCK) throw Failure("is in use by another program");
        throw SystemFailure("cannot open the file for writing");
    }
    const struct stat opened = Status(original_);
    struct stat named {};
    if (::stat(path_.c_str(), &named) != 0 || named.st_ino != opened.st_ino ||
        named.st_dev != opened.st_dev) {
        throw Failure("another program has just replaced the file; nothing was changed");
    }
    if (opened.st_nlink > 1) {
        throw Failure("the file has further names (hard links) that would keep the old tags; --in-place "
                      "edits it under all of them");
    }
}

void Replacement::CopyContents() {
    constexpr int64_t kStep = int64_t{64} << 20;
    const int to = copy_.File().Descriptor();
    const int from = original_.Descriptor();
    const int64_t size = original_.Size();
    int64_t done = Platform::ShareContents(from, to) ? size : 0;
    while (done < size) {
        Interrupt::Check();
        const int64_t copied = Platform::CopySomeBytes(from, to, done, std::min(kStep, size - done));
        if (copied < 0) throw SystemFailure("cannot make a copy to edit");
        if (copied == 0) throw Failure("the file has become shorter; nothing was changed");
        done += copied;
    }
    copy_.File().Close();  // the decoder opens it alone
}

void Replacement::Commit() {
    XFile copy;
    if (!copy.Open(FromUTF8(copy_.Path().native()), XFile::Access::ReadWrite)) {
        throw SystemFailure("cannot open the edited copy");
    }
    const int to = copy.Descriptor();
    const struct stat status = Status(original_);
    // The mode comes after the owner, as a change of the owner takes bits of it.
    if (::fchown(to, status.st_uid, status.st_gid) != 0 || ::fchmod(to, status.st_mode & 07777) != 0 ||
        !Platform::CopyAttributes(original_.Descriptor(), to)) {
        throw SystemFailure("the edited copy cannot have the owner, mode and attributes of the file; "
                            "--in-place keeps them");
    }
    Interrupt::Check();
    if (::fsync(to) != 0) throw SystemFailure("cannot write");
    if (::rename(copy_.Path().c_str(), path_.c_str()) != 0) throw SystemFailure("cannot replace the file");
    SyncFolder(path_.parent_path());
}
