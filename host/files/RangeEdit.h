#pragma once

#include "base/XFile.h"

#include <cstdint>
#include <vector>

namespace w64 {

// The old and new bytes of one range of a file. What is past the end of the file, before or after the edit, is left
// out.
struct ByteRange {
    int64_t position = 0;
    std::vector<uint8_t> before;
    std::vector<uint8_t> after;
};

// An edit that leaves most of a file where it is: some ranges of bytes, and the length. What is cut off the end of
// the file is part of a range.
// Errors: Failure.
struct RangeEdit {
    int64_t lengthBefore = 0;
    int64_t lengthAfter = 0;
    std::vector<ByteRange> ranges;

    bool ChangesNothing() const { return ranges.empty() && lengthBefore == lengthAfter; }
    int64_t Bytes() const;  // in the ranges, old and new

    // Whether the ranges are in order, have every byte of theirs in the file and what is cut off its end, and it grows
    // by no more than a tag edit needs. A file in which MayHaveLeft finds such an edit loses nothing that the edit
    // does not have.
    bool IsSound() const;
    static constexpr int64_t kMaxGrowth = int64_t{64} << 20;

    // Whether the file may be what an interruption of this edit has left, even one by a power failure: every byte
    // of the ranges is the old or the new one, and the length lies between the two lengths.
    bool MayHaveLeft(XFile& file) const;

    // Makes the edit, from its start or from wherever it was interrupted, and flushes the file to disk.
    void Apply(XFile& file) const;

    // Takes back an edit that Apply could not make, and flushes the file to disk.
    void Undo(XFile& file) const;
};

}  // namespace w64
