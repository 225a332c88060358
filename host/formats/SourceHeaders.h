#pragma once

#include "host/files/InputFile.h"
#include "host/tagging/Metadata.h"

#include <cstdint>
#include <optional>
#include <string>

namespace w64 {

// What an audio file holds by its own headers. libsndfile skips much of it, and treats audio that is cut off as
// complete. WAV, RF64, AIFF, CAF, AU and FLAC are known; for other files nothing is reported.
// Errors: Failure for a file that cannot be read.
class SourceHeaders {
public:
    explicit SourceHeaders(const std::string& path);

    // What is there besides the audio. The comments of FLAC, and ID3 in WAV and AIFF, are for TagLib.
    const Metadata& Contents() const { return contents_; }

    // Bytes of audio that are announced and not there; none where the length is left open.
    int64_t MissingBytes() const { return missingBytes_; }

    // Bytes in no chunk after audio of size 0, as an interrupted recording leaves them.
    int64_t BytesInNoChunk() const { return bytesInNoChunk_; }

    // Whether programs write this size of audio for a stream whose length they do not know yet.
    static bool LeavesLengthOpen(uint64_t audioBytes);

    // Whether a chunk belongs to the audio itself or is padding.
    static bool IsStructure(const std::string& code);

private:
    struct Chunk {
        std::string code;
        int64_t position;  // of its data
        uint64_t bytes;    // as claimed
    };

    void WalkChunks(int64_t position, size_t sizeBytes, bool isPadded);
    void WalkBlocks();
    void ReadSun();
    void Note(const Chunk& chunk);
    void NoteAudio(const Chunk& audio);
    void NoteList(const Chunk& list);
    void NoteStrings(const Chunk& info);
    bool IsForTagLib(const Chunk& chunk) const;
    bool NoteText(const Chunk& chunk);
    bool NoteExtension(const Chunk& chunk);
    void AddText(const std::string& name, int64_t position, uint64_t bytes);

    bool Has(int64_t position, uint64_t bytes) const;
    std::string TextAt(int64_t position, size_t bytes);
    uint64_t NumberAt(int64_t position, size_t bytes, bool bigEndian);

    InputFile file_;
    const int64_t fileBytes_;
    bool bigEndian_ = false;
    bool hasTagsForTagLib_ = false;           // in chunks of ID3 tags
    std::optional<uint64_t> longAudioBytes_;  // in RF64, whose audio chunk has no room for it
    bool audioIsEmpty_ = false;
    int64_t missingBytes_ = 0;
    int64_t bytesInNoChunk_ = 0;
    Metadata contents_;
};

}  // namespace w64
