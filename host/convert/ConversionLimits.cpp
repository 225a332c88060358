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

// Filters hold some tenths of a second of every channel, beside what the two rates take by themselves.
constexpr int64_t kMostChannels = 64;
constexpr int64_t kMostSamples = 25'000'000;  // per second, of all channels at the higher rate

constexpr int kLargestFrame = UINT16_MAX;  // bytes, as a format record counts them

std::string Hz(int64_t rate) { return std::to_string(rate) + " Hz"; }

bool CanResample(int64_t source, int64_t target) {
    return source == target || (std::max(source, target) <= kMostRate &&
                                FreqConvDesign::Create(source, target, UpwardEdge::SourceHalf));
}

// The first rate that works from one on, up or down.
std::optional<int64_t> FindRate(int64_t source, int64_t first, int64_t step) {
    for (int64_t rate = first; rate >= 1 && rate <= kMostRate; rate += step) {
        if (CanResample(source, rate)) return rate;
    }
    return std::nullopt;
}

std::string WhatWorksInstead(int64_t source, int64_t target) {
    const auto below = FindRate(source, target - 1, -1);
    const auto above = FindRate(source, target + 1, 1);
    if (below && above) return "; the nearest rates that work are " + Hz(*below) + " and " + Hz(*above);
    if (!below && !above) return "; rates go up to " + Hz(kMostRate);
    return "; the nearest rate that works is " + Hz(below ? *below : *above);
}

void CheckRates(const XAudioWFX& source, const XAudioWFX& target) {
    const int64_t from = source.SamplesPerSec();
    const int64_t to = target.SamplesPerSec();
    if (from == to) return;
    const std::string what = "cannot convert " + Hz(from) + " to " + Hz(to);
    if (!CanResample(from, to)) throw Failure(what + WhatWorksInstead(from, to));
    // What is mixed is within the limits at any rate.
    const int64_t most = std::min(kMostChannels, kMostSamples / std::max(from, to));
    if (std::max(source.Channels(), target.Channels()) <= most) return;
    throw Failure(what + " in " + std::to_string(target.Channels()) + " channels, only in up to " +
                  std::to_string(most));
}

void CheckChannels(const XAudioWFX& source, const XAudioWFX& target) {
    if (XAudioChannelConv::Init(source, target.Channels())) return;
    const std::string most = std::to_string(XAudioChannelConv::kMaxChannels);
    throw Failure("cannot mix " + std::to_string(source.Channels()) + " channels to " +
                  std::to_string(target.Channels()) + "; 1 to " + most + " can be mixed to 1 to " + most);
}

void CheckSamples(const XAudioWFX& source) {
    const int tag = source.WFXFormatTag();
    if (IsLinear(tag) && XAudioRdWr::HasLayout(tag, source.BitsPerSample())) return;
    throw Failure("8, 16, 24 and 32-bit integers and 32 and 64-bit floats can be converted, this is " +
                  DescribeFormat(source));
}

void CheckFrame(const XAudioWFX& format) {
    if (format.Channels() * format.BytesPerSample() <= kLargestFrame) return;
    throw Failure("frames have up to " + std::to_string(kLargestFrame) + " bytes, this is " +
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
