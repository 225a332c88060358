#pragma once

#include "host/files/Descriptor.h"

#include <string>

namespace w64 {

// What standard input holds, as a file to open by name and as often as needed. A stream is first read to its end, into
// a temporary file without a name.
// Errors: Failure, Interrupt.
class StandardInput {
public:
    StandardInput();

    // As long as this object lives.
    const std::string& Path() const { return path_; }

private:
    Descriptor copy_;
    std::string path_;
};

}  // namespace w64
