#pragma once

#include "host/files/Journal.h"
#include "host/files/LockedFile.h"
#include "host/terminal/Console.h"

#include <string>

namespace w64 {

// Edits of a file that no interruption leaves half made: the next command that edits the file finishes them.
// Errors: Failure; the file is then unchanged, or the message says that it is not.

// Errors: JournalFailure too.
void MakeJournalledEdit(LockedFile& file, const RangeEdit& edit);

// For folders in which nothing can be created. Signals are held until the edit is made.
void MakeEditWithoutJournal(LockedFile& file, const RangeEdit& edit);

// Finishes the edit of a journal, or removes a journal whose edit has not begun.
void FinishInterruptedEdit(LockedFile& file, const Journal& journal, Console& console);

// What is wrong with a file whose edit was interrupted.
constexpr const char* kInterruptedEdit = "An edit of the file was interrupted; w64 repair finishes it.";

// Whether a whole journal is next to the file, for commands that only read. Fails while the file is being edited.
bool HasInterruptedEdit(const std::string& file);
void NoteInterruptedEdit(const std::string& file, Console& console);

}  // namespace w64
