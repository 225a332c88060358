#pragma once

#include "base/XFile.h"
#include "wave64/container/STRIFFChunk.h"

#include <string>
#include <vector>

namespace w64 {

// The chunks that a tag edit must not change: all but padding and summary lists.
// Errors: Failure for a file with an unsound layout.
class KeptChunks {
public:
    explicit KeptChunks(XFile& file);

    // How those of the edited file differ in number, names and sizes; empty if they do not.
    std::string DifferenceTo(const KeptChunks& edited) const;

    // The first chunk with different bytes; for chunks without a DifferenceTo. Errors: Interrupt.
    std::string DifferenceOfBytes(XFile& file, const KeptChunks& edited, XFile& editedFile) const;

private:
    std::vector<STRIFFChunk> chunks_;
};

}  // namespace w64
