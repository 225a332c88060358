#pragma once

#include "base/XFile.h"
#include "host/Console.h"
#include "host/TempFile.h"

#include <filesystem>

// A copy of a file, made beside it to be edited, that takes the file's place once it is right. Nobody who
// respects locks can change the file meanwhile; without Commit it stays as it is and the copy goes.
// Errors: Failure, and Interrupt while it copies.
class Replacement {
public:
    // A link is followed. Copies of killed runs that lie in the same folder are named on the console.
    Replacement(const std::filesystem::path& file, Console& console);

    XFile& Original() { return original_; }
    const std::filesystem::path& Copy() const { return copy_.Path(); }

    // Brings the copy to the disk and puts it under the file's name, with its owner, mode and attributes.
    void Commit();

private:
    void LockOriginal();
    void CopyContents();

    std::filesystem::path path_;
    XFile original_;
    TempFile copy_;
};
