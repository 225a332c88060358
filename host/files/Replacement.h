#pragma once

#include "base/XFile.h"
#include "host/files/FileStamp.h"
#include "host/files/TempFile.h"
#include "host/terminal/Console.h"

#include <filesystem>
#include <optional>

namespace w64 {

// A copy of a file, made beside it to be edited, that then takes the file's place. Programs that respect locks
// cannot change the file meanwhile; when another one has, its version is kept and the copy refused.
// Without Commit the file stays as it is and the copy is removed.
// Errors: Failure, and Interrupt while it copies.
class Replacement {
public:
    // Links are followed. Copies that killed runs have left in the same folder are named on the console.
    Replacement(const std::filesystem::path& file, Console& console);

    XFile& Original() { return original_; }
    const std::filesystem::path& Copy() const { return copy_.Path(); }

    // Flushes the copy to disk and moves it over the file, with the file's owner, mode and attributes.
    void Commit();

private:
    void LockOriginal();

    std::filesystem::path path_;
    XFile original_;
    std::optional<FileStamp> stamp_;  // of the file that is copied
    TempFile copy_;
};

}  // namespace w64
