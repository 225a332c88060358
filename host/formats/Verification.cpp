#include "host/formats/Verification.h"

#include "host/files/InputFile.h"
#include "host/formats/AudioReader.h"
#include "host/formats/SampleKind.h"
#include "host/layout/LayoutCheck.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace w64 {

namespace {

constexpr const char* kDiffers = "what is read back is not what was written";

}  // namespace

void Verification::CheckAudio(const std::filesystem::path& copy, const CommandContext& context) {
    std::optional<AudioReader> reader;
    try {
        reader.emplace(copy, std::nullopt, context);
    } catch (const Failure& failure) {
        Refuse(failure.what());
    }
    const XAudioWFX& format = reader->Format();
    if (KindOf(format) != KindOf(format_) || format.Channels() != format_.Channels() ||
        format.SamplesPerSec() != format_.SamplesPerSec()) {
        Refuse(kDiffers);
    }
    AudioMD5 read(format);
    for (auto frames = reader->Read(); !frames.empty(); frames = reader->Read()) {
        Interrupt::Check();
        read.Add(frames);
    }
    const std::string complaint = reader->Complaint();
    if (!complaint.empty()) Refuse(complaint);
    CheckDigest(read);
}

void Verification::CheckAudioChunk(const std::filesystem::path& copy) {
    InputFile layout(copy);
    Wave64File file(copy);
    const STRIFFChunk* data = file.Chunks().FindChunkForRead("data");
    if (LayoutCheck(layout).HasFaults() || !data || data->DataSize != bytes_) Refuse(kDiffers);
    CheckBytes(file.Chunks(), data->FileDataPosition, data->DataSize);
}

void Verification::CheckFile(const std::filesystem::path& copy) {
    InputFile file(copy);
    CheckBytes(file, 0, file.Size());
}

void Verification::CheckBytes(XFile& copy, int64_t position, int64_t bytes) {
    std::vector<uint8_t> block(1 << 16);
    AudioMD5 read(format_);
    if (!copy.SetPosition(position)) Refuse(kDiffers);
    for (int64_t left = bytes; left > 0;) {
        Interrupt::Check();
        const auto wanted = static_cast<size_t>(std::min(left, std::ssize(block)));
        if (copy.Read(block.data(), wanted) < wanted) Refuse(SystemFailure("reading it back failed").what());
        read.Add(std::span(block).first(wanted));
        left -= static_cast<int64_t>(wanted);
    }
    CheckDigest(read);
}

void Verification::CheckDigest(AudioMD5& read) {
    if (read.Digest() != written_.Digest()) Refuse(kDiffers);
}

void Verification::Refuse(const std::string& reason) const {
    throw Failure("'" + file_.native() + "' is not kept: " + reason);
}

}  // namespace w64
