#pragma once

#include "base/XFile.h"
#include "base/XMem.h"
#include "base/XStr.h"
#include "interface/w64_decoder.h"
#include "tags/ChunkTags.h"
#include "tags/NTag.h"
#include "tags/TaggingOptions.h"
#include "wave64/container/clWave64Handler.h"

#include <span>

namespace w64 {

enum class TagEdit {
    Merge,        // new values win, tags that are not named stay
    DeleteNamed,  // values do not matter
    DeleteAll,
};

// Edits the tags of a file where they stand, by the options that are set at this moment.
// Use:    one edit per object, which opens the file alone and closes it with itself.
// Errors: reported, then false. Without safe editing a file that is no Wave64 file, and an edit of a chunk
//         that fails, count as done. A file that was not scanned to its end is never edited.
class TagWriter {
public:
    explicit TagWriter(const STNStdReport& report) : report_(report) {}

    // `tags` becomes what was written.
    [[nodiscard]] bool Edit(const XStr& fileName, TagEdit edit, NTag& tags);

private:
    [[nodiscard]] bool OpenFile(const XStr& fileName);
    [[nodiscard]] bool DeleteAll();
    [[nodiscard]] bool RemoveChunks(std::span<const int> indices);
    [[nodiscard]] bool WriteList(const NTag& tags);
    [[nodiscard]] bool PutIntoFile(const XMem& data);
    int IndexOfNewList();
    bool Fail(const XStr& message);

    STNStdReport report_;
    TaggingOptions options_;
    XFile file_;
    clWave64Handler chunks_;
    SummaryLists lists_;
};

}  // namespace w64
