#pragma once

#include "base/XFile.h"
#include "wave64/container/STRIFFChunk.h"

#include <string>
#include <vector>

namespace w64 {

// What an edit of tags leaves alone in a file: every chunk but padding and summary lists.
// Errors: Failure for a file whose layout is not sound.
class KeptChunks {
public:
    explicit KeptChunks(XFile& file);

    // How those of the edited file differ in number, names and sizes; empty when they do not.
    std::string DifferenceTo(const KeptChunks& edited) const;

    // The first chunk of which a byte differs, when they are alike otherwise. Errors: Interrupt.
    std::string DifferenceOfBytes(XFile& file, const KeptChunks& edited, XFile& editedFile) const;

private:
    std::vector<STRIFFChunk> chunks_;
};

}  // namespace w64
