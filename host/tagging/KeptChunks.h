#pragma once

#include "base/XFile.h"
#include "wave64/container/clWave64Handler.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace w64 {

// Scans a file that is to be edited. Errors: Failure for a file with an unsound layout.
void ScanSound(clWave64Handler& chunks, XFile& file);

// The chunks that a tag edit must not change: all but padding and summary lists.
// Errors: Failure for a file with an unsound layout.
class KeptChunks {
public:
    explicit KeptChunks(XFile& file);

    // How those of the edited file differ in number, names and sizes; empty if they do not.
    std::string DifferenceTo(const KeptChunks& edited) const;

    // Whether those of the edited file are at the same positions; for chunks without a DifferenceTo.
    bool StandsAs(const KeptChunks& edited) const;

    // The first chunk with different bytes, likewise. `compared` gets the size of every block. Errors: Interrupt.
    std::string DifferenceOfBytes(XFile& file, const KeptChunks& edited, XFile& editedFile,
                                  const std::function<void(int64_t)>& compared = {}) const;

private:
    std::vector<STRIFFChunk> chunks_;
};

}  // namespace w64
