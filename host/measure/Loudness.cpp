#include "host/measure/Loudness.h"

#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace w64 {

namespace {

constexpr size_t kMomentarySteps = 4;
constexpr size_t kShortTermSteps = 30;
constexpr double kSilence = -70;  // LUFS; what is softer does not count

// The meter shows a 1 kHz sine in one channel by its level.
double LoudnessOf(double power) { return 10 * std::log10(power) - 0.691; }
double PowerOf(double loudness) { return std::pow(10, (loudness + 0.691) / 10); }

constexpr uint32_t kLowFrequency = 0x8;
constexpr uint32_t kBack = 0x30;
constexpr uint32_t kSides = 0x600;

// Of 1 to 8 channels.
constexpr std::array<uint32_t, 8> kUsualMasks = {0x4, 0x3, 0xB, 0x33, 0x37, 0x3F, 0x23F, 0x63F};

SpeakerWeight WeightOf(uint32_t speaker, uint32_t surround) {
    if ((speaker & kLowFrequency) != 0) return SpeakerWeight::None;
    return (speaker & surround) != 0 ? SpeakerWeight::Surround : SpeakerWeight::Front;
}

int LibraryChannel(SpeakerWeight weight) {
    switch (weight) {
    case SpeakerWeight::None:
        return EBUR128_UNUSED;
    case SpeakerWeight::Front:
        return EBUR128_CENTER;
    case SpeakerWeight::Surround:
        break;
    }
    return EBUR128_LEFT_SURROUND;
}

double Mean(std::span<const double> powers) {
    return std::accumulate(powers.begin(), powers.end(), 0.0) / static_cast<double>(powers.size());
}

// The power of every window of that many steps.
std::vector<double> Windows(std::span<const double> powers, size_t steps) {
    std::vector<double> windows;
    for (; powers.size() >= steps; powers = powers.subspan(1)) windows.push_back(Mean(powers.first(steps)));
    return windows;
}

// Leaves the windows that are not silent, and no more than `depth` dB softer than all of these together.
void Gate(std::vector<double>& windows, double depth) {
    std::erase_if(windows, [](double power) { return power < PowerOf(kSilence); });
    if (windows.empty()) return;
    const double least = Mean(windows) / std::pow(10, depth / 10);
    std::erase_if(windows, [least](double power) { return power < least; });
}

double Integrated(std::vector<double> momentary) {
    constexpr double kDepth = 10;
    Gate(momentary, kDepth);
    return momentary.empty() ? -HUGE_VAL : LoudnessOf(Mean(momentary));
}

// From the tenth to the ninety-fifth percentile.
double Range(std::vector<double> shortTerm) {
    constexpr double kDepth = 20;
    Gate(shortTerm, kDepth);
    if (shortTerm.empty()) return 0;
    std::ranges::sort(shortTerm);
    const auto at = [&](double share) {
        return LoudnessOf(
            shortTerm[static_cast<size_t>(std::lround(share * static_cast<double>(shortTerm.size() - 1)))]);
    };
    return at(0.95) - at(0.1);
}

}  // namespace

LoudnessMeasures MeasureLoudness(std::span<const double> powers) {
    const std::vector<double> momentary = Windows(powers, kMomentarySteps);
    LoudnessMeasures measures{Integrated(momentary), LoudnessOf(std::ranges::max(momentary)), std::nullopt};
    if (powers.size() >= kShortTermSteps) measures.range = Range(Windows(powers, kShortTermSteps));
    return measures;
}

std::vector<SpeakerWeight> SpeakerWeights(uint32_t channelMask, int channels) {
    const auto count = static_cast<size_t>(channels);
    if (channelMask == 0 && count >= 1 && count <= kUsualMasks.size()) channelMask = kUsualMasks[count - 1];
    const uint32_t surround = (channelMask & kSides) != 0 ? kSides : kBack;
    std::vector<SpeakerWeight> weights;
    for (uint32_t speaker = 1; speaker != 0 && weights.size() < count; speaker <<= 1) {
        if ((channelMask & speaker) != 0) weights.push_back(WeightOf(speaker, surround));
    }
    weights.resize(count, SpeakerWeight::Front);
    return weights;
}

bool Loudness::Takes(const XAudioWFX& format) {
    constexpr int kMaxChannels = 64;  // of the library
    constexpr uint32_t kMinRate = 8000;
    constexpr int64_t kMaxSamplesPerSecond = int64_t{kMaxChannels} * 192'000;  // bounds the memory
    const int64_t rate = format.SamplesPerSec();
    return format.Channels() <= kMaxChannels && rate >= kMinRate &&
           rate * format.Channels() <= kMaxSamplesPerSecond;
}

// The library weights the audio; its own gates and ranges take coarser steps.
Loudness::Loudness(const XAudioWFX& format)
    : state_(ebur128_init(static_cast<unsigned>(format.Channels()), format.SamplesPerSec(), EBUR128_MODE_M)),
      framesPerStep_((format.SamplesPerSec() + 5) / 10) {
    if (!state_) throw Failure("cannot measure the loudness: not enough memory");
    const auto weights = SpeakerWeights(ChannelMaskOf(format), format.Channels());
    for (unsigned channel = 0; channel < weights.size(); ++channel) {
        ebur128_set_channel(state_.get(), channel, LibraryChannel(weights[channel]));
    }
}

void Loudness::Add(std::span<const double> frames) {
    const size_t channels = state_->channels;
    while (frames.size() >= channels) {
        const size_t count = std::min(framesPerStep_ - framesOfStep_, frames.size() / channels);
        if (ebur128_add_frames_double(state_.get(), frames.data(), count) != EBUR128_SUCCESS) {
            throw Failure("cannot measure the loudness: not enough memory");
        }
        framesOfStep_ += count;
        if (framesOfStep_ == framesPerStep_) EndStep();
        frames = frames.subspan(count * channels);
    }
}

void Loudness::EndStep() {
    constexpr unsigned long kMilliseconds = 100;
    framesOfStep_ = 0;
    double loudness = -HUGE_VAL;
    ebur128_loudness_window(state_.get(), kMilliseconds, &loudness);
    powers_.push_back(PowerOf(loudness));
}

std::optional<LoudnessMeasures> Loudness::Measures() const {
    if (powers_.size() < kMomentarySteps) return std::nullopt;
    return MeasureLoudness(powers_);
}

}  // namespace w64
