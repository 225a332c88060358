#pragma once

#include "base/XFile.h"

#include <cstdint>

namespace w64 {

// Copies the first `bytes` of a file into an empty one. The two share blocks where the file system can.
// Errors: Failure, and Interrupt between pieces.
void CopyBeginning(const XFile& from, XFile& to, int64_t bytes);

}  // namespace w64
