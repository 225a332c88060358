#include "host/convert/ConversionLimits.h"

#include "audio/pipeline/XAudioChannelConv.h"
#include "audio/resample/XAudioFreqConvDesign.h"
#include "audio/samples/XAudioRdWr.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <optional>
#include <string>

namespace w64 {

namespace {

// Filters hold some tenths of a second of every channel, in addition to the memory that the two rates need.
constexpr int64_t kMaxChannels = 64;
constexpr int64_t kMaxSamples = 25'000'000;  // per second, of all channels at the higher rate

constexpr int kMaxFrameBytes = UINT16_MAX;  // nBlockAlign has 16 bits

std::string Hz(int64_t rate) { return std::to_string(rate) + " Hz"; }

bool CanResample(int64_t source, int64_t target) {
    return source == target || (std::max(source, target) <= kMaxRate &&
                                FreqConvDesign::Create(source, target, UpwardEdge::SourceHalf));
}

// The first rate that works from `first` on, up or down.
std::optional<int64_t> FindRate(int64_t source, int64_t first, int64_t step) {
    for (int64_t rate = first; rate >= 1 && rate <= kMaxRate; rate += step) {
        if (CanResample(source, rate)) return rate;
    }
    return std::nullopt;
}

std::string WhatWorksInstead(int64_t source, int64_t target) {
    const auto below = FindRate(source, target - 1, -1);
    const auto above = FindRate(source, target + 1, 1);
    if (below && above) return "; the nearest rates that work are " + Hz(*below) + " and " + Hz(*above);
    if (!below && !above) return "; rates go up to " + Hz(kMaxRate);
    return "; the nearest rate that works is " + Hz(below ? *below : *above);
}

void CheckRates(const XAudioWFX& source, const XAudioWFX& target) {
    const int64_t from = source.SamplesPerSec();
    const int64_t to = target.SamplesPerSec();
    if (from == to) return;
    const std::string what = "cannot convert " + Hz(from) + " to " + Hz(to);
    if (!CanResample(from, to)) throw Failure(what + WhatWorksInstead(from, to));
    // Mixes have few enough channels at any rate.
    const int64_t max = std::min(kMaxChannels, kMaxSamples / std::max(from, to));
    if (std::max(source.Channels(), target.Channels()) <= max) return;
    throw Failure(what + " in " + std::to_string(target.Channels()) + " channels, only in up to " +
                  std::to_string(max));
}

void CheckChannels(const XAudioWFX& source, const XAudioWFX& target) {
    if (XAudioChannelConv::Init(source, target.Channels())) return;
    const std::string max = std::to_string(XAudioChannelConv::kMaxChannels);
    throw Failure("cannot mix " + std::to_string(source.Channels()) + " channels to " +
                  std::to_string(target.Channels()) + "; 1 to " + max + " can be mixed to 1 to " + max);
}

void CheckSamples(const XAudioWFX& source) {
    const int tag = source.WFXFormatTag();
    if (IsLinear(tag) && XAudioRdWr::HasLayout(tag, source.BitsPerSample())) return;
    throw Failure("8, 16, 24 and 32-bit integers and 32 and 64-bit floats can be converted; this is " +
                  DescribeFormat(source));
}

void CheckFrame(const XAudioWFX& format) {
    if (format.Channels() * format.BytesPerSample() <= kMaxFrameBytes) return;
    throw Failure("frames have up to " + std::to_string(kMaxFrameBytes) + " bytes; this is " +
                  DescribeFormat(format));
}

}  // namespace

void CheckConversion(const XAudioWFX& source, const XAudioWFX& target) {
    CheckSamples(source);
    CheckChannels(source, target);
    CheckRates(source, target);
    CheckFrame(source);
    CheckFrame(target);
}

}  // namespace w64
