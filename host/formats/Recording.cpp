#include "host/formats/Recording.h"

#include "host/files/JournalledEdit.h"
#include "host/formats/SampleKind.h"
#include "host/formats/Speakers.h"
#include "host/layout/AudioExtent.h"
#include "host/layout/ChunkKind.h"
#include "host/layout/LayoutCheck.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>

namespace w64 {

namespace {

void RequireSound(const std::string& name, XFile& file) {
    if (HasInterruptedEdit(name))
        throw Failure("an edit of this file was interrupted; w64 repair finishes it");
    const LayoutCheck check(file);
    const auto fault = std::ranges::find_if(check.Findings(), &LayoutFinding::isFault);
    if (fault == check.Findings().end()) return;
    if (!FindAudio(file)) throw Failure(fault->text);
    throw Failure("the file is damaged; w64 repair makes it sound if it can: " + fault->text);
}

// Of plain records the usual ones.
uint32_t SpeakersOf(const XAudioWFX& format) {
    const uint32_t mask = ChannelMaskOf(format);
    return AreUsualSpeakers(static_cast<unsigned>(format.Channels()), mask) ? 0 : mask;
}

std::string DescribeSpeakers(uint32_t mask) {
    return mask == 0 ? "the usual speakers" : Joined(SpeakerNames(mask), ", ");
}

int ValidBits(const XAudioWFX& format) {
    const int bits = format.IsExtensible() ? format.wfxex()->wValidBitsPerSample : 0;
    return bits == 0 ? format.BitsPerSample() : bits;
}

}  // namespace

Recording::Recording(const std::string& name) : name_(name) {
    InputFile file(name);
    RequireSound(name, file);
    ChunkWalk walk(file, ReadOuterSize(file));
    const auto indexOf = [this](ChunkKind kind) {
        const auto isOfKind = [kind](const WalkedChunk& chunk) {
            return KindOfChunk(chunk.identifier) == kind;
        };
        return static_cast<size_t>(std::ranges::find_if(chunks_, isOfKind) - chunks_.begin());
    };
    while (const auto chunk = walk.Next()) chunks_.push_back(*chunk);
    RequireNoError(file);
    audio_ = indexOf(ChunkKind::Audio);
    const WalkedChunk& format = chunks_[indexOf(ChunkKind::Format)];  // a sound file has both
    auto record = ReadFormatRecord(file, format.DataPosition(), format.dataBytes);
    if (!record) throw SystemFailure("cannot read the file");
    formatRecord_ = *record;
    format_.Assign(record->data(), static_cast<unsigned>(record->size()));
}

int64_t Recording::Frames() const {
    if (!HasFrames(format_)) {
        throw Failure(NameOfTag(format_.WFXFormatTag()) + " audio can be copied whole only, not in parts");
    }
    return Audio().dataBytes / FrameBytes();
}

std::string Recording::DifferenceTo(const Recording& other) const {
    const XAudioWFX& its = other.format_;
    const auto differ = [](const std::string& here, const std::string& there) {
        return "it has " + here + ", the first file " + there;
    };
    if (format_.WFXFormatTag() != its.WFXFormatTag()) {
        return differ(NameOfTag(format_.WFXFormatTag()), NameOfTag(its.WFXFormatTag()));
    }
    if (format_.SamplesPerSec() != its.SamplesPerSec()) {
        return differ(std::to_string(format_.SamplesPerSec()) + " Hz",
                      std::to_string(its.SamplesPerSec()) + " Hz");
    }
    if (format_.Channels() != its.Channels()) {
        return differ(Counted(format_.Channels(), "channel"), Counted(its.Channels(), "channel"));
    }
    if (ValidBits(format_) != ValidBits(its)) {
        return differ(Counted(ValidBits(format_), "bit"), Counted(ValidBits(its), "bit"));
    }
    if (format_.BlockAlign() != its.BlockAlign()) {
        return differ(Counted(format_.BlockAlign(), "byte") + " a frame", Counted(its.BlockAlign(), "byte"));
    }
    if (SpeakersOf(format_) != SpeakersOf(its)) {
        return differ(DescribeSpeakers(SpeakersOf(format_)), DescribeSpeakers(SpeakersOf(its)));
    }
    return "";
}

}  // namespace w64
