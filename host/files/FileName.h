#pragma once

#include "base/XStr.h"

#include <filesystem>

namespace w64 {

// A file name as the decoder takes it. Its own form is UTF-8, so other bytes would name another file.
// Errors: Failure for a name that is not UTF-8; `subject` says which name that is.
XStr WideName(const std::filesystem::path& name, const std::string& subject = "the file name");

// Errors: Failure where the output is the input itself, or a link to it.
void RefuseToReplaceInput(const std::filesystem::path& input, const std::filesystem::path& output);

}  // namespace w64
