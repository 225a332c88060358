// Inserting, replacing and removing a chunk of an existing file. A padding chunk next to the edit absorbs the
// difference in size, so that the audio need not move.

#include "base/LittleEndian.h"
#include "base/Saturating.h"
#include "interface/StdReport.h"
#include "wave64/container/clWave64Handler.h"

#include <algorithm>
#include <array>

namespace w64 {

namespace {

constexpr const char* kWriteThisCompleteChunk = "WriteThisCompleteChunk";
constexpr int kJunkPadding = 0;
constexpr int kPadPadding = 1;
constexpr int kNoPadding = 2;

int64_t PaddedRoom(const STRIFFChunk& chunk) {
    return Padded(SaturatingAdd(chunk.DataSize, kChunkHeaderBytes));
}

uint32_t PaddingCode(int mode) { return RIFFChnkID(mode == kJunkPadding ? "JUNK" : "PAD "); }

// Size of a fresh padding chunk, header included.
int64_t FreshPaddingBytes(int mode, int paddingSize) {
    if (mode == kNoPadding) return 0;
    return Padded(paddingSize == 0 ? 2048 : std::max(paddingSize, 256));
}

}  // namespace

bool clWave64Handler::InsertNewChunkIntoFile(int index, const void* chunk, uint32_t size, int paddingMode,
                                             int paddingSize) {
    if (!chunk || size < kChunkHeaderBytes) return true;
    if (index < 0 || index > Count()) index = Count();
    const int64_t need = Padded(size);
    int64_t reclaimed = 0;
    bool shift = true;
    if (IsPadding(index)) {
        if (index == Count() - 1) {
            if (!RemoveChunkFromFile(index, kNoPadding) && rules_.safe) return false;
        } else if (STRIFFChunk& padding = chunks_[index]; need <= Slack(padding)) {
            padding.DataSize -= need;
            shift = false;
        } else if (paddingMode != kNoPadding) {
            reclaimed = PaddedRoom(padding);
            chunks_.DeletePos(index);
        }
    }
    if (index == Count()) {
        shift = false;
        if (!TakeRoom(SaturatingAdd(riffSize_, need))) return false;
    }
    const int64_t fresh = shift ? FreshPaddingBytes(paddingMode, paddingSize) : 0;
    // By the exact rules the fresh padding overwrites what follows.
    const int64_t distance = need - reclaimed + (rules_.safe ? fresh : 0);
    if (shift && !Shuffle(chunks_[index].ChunkPosition, distance, false)) return false;
    return WriteThisCompleteChunk(index, chunk, size, true) &&
           WriteFreshPadding(index + 1, paddingMode, fresh) && WriteHeadersFrom(index);
}

bool clWave64Handler::ResizeExistingChunkOnFile(int index, const void* chunk, uint32_t size, int paddingMode,
                                                int paddingSize) {
    if (!GetChunk(index)) return false;
    if (!chunk || size == 0) return RemoveChunkFromFile(index, paddingMode);
    if (size < kChunkHeaderBytes) return false;
    bool makePadding = HasDataAfter(index);
    const int64_t room = Room(chunks_[index]);
    if (room < 0) return StdReport::Fail(L"Error reading File Size.", report_, "ResizeExistingChunkOnFile");
    int64_t delta = Padded(size) - room;
    int64_t reclaimed = 0;
    if (delta != 0 && IsPadding(index + 1)) {
        STRIFFChunk& next = chunks_[index + 1];
        if (delta < 0 || delta <= Slack(next)) {
            next.DataSize = SaturatingAdd(next.DataSize, -delta);
            next.WriteHeader = true;
            delta = 0;
        } else if (paddingMode != kNoPadding) {
            reclaimed = PaddedRoom(next);
            chunks_.DeletePos(index + 1);
            makePadding = true;
        }
    }
    const int64_t fresh = delta != 0 && makePadding ? FreshPaddingBytes(paddingMode, paddingSize) : 0;
    if (delta != 0) {
        const STRIFFChunk* next = GetChunk(index + 1);
        const int64_t position = chunks_[index].ChunkPosition;
        const bool made =
            next ? Shuffle(next->ChunkPosition, delta - reclaimed + fresh, false)
                 : TakeRoom(SaturatingAdd(position, Padded(size) + fresh)) && CutForLastChunk(position);
        if (!made) return false;
    }
    return WriteThisCompleteChunk(index, chunk, size, false) &&
           WriteFreshPadding(index + 1, paddingMode, fresh) && WriteHeadersFrom(index);
}

bool clWave64Handler::RemoveChunkFromFile(int index, int paddingMode) {
    if (!GetChunk(index)) return false;
    STRIFFChunk& removed = chunks_[index];
    const int64_t room = Room(removed);
    if (room < 0) return StdReport::Fail(L"Error reading File Size.", report_, "RemoveChunkFromFile");
    if (IsPadding(index + 1)) {  // it takes over the removed chunk's space
        STRIFFChunk& next = chunks_[index + 1];
        next.DataSize = SaturatingAdd(next.DataSize, room);
        next.WriteHeader = true;
        chunks_.DeletePos(index);
        return WriteChunkHeaders(false);
    }
    const bool isLast = index == Count() - 1;
    if ((paddingMode == kJunkPadding || paddingMode == kPadPadding) && !isLast) {
        removed.ChunkGUID = ConvertToGUID(PaddingCode(paddingMode));
        removed.WriteHeader = true;
        return WriteChunkHeaders(false);
    }
    // Nothing after the last chunk has to move; the safe rules truncate the file after the outer header is
    // written.
    const bool moves = !isLast || !rules_.safe;
    if (moves && !Shuffle(SaturatingAdd(removed.ChunkPosition, room), -room, false)) return false;
    chunks_.DeletePos(index);
    return WriteHeadersFrom(index);
}

bool clWave64Handler::WriteThisCompleteChunk(int index, const void* chunk, uint32_t size, bool asNew) {
    if (!chunk || size < kChunkHeaderBytes || index < 0) return false;
    if (asNew) chunks_.Insert(std::min(index, Count()));
    STRIFFChunk* record = GetChunk(std::min(index, asNew ? Count() - 1 : index));
    if (!record) return false;
    record->ChunkGUID = ConvertToGUID(base::Load<uint32_t>(chunk));
    record->DataSize = int64_t{size} - kChunkHeaderBytes;
    record->WriteHeader = true;
    CalcAllChunks();
    if (!SetPosition(record->ChunkPosition)) {
        return StdReport::Fail(L"Error Setting File Position.", report_, kWriteThisCompleteChunk);
    }
    constexpr std::array<uint8_t, 8> zeros{};
    const auto padding = static_cast<size_t>(GetPaddingBytes(size));
    return (Write(chunk, size) && Write(zeros.data(), padding)) ||
           StdReport::Fail(L"Error writing to file, disk full?", report_, kWriteThisCompleteChunk);
}

// Reserves disk space before anything is overwritten, so that a full disk leaves the file unchanged.
bool clWave64Handler::TakeRoom(int64_t end) { return !rules_.safe || Extend(std::max(Size(), end)); }

// The exact rules cut off a last chunk before it is rewritten.
bool clWave64Handler::CutForLastChunk(int64_t position) { return rules_.safe || SetFileSize(position); }

bool clWave64Handler::WriteFreshPadding(int index, int mode, int64_t bytes) {
    if (bytes == 0) return true;
    XMem padding;
    if (!padding.Resize(static_cast<size_t>(bytes))) return false;
    std::fill_n(padding.Data(), padding.Size(), uint8_t{0});
    base::Store(padding.Data(), ConvertToGUID(PaddingCode(mode)));
    base::Store(padding.Data() + sizeof(GUID), bytes - kChunkHeaderBytes);
    return WriteThisCompleteChunk(index, padding.Data(), static_cast<uint32_t>(bytes), true);
}

bool clWave64Handler::WriteHeadersFrom(int index) {
    SetChunksToWrite(index);
    return WriteChunkHeaders(false);
}

bool clWave64Handler::IsPadding(int index) {
    const STRIFFChunk* chunk = GetChunk(index);
    return chunk && (CompareGUID(chunk->ChunkGUID, RIFFChnkID("JUNK")) ||
                     CompareGUID(chunk->ChunkGUID, RIFFChnkID("PAD ")));
}

bool clWave64Handler::HasDataAfter(int index) const {
    const GUID data = ConvertToGUID(RIFFChnkID("data"));
    return std::any_of(chunks_.begin() + index + 1, chunks_.end(),
                       [&](const STRIFFChunk& chunk) { return chunk.ChunkGUID == data; });
}

// Bytes that a chunk occupies in the file. The exact rules do not count its padding; the safe rules do, up to the
// end of the file, as some writers omit the last padding. Negative if the file's size cannot be read.
int64_t clWave64Handler::Room(const STRIFFChunk& chunk) const {
    return rules_.safe ? std::min(PaddedRoom(chunk), Size() - chunk.ChunkPosition)
                       : SaturatingAdd(chunk.DataSize, kChunkHeaderBytes);
}

// Bytes that a padding chunk can give up; the exact rules take them as a signed 32-bit number.
int64_t clWave64Handler::Slack(const STRIFFChunk& padding) const {
    return rules_.safe ? padding.DataSize : static_cast<int32_t>(static_cast<uint32_t>(padding.DataSize));
}

}  // namespace w64
