#pragma once

#include "host/files/InputFile.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace w64 {

// What an audio file holds by its own headers. libsndfile skips much of it, and treats audio that is cut off as
// complete. WAV, RF64, AIFF, CAF, AU and FLAC are known; for other files nothing is reported.
// Errors: Failure for a file that cannot be read.
class SourceHeaders {
public:
    explicit SourceHeaders(const std::string& path);

    // The names of tags, and what else there is besides the audio, in words.
    const std::vector<std::string>& Tags() const { return tags_; }
    const std::vector<std::string>& Contents() const { return contents_; }

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
    void NoteComments(int64_t position);
    void NoteTag(const std::string& code);

    bool Has(int64_t position, uint64_t bytes) const;
    std::string TextAt(int64_t position, size_t bytes);
    uint64_t NumberAt(int64_t position, size_t bytes, bool bigEndian);

    InputFile file_;
    const int64_t fileBytes_;
    bool bigEndian_ = false;
    std::optional<uint64_t> longAudioBytes_;  // in RF64, whose audio chunk has no room for it
    bool audioIsEmpty_ = false;
    int64_t missingBytes_ = 0;
    int64_t bytesInNoChunk_ = 0;
    std::vector<std::string> tags_;
    std::vector<std::string> contents_;
};

// Adds a text that is not there yet; "others" once there are too many to list.
void AddOnce(std::vector<std::string>& texts, const std::string& text);

}  // namespace w64
