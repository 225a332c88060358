#pragma once

#include "base/XFile.h"
#include "interface/w64_decoder.h"
#include "tags/NTag.h"
#include "tags/TaggingOptions.h"
#include "wave64/container/clWave64Handler.h"

#include <vector>

namespace w64 {

// The contents of a file's summary lists.
struct SummaryLists {
    NTag tags;                  // of all lists; the first of equal names is kept
    std::vector<int> withTags;  // indices of the chunks that hold tags, in file order
    LISTText text =
        LISTText::Half;    // the form of the last of these if its bytes tell, else that of new lists
    bool areWhole = true;  // every list can be read to its last entry

    // The list that is rewritten; -1 if none has tags.
    int Index() const { return withTags.empty() ? -1 : withTags.back(); }
};

// The tags of a scanned file.
// Errors: reported; a chunk that cannot be read gives no tags.
class ChunkTags {
public:
    static SummaryLists ReadSummaryLists(XFile& file, clWave64Handler& handler, const TaggingOptions& options,
                                         const STNStdReport& report);

    // True for a summary list that is not empty.
    static bool IsSummaryList(const STRIFFChunk& chunk);

    // Reads the data of one list.
    [[nodiscard]] static bool ReadSummaryList(const STRIFFChunk& list, XFile& file, XMem& data,
                                              const STNStdReport& report);

    // Appends the other chunks as binary tags "_riff_1", "_riff_2" ...: the four-character code, then the data.
    // The format and audio chunks give their codes only. Padding, "fact" and "ds64" are left out, and so is a
    // chunk that would take the packed block past 2 GiB.
    static void AppendRawChunks(XFile& file, clWave64Handler& handler, int listIndex, NTag& tags,
                                const STNStdReport& report);

    // Traces one line for each tag.
    static void Trace(const NTag& tags, const STNStdReport& report);

    // Resizes the buffer to `skip` + `bytes` and reads `bytes` from `offset` of the file, after the first `skip`
    // bytes of the buffer. A file that is too short fails before memory is allocated.
    [[nodiscard]] static bool ReadFileIntoMemory(XMem& buffer, size_t skip, int64_t bytes, int64_t offset,
                                                 XFile& file, const STNStdReport& report);
};

}  // namespace w64
