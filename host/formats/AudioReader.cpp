#include "host/formats/AudioReader.h"

#include "audio/samples/XAudioRdWr.h"
#include "host/files/InputFile.h"
#include "host/layout/DecoderNotes.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "wave64/container/ChunkCodes.h"

#include <algorithm>
#include <cmath>

namespace w64 {

namespace fs = std::filesystem;

namespace {

bool BeginsLikeWave64(const std::string& path) {
    InputFile file(path);
    GUID identifier;
    const size_t got = file.Read(identifier.bytes.data(), identifier.bytes.size());
    RequireNoError(file);
    return got == identifier.bytes.size() && CompareGUID(identifier, RIFFChnkID("RIFF"));
}

std::string DescribeLoss(const Salvage& salvage) {
    if (salvage.lostBytes == 0) return "the sizes in the file are wrong; w64 check tells how";
    if (static_cast<uint64_t>(salvage.lostBytes) > kMaxRecordingBytes) {
        return "the size of the audio in the file is wrong; w64 check tells more";
    }
    return "the file is cut off after " + FormatDuration(salvage.milliseconds) + ", " +
           Counted(salvage.lostBytes, "byte") + " of audio " + (salvage.lostBytes == 1 ? "is" : "are") +
           " missing";
}

}  // namespace

AudioReader::AudioReader(const std::string& path, const std::optional<fs::path>& copyFolder,
                         const CommandContext& context, const AudioRange& range)
    : path_(path) {
    if (BeginsLikeWave64(path)) {
        OpenWave64(copyFolder, context, range);
    } else {
        OpenOther(range);
    }
    const bool isKnown = XAudioRdWr::HasLayout(format_.WFXFormatTag(), format_.BitsPerSample());
    if (!isKnown || format_.Channels() == 0 || format_.SamplesPerSec() == 0) {
        throw Failure("cannot read samples of this format: " + DescribeFormat(format_));
    }
}

void AudioReader::OpenWave64(const std::optional<fs::path>& copyFolder, const CommandContext& context,
                             const AudioRange& range) {
    if (Wave64File(path_).MissingBytes() > 0 || HidesAudio(path_)) {
        if (!copyFolder) throw Failure(WithDamage("the audio is not whole", path_));
        salvage_ = PlanSalvage(path_, *copyFolder);
    }
    library_.emplace(PluginLibrary::OfWave64(context.plugin));
    decoder_.emplace(*library_, context.traceDescriptor);
    const fs::path source = salvage_ ? salvage_->source : fs::path(path_);
    std::optional<int64_t> stored;  // frames
    {  // the list of chunks, which may be long, is gone when the decoder makes its own
        Wave64File file(source);
        if (file.Format()) SetRange(range, file.Format()->SamplesPerSec());
        stored = file.Frames();
    }
    const int64_t last = salvage_ && salvage_->isToStop ? salvage_->frames : DecoderInstance::kPastTheEnd;
    if (stored) {
        decoder_->SetDecodeRange(start_, std::min(end_, last));
        position_ = start_;
    } else {  // a stored block is not a frame
        decoder_->SetDecodeRange(0, last);
    }
    try {
        decoder_->Open(source, kvOpenDecode | kvOpenAudioInfo);
    } catch (const DecoderFailure& failure) {
        throw Failure(WithDamage(failure.what(), path_));
    }
    format_ = decoder_->Format();
    const double seconds = static_cast<double>(decoder_->Info().LengthMilliseconds) / 1000;
    const auto estimate = std::llround(std::clamp(seconds * format_.SamplesPerSec(), 0.0, 1e18));
    frames_ = std::min<int64_t>(stored.value_or(estimate), last);
}

void AudioReader::OpenOther(const AudioRange& range) {
    source_.emplace(path_);
    format_.Assign(&source_->Format().Format);
    frames_ = source_->Frames();
    SetRange(range, format_.SamplesPerSec());
    if (start_ > 0 && source_->Seek(start_)) position_ = start_;
}

void AudioReader::SetRange(const AudioRange& range, uint32_t framesPerSecond) {
    if (range.start) start_ = range.start->Frame(framesPerSecond);
    if (range.end) end_ = range.end->Frame(framesPerSecond);
    if (start_ > end_) throw Failure("--start is after --end");
}

int64_t AudioReader::ExpectedFrames() const { return std::max(std::min(end_, frames_) - start_, int64_t{0}); }

std::span<const uint8_t> AudioReader::Read() {
    const int64_t frameBytes = format_.BlockAlign();
    while (position_ < end_) {
        const auto block = ReadBlock();
        if (block.empty()) break;
        const int64_t frames = static_cast<int64_t>(block.size()) / frameBytes;
        const int64_t from = std::clamp<int64_t>(start_ - position_, 0, frames);
        const int64_t to = std::clamp(end_ - position_, from, frames);
        position_ += frames;
        if (from < to) {
            return block.subspan(static_cast<size_t>(from * frameBytes),
                                 static_cast<size_t>((to - from) * frameBytes));
        }
    }
    return {};
}

std::span<const uint8_t> AudioReader::ReadBlock() try {
    if (source_) return source_->Read();
    while (const auto bytes = decoder_->Read()) {
        if (!bytes->empty()) return *bytes;
    }
    return {};
} catch (const Failure& failure) {
    failure_ = failure.what();
    return {};
}

std::string AudioReader::Complaint() const {
    const std::string errors = failure_.empty() && decoder_ ? JoinLines(decoder_->Errors()) : failure_;
    if (source_) return errors.empty() ? source_->DescribeCut() : errors;
    if (!errors.empty()) return WithDamage(errors, path_);
    return salvage_ ? DescribeLoss(*salvage_) : "";
}

void ToDoubles(std::span<const uint8_t> frames, const XAudioWFX& format, std::vector<double>& samples) {
    const int64_t count = XAudioWFX(format).BytesToSamples_RAW(static_cast<int64_t>(frames.size()));
    samples.resize(static_cast<size_t>(count));
    auto* data = const_cast<uint8_t*>(frames.data());  // only read
    XAudioRdWr(format, 0, 0, data, nullptr).GetDbls(0, count, samples.data());
}

}  // namespace w64
