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
    Merge,        // new values win, other tags stay
    DeleteNamed,  // values are ignored
    DeleteAll,
};

// Edits the tags of a file in place, by the user's current options.
// Use:    one edit per object, which locks the file and closes it when destroyed.
// Errors: reported, then false. By the exact rules a file that is not Wave64, and a failed edit of a chunk, count
//         as success. A file that was not scanned to its end is never edited.
class TagWriter {
public:
    explicit TagWriter(const STNStdReport& report) : report_(report) {}

    // `tags` is replaced by what was written.
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
