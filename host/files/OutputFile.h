#pragma once

#include "host/files/TempFile.h"

namespace w64 {

// A file that appears under its name only when it is complete: it is written next to that name, flushed to disk
// and then renamed. Without Commit it is removed.
// Errors: Failure.
class OutputFile {
public:
    // With `replace` an existing file is replaced; without, it is kept and the output refused.
    OutputFile(std::filesystem::path path, bool replace);

    // What the constructor checks, before any work is done.
    static void RequireUsable(const std::filesystem::path& path, bool replace);

    XFile& File() { return temp_.File(); }
    const std::filesystem::path& Path() const { return path_; }

    // Flushes the file to disk and closes it, so that it can be read back from there by the name that is returned.
    const std::filesystem::path& Close();

    void Commit();

private:
    void Flush();
    void MoveToFreeName();

    std::filesystem::path path_;
    bool replace_;
    TempFile temp_;
};

// Errors: Failure where the output is the input itself, or a link to it.
void RefuseToReplaceInput(const std::filesystem::path& input, const std::filesystem::path& output);

}  // namespace w64
