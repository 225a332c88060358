#include "host/layout/AudioExtent.h"

#include "base/LittleEndian.h"
#include "host/layout/ChunkKind.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <vector>

namespace w64 {

namespace {

// The size that the outer header gives; nothing if fewer than half of the bytes of its identifiers are right.
std::optional<uint64_t> LikelyOuterSize(XFile& file) {
    std::array<uint8_t, kOuterHeaderBytes> header{};
    if (!file.SetPosition(0) || file.Read(header.data(), header.size()) < header.size()) return std::nullopt;
    constexpr int kHalf = 16;
    const auto size = base::Load<int64_t>(header.data() + 16);
    const auto expected = OuterHeaderOf(size);
    const int right = std::transform_reduce(header.begin(), header.end(), expected.begin(), -8, std::plus<>(),
                                            std::equal_to<>());  // the size counts for nothing
    return right < kHalf ? std::nullopt : std::optional(static_cast<uint64_t>(size));
}

// The end of the file by the outer header if that is in the file and after the audio; else its real end.
int64_t OuterEnd(uint64_t outerSize, const WalkedChunk& audio, int64_t fileBytes) {
    const bool isUsable = audio.dataBytes != 0 && outerSize >= static_cast<uint64_t>(audio.DataEnd()) &&
                          outerSize < static_cast<uint64_t>(fileBytes);
    return isUsable ? static_cast<int64_t>(outerSize) : fileBytes;
}

// Whether chunks follow, up to the end of the file. One with a known name is no audio.
bool ChunksFollow(ChunkWalk& walk, const WalkedChunk& audio, uint64_t outerSize, int64_t fileBytes) {
    if (walk.ChunkBeginsAt(audio.DataEnd())) return true;  // without padding in between
    const int64_t end = OuterEnd(outerSize, audio, fileBytes);
    while (walk.Position() < end) {
        const auto chunk = walk.Next();
        if (!chunk && walk.StoppedBy() == ChunkWalk::Stop::FileEnd) {
            return outerSize > static_cast<uint64_t>(fileBytes);  // a header is cut off
        }
        if (!chunk) return walk.StoppedBy() == ChunkWalk::Stop::TooMany;  // audio does not look like that
        if (HasName(chunk->identifier)) return true;
        if (!chunk->HasKnownEnd()) return false;
    }
    return true;
}

// Whether something other than zeros and chunks comes after sizes that agree: a recorder wrote them a while before it
// lost power.
bool GoesOn(XFile& file, const WalkedChunk& audio, uint64_t outerSize) {
    constexpr int64_t kSearched = 1 << 20;
    const auto isEnd = [outerSize](int64_t end) { return outerSize == static_cast<uint64_t>(end); };
    if (!isEnd(audio.DataEnd()) && !isEnd(audio.End())) return false;
    const auto next = ChunkWalk(file, 0, audio.End()).Next();
    if (file.Size() - audio.End() < kChunkHeaderBytes || (next && HasName(next->identifier))) return false;
    std::vector<uint8_t> rest(static_cast<size_t>(std::min(file.Size() - audio.End(), kSearched)));
    const bool isRead = file.SetPosition(audio.End()) && file.Read(rest.data(), rest.size()) == rest.size();
    return isRead && std::ranges::any_of(rest, [](uint8_t byte) { return byte != 0; });
}

// Whether chunks with known names lead from there to the end of the file.
bool ChunksLeadToEnd(XFile& file, int64_t position) {
    ChunkWalk walk(file, 0, position);
    while (const auto chunk = walk.Next()) {
        const ChunkKind kind = KindOfChunk(chunk->identifier);
        if (!HasName(chunk->identifier) || kind == ChunkKind::Audio || kind == ChunkKind::Format)
            return false;
    }
    return walk.StoppedBy() == ChunkWalk::Stop::FileEnd && walk.BytesLeft() == 0;
}

// Where audio of unknown length ends: at the chunks that end the file. Only its last part is searched for them.
int64_t EndBeforeLastChunks(XFile& file, ChunkWalk& walk, int64_t start) {
    constexpr int64_t kSearched = 1 << 20;
    const int64_t fileBytes = file.Size();
    int64_t position = std::max(start, (fileBytes - kSearched) / 8 * 8);
    for (; position + kChunkHeaderBytes <= fileBytes; position += 8) {
        if (walk.ChunkBeginsAt(position) && ChunksLeadToEnd(file, position)) return position;
    }
    return fileBytes;
}

}  // namespace

int64_t AudioExtent::BytesOfWholeFrames() const {
    if (!format || !HasFrames(*format)) return Bytes();
    return XAudioWFX(*format).BlockAlignBuffer(Bytes());
}

std::optional<AudioExtent> FindAudio(XFile& file) {
    const auto outerSize = LikelyOuterSize(file);
    if (!outerSize) return std::nullopt;
    ChunkWalk walk(file, 0);  // the outer size of a crashed recorder may end anywhere
    AudioExtent audio;
    auto chunk = walk.Next();
    for (; chunk && KindOfChunk(chunk->identifier) != ChunkKind::Audio; chunk = walk.Next()) {
        if (audio.format || KindOfChunk(chunk->identifier) != ChunkKind::Format) continue;
        auto record = ReadFormatRecord(file, chunk->DataPosition(), chunk->dataBytes);
        if (record) audio.format.emplace(record->data(), static_cast<unsigned>(record->size()));
    }
    if (!chunk) return std::nullopt;
    audio.chunk = *chunk;
    const bool sizeIsRight = chunk->HasKnownEnd() && ChunksFollow(walk, *chunk, *outerSize, file.Size()) &&
                             !GoesOn(file, *chunk, *outerSize);
    audio.end = sizeIsRight ? chunk->DataEnd() : EndBeforeLastChunks(file, walk, chunk->DataPosition());
    return audio;
}

bool HasFrames(const XAudioWFX& format) {
    switch (format.WFXFormatTag()) {
    case kTagPCM:
    case kTagFloat:
    case kTagALaw:
    case kTagMuLaw:
        return true;
    default:
        return false;
    }
}

}  // namespace w64
