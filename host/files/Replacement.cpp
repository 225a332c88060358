#include "host/files/Replacement.h"

#include "base/XStr.h"
#include "host/files/FileCopy.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <unistd.h>

namespace w64 {

namespace fs = std::filesystem;

namespace {

void NameLeftovers(const fs::path& folder, Console& console) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (TempFile::IsLeftover(entry.path().filename())) {
            console.Note(entry.path().native(), "left over from a run that was killed; you can delete it");
        }
    }
}

void RefuseHardLinks(const fs::path& path) {
    if (fs::hard_link_count(path) == 1) return;
    throw Failure("the file has other names (hard links), which would keep the old tags; --in-place "
                  "edits it under all of them");
}

}  // namespace

Replacement::Replacement(LockedFile& original, Console& console, const std::function<void(int64_t)>& copied)
    : original_(original), copy_(original.Path().parent_path(), XFile::Access::CreatePrivate) {
    NameLeftovers(original.Path().parent_path(), console);
    RefuseHardLinks(original.Path());
    CopyBeginning(original.File(), copy_.File(), original.File().Size(), copied);
    copy_.File().Close();  // the decoder opens it alone
}

void Replacement::Commit() {
    const XStr copyName = FromFileName(copy_.Path().native());
    XFile copy;
    if (!copy.Open(copyName, XFile::Access::ReadWrite)) {
        throw SystemFailure("cannot open the edited copy");
    }
    if (!copy.TakeAttributes(original_.File())) {
        throw SystemFailure("the edited copy cannot have the owner, mode and attributes of the file; "
                            "--in-place keeps them");
    }
    // This can take long, so it is done before the last check of the original.
    if (::fsync(copy.Descriptor()) != 0) throw SystemFailure("cannot write");
    Interrupt::Check();
    original_.RefuseChanges();
    if (!copy.MoveOver(copyName, FromFileName(original_.Path().native())))
        throw SystemFailure("cannot replace the file");
}

}  // namespace w64
