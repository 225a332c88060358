#include "host/files/Replacement.h"

#include "base/Platform.h"
#include "base/XStr.h"
#include "host/files/FileCopy.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace w64 {

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

void RefuseChanges(const FileStamp& stamp, const fs::path& path) {
    if (stamp.StillHolds(path)) return;
    throw Failure("another program has changed the file meanwhile; it stays as that program left it, and the "
                  "edit is dropped");
}

}  // namespace

Replacement::Replacement(const fs::path& file, Console& console)
    : path_(Followed(file)), copy_(path_.parent_path(), XFile::Access::CreatePrivate) {
    NameLeftovers(path_.parent_path(), console);
    LockOriginal();
    CopyBeginning(original_, copy_.File(), original_.Size());
    copy_.File().Close();  // the decoder opens it alone
}

void Replacement::LockOriginal() {
    std::error_code error;
    if (!fs::is_regular_file(path_, error)) throw Failure("is not a regular file");
    if (!original_.Open(FromUTF8(path_.native()), XFile::Access::ReadWrite)) {
        if (errno == EWOULDBLOCK) throw Failure("is in use by another program");
        throw SystemFailure("cannot open the file for writing");
    }
    stamp_.emplace(original_.Descriptor());
    RefuseChanges(*stamp_, path_);
    if (Status(original_).st_nlink > 1) {
        throw Failure("the file has further names (hard links) that would keep the old tags; --in-place "
                      "edits it under all of them");
    }
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
    if (::fsync(to) != 0) throw SystemFailure("cannot write");
    Interrupt::Check();
    RefuseChanges(*stamp_, path_);
    if (::rename(copy_.Path().c_str(), path_.c_str()) != 0) throw SystemFailure("cannot replace the file");
    SyncFolder(path_.parent_path());
}

}  // namespace w64
