#include "host/files/JournalledEdit.h"

#include "base/XStr.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <unistd.h>

namespace w64 {

namespace fs = std::filesystem;

namespace {

// Where an edit has failed and could not be undone either.
class HalfMade : public Failure {
public:
    using Failure::Failure;
};

void Undo(LockedFile& file, const RangeEdit& edit, const std::string& problem) try {
    edit.Undo(file.File());
} catch (const Failure&) {
    throw HalfMade(problem + "; the edit is half made");
}

void ApplyOrUndo(LockedFile& file, const RangeEdit& edit) {
    file.RefuseChanges();
    try {
        edit.Apply(file.File());
    } catch (const Failure& failure) {
        Undo(file, edit, failure.what());
        throw;
    }
    file.AcceptChanges();
}

bool IsWhole(const Journal& journal) try {
    return journal.Read().has_value();
} catch (const Failure&) {  // not a journal, or another user's
    return ::access(journal.Path().c_str(), R_OK) != 0 && errno == EACCES;
}

}  // namespace

void MakeJournalledEdit(LockedFile& file, const RangeEdit& edit) {
    // The journal is about bytes on disk, and another program may just have written them.
    if (::fsync(file.File().Descriptor()) != 0) throw SystemFailure("cannot write");
    const Journal journal = Journal::Of(file.Path());
    journal.Write(edit);
    try {
        ApplyOrUndo(file, edit);
    } catch (const HalfMade& failure) {
        throw Failure(std::string(failure.what()) + ", and w64 repair finishes it");
    } catch (const Failure& failure) {
        journal.Remove(std::string(failure.what()) + "; the edit was undone");
        throw;
    }
    journal.Remove("the edit is made");
}

void MakeEditWithoutJournal(LockedFile& file, const RangeEdit& edit) {
    const Interrupt::Hold hold;
    Interrupt::Check();  // for a signal that came before
    ApplyOrUndo(file, edit);
}

void FinishInterruptedEdit(LockedFile& file, const Journal& journal, Console& console) {
    const std::optional<RangeEdit> edit = journal.Read();
    if (edit) {
        if (!edit->MayHaveLeft(file.File())) {
            throw Failure(
                "an edit of this file was interrupted, and the file has been changed since, so the edit "
                "cannot be finished; its journal '" +
                journal.Path().native() + "' is kept: delete it if the file is as it should be");
        }
        edit->Apply(file.File());
        file.AcceptChanges();
        console.Note(file.Name(), "finished an edit that was interrupted");
    }
    if (journal.IsThere()) journal.Remove(edit ? "the interrupted edit is finished" : "no edit has begun");
}

bool HasInterruptedEdit(const std::string& name) {
    std::error_code error;
    const bool isLink = fs::is_symlink(name, error);
    const fs::path path = isLink ? fs::canonical(name, error) : fs::path(name);
    if (error) return false;  // the command says why
    const Journal journal = Journal::Of(path);
    if (!journal.IsThere()) return false;
    XFile file;
    if (!file.Open(FromFileName(path.native()), XFile::Access::Read) && errno == EWOULDBLOCK) {
        throw Failure("is being edited; try again when that is done");
    }
    return IsWhole(journal);
}

void NoteInterruptedEdit(const std::string& file, Console& console) {
    if (!HasInterruptedEdit(file)) return;
    console.Note(file, "warning: an edit of this file was interrupted; w64 repair finishes it");
}

}  // namespace w64
