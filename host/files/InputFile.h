#pragma once

#include "base/XFile.h"

#include <string>

namespace w64 {

// A file that is only read.
// Errors: Failure that says why it cannot be opened, in the system's words where it has any.
class InputFile : public XFile {
public:
    static constexpr const char* kNoFile = "is a pipe or a device, not a file";

    explicit InputFile(const std::string& name);
};

// The same check of a file that the decoder is to open.
void RequireReadable(const std::string& name);

// Throws if a call on the file has failed, which its user may have taken for the end of the file.
void RequireNoError(const XFile& file, const std::string& what = "cannot read the file");

}  // namespace w64
