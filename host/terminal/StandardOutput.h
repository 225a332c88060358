#pragma once

namespace w64 {

// Sends out what std::cout still holds.
// Errors: Failure when that or any earlier write failed.
void FlushStandardOutput();

}  // namespace w64
