#pragma once

#include "base/XFile.h"
#include "interface/w64_decoder.h"
#include "tags/NTag.h"
#include "tags/TaggingOptions.h"
#include "wave64/container/clWave64Handler.h"

#include <vector>

namespace w64 {

// What the summary lists of a file hold.
struct SummaryLists {
    NTag tags;                       // of all of them; of equal names the first is kept
    std::vector<int> withTags;       // the chunks that have some, in file order
    LISTText text = LISTText::Half;  // of the last of these where its bytes tell, else that of new lists
    bool areWhole = true;            // all can be read to their last entry

    // The one that is rewritten; -1 when none has tags.
    int Index() const { return withTags.empty() ? -1 : withTags.back(); }
};

// The tags of a scanned file.
// Errors: reported; a chunk that cannot be read gives no tags.
class ChunkTags {
public:
    static SummaryLists ReadSummaryLists(XFile& file, clWave64Handler& handler, const TaggingOptions& options,
                                         const STNStdReport& report);

    // Whether a chunk is a list, and not an empty one.
    static bool IsSummaryList(const STRIFFChunk& chunk);

    // The data of one.
    [[nodiscard]] static bool ReadSummaryList(const STRIFFChunk& list, XFile& file, XMem& data,
                                              const STNStdReport& report);

    // Appends the other chunks as binary tags "_riff_1", "_riff_2" ...: its four-character code, then its
    // data. The format and the audio are there by their codes alone; padding, "fact" and "ds64" are not, nor
    // what would take the packed block to 2 GiB.
    static void AppendRawChunks(XFile& file, clWave64Handler& handler, int listIndex, NTag& tags,
                                const STNStdReport& report);

    // A line for each tag, where somebody reads the trace.
    static void Trace(const NTag& tags, const STNStdReport& report);

    // Makes the buffer `skip` + `bytes` long and reads `bytes` from `offset` behind the first `skip`. A file
    // that is too short fails before there is memory for it.
    [[nodiscard]] static bool ReadFileIntoMemory(XMem& buffer, size_t skip, int64_t bytes, int64_t offset,
                                                 XFile& file, const STNStdReport& report);
};

}  // namespace w64
