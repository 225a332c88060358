#include "host/Salvage.h"

#include "base/LittleEndian.h"
#include "host/Failure.h"
#include "host/FileCopy.h"
#include "host/Wave64File.h"

#include <algorithm>
#include <array>

namespace fs = std::filesystem;

namespace {

constexpr int64_t kSizeFieldOffset = 16;  // in the outer header and in a chunk's

// The audio chunk as it lies in the file, whatever the outer header says.
struct AudioExtent {
    int64_t headerPosition;
    int64_t present;  // bytes from its data to the end of the file
    uint64_t announced;
    bool fits;  // other chunks follow behind the announced size, up to where the file ends

    int64_t DataPosition() const { return headerPosition + kChunkHeaderBytes; }
    // A recorder that has crashed leaves the size it started with, none, or an older one.
    int64_t Usable() const {
        return announced == 0 || !fits
                   ? present
                   : static_cast<int64_t>(std::min(announced, static_cast<uint64_t>(present)));
    }
};

struct Header {
    GUID identifier;
    uint64_t size;
};

// The outer header and that of a chunk begin alike.
std::optional<Header> HeaderAt(XFile& file, int64_t position) {
    std::array<uint8_t, kChunkHeaderBytes> bytes;
    if (!file.SetPosition(position) || file.Read(bytes.data(), bytes.size()) < bytes.size())
        return std::nullopt;
    return Header{Load<GUID>(bytes.data()), Load<uint64_t>(bytes.data() + kSizeFieldOffset)};
}

// Where the chunk behind this one starts; nothing when this one does not fit before `end`.
std::optional<int64_t> NextChunk(const Header& chunk, int64_t position, int64_t end) {
    if (chunk.size < kChunkHeaderBytes || chunk.size > static_cast<uint64_t>(end - position))
        return std::nullopt;
    position += static_cast<int64_t>(chunk.size);
    return position + GetPaddingBytes(position);
}

// Whether chunk after chunk leads from `position` to `end`, or past it.
bool ChunksReach(XFile& file, int64_t position, int64_t end) {
    while (position <= end - kChunkHeaderBytes) {
        const auto chunk = HeaderAt(file, position);
        const auto next = chunk ? NextChunk(*chunk, position, end) : std::nullopt;
        if (!next) return false;
        position = *next;
    }
    return position >= end;
}

// Where the outer header says that the file ends, when that is behind the audio and in the file; else its end.
int64_t OuterEnd(XFile& file, int64_t audioEnd, int64_t fileBytes) {
    const auto outer = HeaderAt(file, 0);
    const bool isUsable = outer && outer->size >= static_cast<uint64_t>(audioEnd) &&
                          outer->size < static_cast<uint64_t>(fileBytes);
    return isUsable ? static_cast<int64_t>(outer->size) : fileBytes;
}

AudioExtent ExtentOf(XFile& file, int64_t headerPosition, uint64_t sizeField, int64_t fileBytes) {
    AudioExtent audio{headerPosition, fileBytes - headerPosition - kChunkHeaderBytes, 0, true};
    audio.announced = sizeField < kChunkHeaderBytes ? 0 : sizeField - kChunkHeaderBytes;
    if (audio.announced < static_cast<uint64_t>(audio.present)) {
        const int64_t end = audio.DataPosition() + static_cast<int64_t>(audio.announced);
        audio.fits = ChunksReach(file, end + GetPaddingBytes(end), OuterEnd(file, end, fileBytes));
    }
    return audio;
}

std::optional<AudioExtent> FindAudio(const fs::path& path) {
    XFile file;
    if (!file.Open(FromUTF8(path.native()), XFile::Access::Read)) return std::nullopt;
    const int64_t fileBytes = file.Size();
    std::optional<int64_t> position = kOuterHeaderBytes;
    while (position) {
        const auto chunk = HeaderAt(file, *position);
        if (!chunk) break;
        if (CompareGUID(chunk->identifier, RIFFChnkID("data"))) {
            return ExtentOf(file, *position, chunk->size, fileBytes);
        }
        position = NextChunk(*chunk, *position, fileBytes);
    }
    return std::nullopt;
}

// The decoder finds all of it by itself; at most it is to be told where to stop.
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
    const int64_t end = audio.DataPosition() + audio.Usable();
    CopyBeginning(original, copy->File(), end);
    PutSize(copy->File(), 0, end);
    PutSize(copy->File(), audio.headerPosition, end - audio.headerPosition);
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
    const bool emptyByRight = audio->announced == 0 && file.IsWhole();
    auto format = file.Format();
    if (!emptyByRight && !DecoderSees(file, *audio)) {
        salvage.repaired = RepairedCopy(path, *audio, copyFolder);
        salvage.source = salvage.repaired->Path();
        format = Wave64File(salvage.source).Format();
    }
    if (!format) return std::nullopt;

    const int64_t usable = emptyByRight ? 0 : audio->Usable();
    const STRIFFChunk* data = file.Chunks().FindChunkForRead("data");
    salvage.isToStop = !salvage.repaired && data && data->DataSize > usable;
    const bool inFrames = salvage.isToStop || IsLinear(format->WFXFormatTag());
    const int64_t kept = inFrames ? format->BlockAlignBuffer(usable) : usable;
    const auto announced = static_cast<int64_t>(std::min<uint64_t>(audio->announced, INT64_MAX));
    salvage.frames = kept / format->BlockAlign();
    salvage.lostBytes = std::max(announced, usable) - kept;
    salvage.milliseconds = format->CalcmsTime(kept);
    return salvage;
}

bool HidesAudio(const fs::path& path) {
    const auto audio = FindAudio(path);
    if (!audio || audio->present == 0) return false;
    Wave64File file(path);
    if (!file.IsOpen()) return false;
    return audio->announced == 0 ? !file.IsWhole() : !DecoderSees(file, *audio);
}
