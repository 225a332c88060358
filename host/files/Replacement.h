#pragma once

#include "host/files/LockedFile.h"
#include "host/files/TempFile.h"
#include "host/terminal/Console.h"

#include <cstdint>
#include <filesystem>
#include <functional>

namespace w64 {

// A copy of a file, made next to it to be edited, that then takes the file's place. If another program has changed the
// file meanwhile, its version is kept and the copy refused.
// Without Commit the file stays as it is and the copy is removed.
// Errors: Failure, and Interrupt while it copies.
class Replacement {
public:
    // Copies that killed runs have left in the same folder are named on the console. `copied` gets the size of
    // every piece.
    Replacement(LockedFile& original, Console& console, const std::function<void(int64_t)>& copied = {});

    const std::filesystem::path& Copy() const { return copy_.Path(); }

    // Flushes the copy to disk and moves it over the file, with the file's owner, mode and attributes.
    void Commit();

private:
    LockedFile& original_;
    TempFile copy_;
};

}  // namespace w64
