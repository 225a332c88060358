#pragma once

#include "host/files/TempFile.h"

namespace w64 {

// A file that appears under its name only when it is whole: it is written beside that name, brought to the
// disk and then renamed. Without Commit nothing is left behind.
// Errors: Failure.
class OutputFile {
public:
    // With `replace` a file of that name is replaced; without, it is kept and the output refused.
    OutputFile(std::filesystem::path path, bool replace);

    XFile& File() { return temp_.File(); }
    void Commit();

private:
    void MoveToFreeName();

    std::filesystem::path path_;
    bool replace_;
    TempFile temp_;
};

}  // namespace w64
