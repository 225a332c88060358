#include "host/layout/Salvage.h"

#include "host/files/FileCopy.h"
#include "host/layout/ChunkKind.h"
#include "host/layout/ChunkWalk.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <array>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr int64_t kSizeFieldOffset = 16;  // in the outer header and in chunk headers

// The audio chunk in the file, regardless of the outer header.
struct AudioExtent {
    WalkedChunk chunk;
    int64_t present;                  // bytes from its data to the end of the file
    bool fits;                        // other chunks follow its data, up to where the file ends
    std::optional<XAudioWFX> format;  // where it lies before the audio

    uint64_t Announced() const { return chunk.fit == ChunkFit::TooSmall ? 0 : chunk.ClaimedBytes(); }
    // A crashed recorder leaves the initial size, zero, or an outdated one.
    int64_t Usable() const { return chunk.dataBytes == 0 || !fits ? present : chunk.dataBytes; }
};

// Whether the chunks lead from the walk's position to `end` or past it.
bool ChunksReach(ChunkWalk& walk, int64_t end) {
    while (walk.Position() < end) {
        const auto chunk = walk.Next();
        if (!chunk) return walk.StoppedBy() == ChunkWalk::Stop::TooMany;  // audio does not look like that
        if (!chunk->HasKnownEnd()) return false;
    }
    return true;
}

// The end of the file by the outer header if that is in the file and after the audio; else its real end.
int64_t OuterEnd(uint64_t outerSize, const WalkedChunk& audio, int64_t fileBytes) {
    const bool isUsable =
        outerSize >= static_cast<uint64_t>(audio.DataEnd()) && outerSize < static_cast<uint64_t>(fileBytes);
    return isUsable ? static_cast<int64_t>(outerSize) : fileBytes;
}

// Nothing if there is none, or if the file is not Wave64, which the decoder reports.
std::optional<AudioExtent> FindAudio(const fs::path& path) try {
    XFile file;
    if (!file.Open(FromUTF8(path.native()), XFile::Access::Read)) return std::nullopt;
    const int64_t fileBytes = file.Size();
    const uint64_t outerSize = ReadOuterSize(file);
    ChunkWalk walk(file, 0);  // the outer size of a crashed recorder may end anywhere
    std::optional<XAudioWFX> format;
    auto chunk = walk.Next();
    for (; chunk && KindOfChunk(chunk->identifier) != ChunkKind::Audio; chunk = walk.Next()) {
        if (format || KindOfChunk(chunk->identifier) != ChunkKind::Format) continue;
        auto record = ReadFormatRecord(file, chunk->DataPosition(), chunk->dataBytes);
        if (record) format.emplace(record->data(), static_cast<unsigned>(record->size()));
    }
    if (!chunk) return std::nullopt;
    const bool fits = !chunk->HasKnownEnd() || ChunksReach(walk, OuterEnd(outerSize, *chunk, fileBytes));
    return AudioExtent{*chunk, fileBytes - chunk->DataPosition(), fits, format};
} catch (const Failure&) {
    return std::nullopt;
}

// Whether the decoder finds all of it; at most it has to be told where to stop.
bool DecoderSees(Wave64File& file, const AudioExtent& audio) {
    const STRIFFChunk* data = file.Chunks().FindChunkForRead("data");
    return data && data->DataSize >= audio.Usable();
}

void PutSize(XFile& file, int64_t headerPosition, int64_t size) {
    if (!file.SetPosition(headerPosition + kSizeFieldOffset) || !file.Write(&size, sizeof size)) {
        throw SystemFailure("cannot write a repaired copy");
    }
}

// The file up to the end of its audio, with sizes that say so.
std::unique_ptr<TempFile> RepairedCopy(const fs::path& path, const AudioExtent& audio,
                                       const fs::path& folder) {
    XFile original;
    if (!original.Open(FromUTF8(path.native()), XFile::Access::Read))
        throw SystemFailure("cannot open the file");
    auto copy = std::make_unique<TempFile>(folder);
    const int64_t end = audio.chunk.DataPosition() + audio.Usable();
    CopyBeginning(original, copy->File(), end);
    PutSize(copy->File(), 0, end);
    PutSize(copy->File(), audio.chunk.position, end - audio.chunk.position);
    copy->File().Close();  // the decoder gets it, and the lock with it
    return copy;
}

}  // namespace

std::optional<Salvage> PlanSalvage(const fs::path& path, const fs::path& copyFolder) {
    const auto audio = FindAudio(path);
    if (!audio) return std::nullopt;
    Salvage salvage;
    salvage.source = path;
    Wave64File file(path);
    const bool emptyByRight = audio->Announced() == 0 && file.IsWhole();
    auto format = file.Format();
    const bool isLinear = format && IsLinear(format->WFXFormatTag());
    const STRIFFChunk* data = file.Chunks().FindChunkForRead("data");
    const bool isCutOff = data && data->DataSize > audio->Usable();
    // The decoder can be told to stop after a block, and packets may end within one.
    if (!emptyByRight && (!DecoderSees(file, *audio) || (isCutOff && !isLinear))) {
        salvage.repaired = RepairedCopy(path, *audio, copyFolder);
        salvage.source = salvage.repaired->Path();
        format = Wave64File(salvage.source).Format();
    }
    if (!format) return std::nullopt;

    const int64_t usable = emptyByRight ? 0 : audio->Usable();
    salvage.isToStop = !salvage.repaired && isCutOff;
    const int64_t kept = IsLinear(format->WFXFormatTag()) ? format->BlockAlignBuffer(usable) : usable;
    const auto announced = static_cast<int64_t>(std::min<uint64_t>(audio->Announced(), INT64_MAX));
    salvage.frames = kept / format->BlockAlign();
    salvage.lostBytes = std::max(announced, usable) - kept;
    salvage.milliseconds = format->CalcmsTime(kept);
    return salvage;
}

std::optional<int64_t> MillisecondsOfAudio(const fs::path& path) {
    const auto audio = FindAudio(path);
    if (!audio || !audio->format) return std::nullopt;
    return XAudioWFX(*audio->format).CalcmsTime(audio->Usable());
}

bool HidesAudio(const fs::path& path) {
    const auto audio = FindAudio(path);
    if (!audio || audio->present == 0) return false;
    Wave64File file(path);
    if (!file.IsOpen()) return false;
    return audio->Announced() == 0 ? !file.IsWhole() : !DecoderSees(file, *audio);
}

}  // namespace w64
