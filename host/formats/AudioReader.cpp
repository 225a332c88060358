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
                         const CommandContext& context)
    : path_(path) {
    if (BeginsLikeWave64(path)) {
        OpenWave64(copyFolder, context);
    } else {
        source_.emplace(path);
        format_.Assign(&source_->Format().Format);
    }
    const bool isKnown = XAudioRdWr::HasLayout(format_.WFXFormatTag(), format_.BitsPerSample());
    if (!isKnown || format_.Channels() == 0 || format_.SamplesPerSec() == 0) {
        throw Failure("cannot read samples of this format: " + DescribeFormat(format_));
    }
}

void AudioReader::OpenWave64(const std::optional<fs::path>& copyFolder, const CommandContext& context) {
    if (Wave64File(path_).MissingBytes() > 0 || HidesAudio(path_)) {
        if (!copyFolder) throw Failure(WithDamage("the audio is not whole", path_));
        salvage_ = PlanSalvage(path_, *copyFolder);
    }
    library_.emplace(PluginLibrary::OfWave64(context.plugin));
    decoder_.emplace(*library_, context.traceDescriptor);
    const bool isToStop = salvage_ && salvage_->isToStop;
    decoder_->SetDecodeRange(0, isToStop ? salvage_->frames : DecoderInstance::kPastTheEnd);
    try {
        decoder_->Open(salvage_ ? salvage_->source : fs::path(path_), kvOpenDecode | kvOpenAudioInfo);
    } catch (const DecoderFailure& failure) {
        throw Failure(WithDamage(failure.what(), path_));
    }
    format_ = decoder_->Format();
}

int64_t AudioReader::ExpectedFrames() const {
    if (source_) return source_->Frames();
    const double seconds = static_cast<double>(decoder_->Info().LengthMilliseconds) / 1000;
    return std::llround(std::clamp(seconds * format_.SamplesPerSec(), 0.0, 1e18));
}

std::span<const uint8_t> AudioReader::Read() try {
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
