#include "host/layout/Salvage.h"

#include "host/files/FileCopy.h"
#include "host/files/InputFile.h"
#include "host/layout/AudioExtent.h"
#include "host/layout/ChunkWalk.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"

#include <algorithm>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr int64_t kSizeFieldOffset = 16;  // in the header of a chunk

// Nothing if there is none, or if the file is not Wave64, which the decoder reports.
std::optional<AudioExtent> FindAudio(const fs::path& path) {
    InputFile file(path);
    auto audio = FindAudio(file);
    RequireNoError(file);
    return audio;
}

// Whether the decoder finds all of it; at most it has to be told where to stop.
bool DecoderSees(Wave64File& file, const AudioExtent& audio) {
    const STRIFFChunk* data = file.Chunks().FindChunkForRead("data");
    return data && data->DataSize >= audio.Bytes();
}

void Put(XFile& file, int64_t position, const void* bytes, size_t size) {
    if (!file.SetPosition(position) || !file.Write(bytes, size)) {
        throw SystemFailure("cannot write a repaired copy");
    }
}

// The file up to the end of its audio, with sizes that say so.
std::unique_ptr<TempFile> RepairedCopy(const fs::path& path, const AudioExtent& audio,
                                       const fs::path& folder) {
    InputFile original(path);
    auto copy = std::make_unique<TempFile>(folder);
    CopyBeginning(original, copy->File(), audio.end);
    const auto outer = OuterHeaderOf(audio.end);
    const int64_t size = audio.end - audio.chunk.position;
    Put(copy->File(), 0, outer.data(), outer.size());
    Put(copy->File(), audio.chunk.position + kSizeFieldOffset, &size, sizeof size);
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
    auto format = file.Format();
    const bool isLinear = format && IsLinear(format->WFXFormatTag());
    const STRIFFChunk* data = file.Chunks().FindChunkForRead("data");
    const bool isCutOff = data && data->DataSize > audio->Bytes();
    // The decoder can be told to stop after a block, and packets may end within one.
    if (!DecoderSees(file, *audio) || (isCutOff && !isLinear)) {
        salvage.repaired = RepairedCopy(path, *audio, copyFolder);
        salvage.source = salvage.repaired->Path();
        format = Wave64File(salvage.source).Format();
    }
    if (!format) return std::nullopt;

    salvage.isToStop = !salvage.repaired && isCutOff;
    const int64_t usable = audio->Bytes();
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
    return XAudioWFX(*audio->format).CalcmsTime(audio->Bytes());
}

bool HidesAudio(const fs::path& path) {
    const auto audio = FindAudio(path);
    if (!audio || audio->Bytes() == 0) return false;
    Wave64File file(path);
    return !DecoderSees(file, *audio);
}

}  // namespace w64
