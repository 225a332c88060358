#include "host/convert/Conversion.h"

#include "audio/pipeline/XAudioChannelConv.h"
#include "base/Saturating.h"
#include "host/convert/ConversionLimits.h"
#include "host/formats/SampleKind.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>
#include <new>

namespace w64 {

namespace {

constexpr const char* kDitheredKinds = "--dither is for 16-bit and 24-bit integers";

SampleKind KindFor(const XAudioWFX& source, const ConversionOptions& options) {
    if (options.isFloat) return {kTagFloat, options.bits.value_or(32)};
    return options.bits ? SampleKind{kTagPCM, *options.bits} : KindOf(source);
}

// The channel mask of a mix. Mono and stereo need none.
uint32_t MaskOfMix(int channels) {
    constexpr std::array<uint32_t, XAudioChannelConv::kMaxChannels> kSpeakers = {0x1,  0x2,  0x4,   0x8,
                                                                                 0x10, 0x20, 0x200, 0x400};
    uint32_t mask = 0;
    for (int position = 1; channels > 2 && position <= XAudioChannelConv::kMaxChannels; ++position) {
        if (XAudioChannelConv::ChannelHas(channels, position))
            mask |= kSpeakers[static_cast<size_t>(position - 1)];
    }
    return mask;
}

XAudioWFX MakeFormat(SampleKind kind, int channels, uint32_t rate, uint32_t mask) {
    const WAVEFORMATEXTENSIBLE record = MakeWaveFormat(kind, static_cast<unsigned>(channels), rate, mask);
    return XAudioWFX(&record);
}

XAudioWFX WithKind(SampleKind kind, const XAudioWFX& format) {
    return MakeFormat(kind, format.Channels(), format.SamplesPerSec(), 0);
}

bool IsSameLayout(const XAudioWFX& a, const XAudioWFX& b) {
    return a.Channels() == b.Channels() && a.SamplesPerSec() == b.SamplesPerSec();
}

bool IsSameAudio(const XAudioWFX& a, const XAudioWFX& b) {
    return KindOf(a) == KindOf(b) && IsSameLayout(a, b);
}

// The source's own record if nothing changes; otherwise a new one, in which all bits are valid.
XAudioWFX TargetOf(const XAudioWFX& source, const ConversionOptions& options) {
    const auto channels =
        static_cast<int>(options.channels.value_or(static_cast<unsigned>(source.Channels())));
    const uint32_t mask = channels == source.Channels() ? ChannelMaskOf(source) : MaskOfMix(channels);
    XAudioWFX target =
        MakeFormat(KindFor(source, options), channels, options.rate.value_or(source.SamplesPerSec()), mask);
    return IsSameAudio(source, target) ? source : target;
}

bool LosesBits(const XAudioWFX& source, const XAudioWFX& target) {
    const SampleKind from = KindOf(source);
    const SampleKind to = KindOf(target);
    return to.tag == kTagPCM &&
           (from.tag == kTagFloat || to.bits < from.bits || !IsSameLayout(source, target));
}

// The sample type for mixing and resampling: as precise as either side, so that bits are lost only at the end.
SampleKind KindBetween(SampleKind source, SampleKind target, bool dither) {
    if (source.tag != target.tag) return source.tag == kTagFloat ? source : target;
    if (source.tag == kTagFloat) return {kTagFloat, std::max(source.bits, target.bits)};
    return dither || target.bits < source.bits ? SampleKind{kTagPCM, 32} : target;
}

}  // namespace

void ConversionOptions::Check() const {
    if (bits) CheckSampleKind(isFloat, *bits);
    if (!dither) return;
    if (isFloat || (bits && *bits != 16 && *bits != 24)) throw UsageError(kDitheredKinds);
    if (!rate && !channels && !bits) throw UsageError("--dither goes with --rate, --channels or --bits");
}

Conversion::Conversion(const XAudioWFX& source, const ConversionOptions& options, unsigned threads)
    : source_(source), target_(TargetOf(source, options)), threads_(static_cast<int>(threads)) {
    if (IsSameAudio(source_, target_)) return;
    stream_.Assign(source_);
    CheckConversion(source_, target_);
    const bool dither = options.dither && LosesBits(source_, target_);
    if (dither && target_.BitsPerSample() == 8) throw Failure(kDitheredKinds);
    if (!IsSameLayout(source_, target_)) {
        const SampleKind between = KindBetween(KindOf(source_), KindOf(target_), dither);
        AddStep(WithKind(between, source_), false);
        AddStep(WithKind(between, target_), false);
    }
    AddStep(target_, dither);
    // A whole block would become large at a much higher rate.
    constexpr int64_t kPiece = 1 << 18;
    const int64_t frameBytes = source_.BlockAlign();
    pieceBytes_ = std::max<int64_t>(kPiece / ExpectedBytes(frameBytes), 1) * frameBytes;
}

void Conversion::AddStep(const XAudioWFX& target, bool dither) {
    const XAudioWFX& source = steps_.empty() ? source_ : steps_.back()->Target();
    if (!IsSameAudio(source, target))
        steps_.push_back(ConversionStep::Make(source, target, dither, threads_));
}

// All target frames that start within the duration of the source.
int64_t Conversion::ExpectedBytes(int64_t sourceBytes) const {
    if (steps_.empty()) return sourceBytes;
    const auto frames = static_cast<uint64_t>(std::max<int64_t>(sourceBytes, 0) / source_.BlockAlign());
    const uint64_t from = source_.SamplesPerSec();
    const uint64_t to = target_.SamplesPerSec();
    // Neither product of two 32-bit numbers overflows.
    const uint64_t rest = (frames % from * to + from - 1) / from;
    const int64_t whole = SaturatingMultiply(static_cast<int64_t>(frames / from), static_cast<int64_t>(to));
    return SaturatingMultiply(SaturatingAdd(whole, static_cast<int64_t>(rest)), target_.BlockAlign());
}

void Conversion::Convert(std::span<const uint8_t> block, const Write& write) {
    if (steps_.empty()) return write(block);
    auto* readOnly = const_cast<uint8_t*>(block.data());  // no step writes to its input
    XAudioBufferNew audio(readOnly, std::ssize(block), source_, true);
    if (!stream_.AddData(audio, true)) throw std::bad_alloc();
    for (int64_t left = source_.BlockAlignBuffer(stream_.BytesRemaining()); left > 0; left -= pieceBytes_) {
        write(Run(std::min(left, pieceBytes_), false));
    }
    if (!stream_.InPlaceOptimizeBuffer(0)) throw std::bad_alloc();
}

void Conversion::Finish(const Write& write) {
    if (!steps_.empty()) write(Run(0, true));
}

std::span<const uint8_t> Conversion::Run(int64_t bytes, bool last) {
    XAudioBufferNew* audio = &stream_.GetDataFrom(bytes);
    for (const auto& step : steps_) audio = &step->Run(*audio, last);
    return {audio->BufferStart(), static_cast<size_t>(audio->GetUsedByte())};
}

}  // namespace w64
