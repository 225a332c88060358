#pragma once

#include "base/XFile.h"
#include "plugin/interface/w64_decoder.h"
#include "tags/NTag.h"
#include "tags/TaggingOptions.h"
#include "wave64/container/clWave64Handler.h"

// The tags of a scanned file.
// Errors: reported; a chunk that cannot be read gives no tags.
class ChunkTags {
public:
    // Replaces `tags` by those of all summary lists; of equal names the first is kept. listIndex becomes the
    // last list that has tags, -1 when none has. The text form of that list is put into the rules where its
    // bytes tell, so that it is written again as it was found.
    static void ReadSummaryLists(XFile& file, clWave64Handler& handler, NTag& tags, int& listIndex,
                                 TaggingOptions& options, const STNStdReport& report);

    // The same for one chunk. False for what is no summary list, or has no tags.
    [[nodiscard]] static bool ReadSummaryList(const STRIFFChunk& chunk, XFile& file, NTag& tags,
                                              int albumOption, LISTText& text, const STNStdReport& report);

    // Whether all summary lists can be read to their last entry.
    static bool AreListsWhole(XFile& file, clWave64Handler& handler, const STNStdReport& report);

    // Appends the other chunks as binary tags "_riff_1", "_riff_2" ...: its four-character code, then its
    // data. The format and the audio are there by their codes alone; padding, "fact" and "ds64" are not.
    static void AppendRawChunks(XFile& file, clWave64Handler& handler, int listIndex, NTag& tags,
                                const STNStdReport& report);

    // A line for each tag, where somebody reads the trace.
    static void Trace(const NTag& tags, const STNStdReport& report);

    // Makes the buffer `skip` + `bytes` long and reads `bytes` from `offset` behind the first `skip`. A file
    // that is too short fails before there is memory for it.
    [[nodiscard]] static bool ReadFileIntoMemory(XMem& buffer, size_t skip, uint32_t bytes, int64_t offset,
                                                 XFile& file, const STNStdReport& report);
};
