#pragma once

#include "base/XFile.h"

#include <cstdint>
#include <filesystem>
#include <functional>

namespace w64 {

// Whether a copy in that folder can share the blocks of the file, so that it takes no time and no room.
bool CanShareBlocks(const XFile& from, const std::filesystem::path& folder);

// Copies the first `bytes` of a file into an empty one. The two share blocks where the file system can; else holes
// stay holes. `copied` gets the size of every piece.
// Errors: Failure, and Interrupt between pieces.
void CopyBeginning(const XFile& from, XFile& to, int64_t bytes,
                   const std::function<void(int64_t)>& copied = {});

// Copies bytes from anywhere in a file to the position of another.
// Errors: Failure, and Interrupt between pieces.
void CopyRange(XFile& from, int64_t position, int64_t bytes, XFile& to,
               const std::function<void(int64_t)>& copied = {});

}  // namespace w64
