#pragma once

#include "base/XFile.h"
#include "wave64/container/ChunkCodes.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace w64 {

// How a chunk's size field fits the file.
enum class ChunkFit {
    Whole,
    TooSmall,     // claims fewer bytes than its own header
    Outside,      // claims more bytes than the file has left
    CutTo32Bits,  // holds only the low 32 bits of the real size
};

// A chunk in the file: what its header says, and what is there.
struct WalkedChunk {
    GUID identifier{};
    int64_t position = 0;      // of the header
    uint64_t sizeField = 0;    // as stored; includes the header
    int64_t dataBytes = 0;     // in the file
    int64_t paddingBytes = 0;  // in the file
    bool zeroPadding = true;
    ChunkFit fit = ChunkFit::Whole;

    uint64_t ClaimedBytes() const { return sizeField - kChunkHeaderBytes; }  // unless it is TooSmall
    bool HasKnownEnd() const { return fit == ChunkFit::Whole || fit == ChunkFit::CutTo32Bits; }
    int64_t DataPosition() const { return position + kChunkHeaderBytes; }
    int64_t DataEnd() const { return DataPosition() + dataBytes; }
    int64_t End() const { return DataEnd() + paddingBytes; }
};

// The size field of a Wave64 file's outer header.
// Errors: Failure, as a sentence, if the file does not begin with one.
uint64_t ReadOuterSize(XFile& file);

// The outer header of a file of that length.
std::array<uint8_t, kOuterHeaderBytes> OuterHeaderOf(int64_t fileBytes);

// The chunks of a file in order, by what is there: a wrong outer size hides none of them, and no size leads out
// of the file or back. Only the last few bytes of a chunk's data are read.
class ChunkWalk {
public:
    enum class Stop {
        FileEnd,      // or too close to it for another header
        OuterEnd,     // the chunks end where the outer header says, but the file goes on
        FaultyChunk,  // the end of the last chunk is unknown
        NoChunk,      // something else is where a header should be
        TooMany,      // more than readers accept
        Unreadable,
    };
    static constexpr int64_t kMaxChunks = 450'000;  // the decoder's limit

    // `start` is where a chunk begins.
    ChunkWalk(XFile& file, uint64_t outerSize, int64_t start = kOuterHeaderBytes);

    std::optional<WalkedChunk> Next();

    // After the last chunk. Bytes from Position on belong to no known chunk.
    Stop StoppedBy() const { return *stop_; }
    int64_t Position() const { return position_; }
    int64_t BytesLeft() const { return fileBytes_ - position_; }
    const std::string& ReadError() const { return readError_; }

    // Whether a chunk with a known name that fits the file begins there.
    bool ChunkBeginsAt(int64_t position);

private:
    const uint8_t* At(int64_t position, int64_t bytes);
    std::optional<WalkedChunk> ReadHeader(int64_t position);
    bool IsWholeAt(int64_t position);
    void MeasureData(WalkedChunk& chunk);
    void MeasurePadding(WalkedChunk& chunk);
    bool IsAtOuterEnd() const;

    XFile& file_;
    const int64_t fileBytes_;
    const uint64_t outerSize_;
    int64_t position_;
    int64_t lastDataEnd_ = 0;  // of the chunk before
    int64_t count_ = 0;
    std::optional<Stop> stop_;
    std::string readError_;

    // Read-ahead, so that adjacent small chunks share one read.
    std::array<uint8_t, 4096> window_;
    int64_t windowStart_ = 0;
    int64_t windowBytes_ = 0;
};

}  // namespace w64
