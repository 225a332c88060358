#include "host/measure/AudioMeter.h"

#include <algorithm>
#include <cmath>

namespace w64 {

namespace {

constexpr size_t kBlockFrames = 1024;  // a channel of them stays in the first-level cache

// The largest sample, just below 1 for integers.
double HighestSample(const XAudioWFX& format) {
    if (format.WFXFormatTag() != kTagPCM) return 1;
    const int bits = format.BitsPerSample();
    const int valid = format.IsExtensible() ? format.wfxex()->wValidBitsPerSample : bits;
    return 1 - std::ldexp(1, 1 - (valid > 1 && valid < bits ? valid : bits));
}

SampleMeasures Together(std::span<const SampleMeasures> channels) {
    SampleMeasures all = channels[0];
    double squares = 0;
    for (const SampleMeasures& channel : channels) squares += channel.rms * channel.rms;
    all.rms = std::sqrt(squares / static_cast<double>(channels.size()));
    for (const SampleMeasures& channel : channels.subspan(1)) {
        all.peak = std::max(all.peak, channel.peak);
        all.truePeak = std::max(all.truePeak, channel.truePeak);
        if (std::abs(channel.dc) > std::abs(all.dc)) all.dc = channel.dc;
        all.clippedRuns += channel.clippedRuns;
        all.clippedSamples += channel.clippedSamples;
        all.silenceAtStart = std::min(all.silenceAtStart, channel.silenceAtStart);
        all.silenceAtEnd = std::min(all.silenceAtEnd, channel.silenceAtEnd);
    }
    return all;
}

}  // namespace

AudioMeter::AudioMeter(const XAudioWFX& format) {
    for (int i = 0; i < format.Channels(); ++i) channels_.emplace_back(HighestSample(format));
    if (Loudness::Takes(format)) loudness_.emplace(format);
}

void AudioMeter::Add(std::span<const double> frames) {
    if (loudness_) loudness_->Add(frames);
    while (frames.size() >= channels_.size()) {
        const size_t count = std::min(frames.size() / channels_.size(), kBlockFrames);
        AddBlock(frames.first(count * channels_.size()));
        frames = frames.subspan(count * channels_.size());
    }
}

void AudioMeter::AddBlock(std::span<const double> frames) {
    block_.resize(frames.size() / channels_.size());
    for (size_t channel = 0; channel < channels_.size(); ++channel) {
        for (size_t i = 0; i < block_.size(); ++i) block_[i] = frames[i * channels_.size() + channel];
        channels_[channel].Add(block_);
    }
    frames_ += static_cast<int64_t>(block_.size());
}

AudioMeasures AudioMeter::Measures() const {
    AudioMeasures measures;
    measures.frames = frames_;
    for (const ChannelMeter& channel : channels_) measures.channels.push_back(channel.Measures());
    measures.all = Together(measures.channels);
    if (loudness_) measures.loudness = loudness_->Measures();
    return measures;
}

}  // namespace w64
