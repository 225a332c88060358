#pragma once

#include "base/XFile.h"
#include "host/files/Descriptor.h"
#include "host/files/RangeEdit.h"
#include "host/tagging/KeptChunks.h"
#include "wave64/container/clWave64Handler.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace w64 {

// A recording in miniature, to try a tag edit on: a file in memory with the same chunks in the same order, the large
// ones shrunk, except lists. It takes a few reads, whatever the length of the recording.
// Errors: Failure, also for a recording whose layout is not sound.
class Sketch {
public:
    explicit Sketch(XFile& recording);

    std::filesystem::path Path() const;  // the decoder can open it

    bool HasList() const { return hasListBeforeAudio_ || hasListAfterAudio_; }
    bool HasListAfterAudio() const { return hasListAfterAudio_; }

    // The edits of the sketch as an edit of the recording; nothing if a chunk other than lists and padding would
    // move, or the edit is too large for a journal. Fails if such a chunk is missing or has another size.
    std::optional<RangeEdit> StillEdit();

private:
    // Where the sketch lacks bytes, at the end of a chunk's data.
    struct Cut {
        int64_t position;  // in the sketch
        int64_t total;     // bytes cut out up to here, a multiple of 8
    };

    void Add(const STRIFFChunk& chunk);
    void AddShrunk(const STRIFFChunk& chunk, int64_t room);
    void Copy(int64_t position, int64_t bytes);

    int64_t CutUpTo(int64_t position) const;
    int64_t InRecording(int64_t position) const { return position + CutUpTo(position); }
    bool AddRanges(clWave64Handler& chunks, RangeEdit& edit);
    void AddRange(int64_t position, int64_t bytes, int64_t cut, RangeEdit& edit);

    XFile& recording_;
    Descriptor memory_;
    XFile file_;
    int64_t maxWhole_ = 0;  // data bytes of a chunk that is not shrunk
    int64_t listBytes_ = 0;
    std::vector<Cut> cuts_;
    std::optional<KeptChunks> before_;
    bool hasListBeforeAudio_ = false;
    bool hasListAfterAudio_ = false;
};

}  // namespace w64
