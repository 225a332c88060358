#pragma once

#include "base/XFile.h"
#include "host/files/FileStamp.h"
#include "host/files/TempFile.h"
#include "host/terminal/Console.h"

#include <filesystem>
#include <optional>

namespace w64 {

// A copy of a file, made beside it to be edited, that takes the file's place once it is right. Nobody who
// respects locks can change the file meanwhile; what others have done to it is kept, and the copy refused.
// Without Commit the file stays as it is and the copy goes.
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

    std::filesystem::path path_;
    XFile original_;
    std::optional<FileStamp> stamp_;  // of the file that is copied
    TempFile copy_;
};

}  // namespace w64
