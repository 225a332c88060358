#include "host/files/Replacement.h"

#include "host/files/FileCopy.h"
#include "host/files/FileName.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <unistd.h>

namespace w64 {

namespace fs = std::filesystem;

namespace {

fs::path Followed(const fs::path& file) {
    std::error_code error;
    fs::path followed = fs::canonical(file, error);
    if (error) throw Failure("cannot open the file: " + error.message());
    WideName(followed);
    return followed;
}

void NameLeftovers(const fs::path& folder, Console& console) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (TempFile::IsLeftover(entry.path().filename())) {
            console.Note(entry.path().native(), "left over from a run that was killed; you can delete it");
        }
    }
}

void RefuseChanges(const FileStamp& stamp, const fs::path& path) {
    if (stamp.StillHolds(path)) return;
    throw Failure("another program has changed the file meanwhile; its version is kept, and this edit is "
                  "dropped");
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
    if (!original_.Open(WideName(path_), XFile::Access::ReadWrite)) {
        if (errno == EWOULDBLOCK) throw Failure("is in use by another program");
        throw SystemFailure("cannot open the file for writing");
    }
    stamp_.emplace(original_.Descriptor());
    RefuseChanges(*stamp_, path_);
    if (fs::hard_link_count(path_) > 1) {
        throw Failure("the file has other names (hard links), which would keep the old tags; --in-place "
                      "edits it under all of them");
    }
}

void Replacement::Commit() {
    const XStr copyName = WideName(copy_.Path());
    XFile copy;
    if (!copy.Open(copyName, XFile::Access::ReadWrite)) {
        throw SystemFailure("cannot open the edited copy");
    }
    if (!copy.TakeAttributes(original_)) {
        throw SystemFailure("the edited copy cannot have the owner, mode and attributes of the file; "
                            "--in-place keeps them");
    }
    // This can take long, so it is done before the last check of the original.
    if (::fsync(copy.Descriptor()) != 0) throw SystemFailure("cannot write");
    Interrupt::Check();
    RefuseChanges(*stamp_, path_);
    if (!copy.MoveOver(copyName, WideName(path_))) throw SystemFailure("cannot replace the file");
}

}  // namespace w64
