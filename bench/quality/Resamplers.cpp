#include "Resamplers.h"

#include "Signals.h"
#include "audio/resample/XAudioFreqConv.h"

#include <samplerate.h>
#include <soxr.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace w64 {

namespace {

// Room for the target's frames, and for a few more that a converter may add.
Stereo Room(const Stereo& in, int targetRate) {
    const int64_t frames = in.Frames() * targetRate / in.rate + 1024;
    return {targetRate, std::vector<double>(static_cast<size_t>(2 * frames))};
}

template <UpwardEdge kEdge>
Stereo ByXAudioFreqConv(const Stereo& in, int targetRate) {
    XAudioWFX format(2, in.rate, 64);
    format.SetFormatTag(kTagFloat);
    XAudioBufferNew block(const_cast<double*>(in.samples.data()), 16 * in.Frames(), format, true);
    XAudioFreqConv conv;
    if (!conv.CreateNewConverter(format, targetRate, nullptr, kEdge, FreqConvLimits::ForFiles(1)) ||
        !conv.ConvertData(block, false, true)) {
        throw std::runtime_error("XAudioFreqConv failed");
    }
    Stereo out{targetRate, std::vector<double>(static_cast<size_t>(2 * conv.GetUsedSample()))};
    std::memcpy(out.samples.data(), conv.BufferStart(), 8 * out.samples.size());
    return out;
}

Stereo BySoxr(const Stereo& in, int targetRate, const soxr_quality_spec_t& quality) {
    Stereo out = Room(in, targetRate);
    const soxr_io_spec_t layout = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    size_t done = 0;
    const soxr_error_t error =
        soxr_oneshot(in.rate, targetRate, 2, in.samples.data(), in.samples.size() / 2, nullptr,
                     out.samples.data(), out.samples.size() / 2, &done, &layout, &quality, &runtime);
    if (error) throw std::runtime_error(error);
    out.samples.resize(2 * done);
    return out;
}

Stereo BySoxrAsItComes(const Stereo& in, int targetRate) {
    return BySoxr(in, targetRate, soxr_quality_spec(SOXR_VHQ, 0));
}

Stereo BySteepSoxr(const Stereo& in, int targetRate) {
    soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, SOXR_ROLLOFF_NONE);
    quality.passband_end = 1 - 100.0 / (std::min(in.rate, targetRate) / 2.0);
    return BySoxr(in, targetRate, quality);
}

Stereo BySampleRate(const Stereo& in, int targetRate) {
    Stereo out = Room(in, targetRate);
    const std::vector<float> floatsIn(in.samples.begin(), in.samples.end());
    std::vector<float> floatsOut(out.samples.size());
    SRC_DATA data{};
    data.data_in = floatsIn.data();
    data.data_out = floatsOut.data();
    data.input_frames = in.Frames();
    data.output_frames = out.Frames();
    data.src_ratio = static_cast<double>(targetRate) / in.rate;
    const int error = src_simple(&data, SRC_SINC_BEST_QUALITY, 2);
    if (error) throw std::runtime_error(src_strerror(error));
    out.samples.assign(floatsOut.begin(), floatsOut.begin() + 2 * data.output_frames_gen);
    return out;
}

Stereo ByDelay(const Stereo& in, int /*targetRate*/) {
    Stereo out = in;
    out.samples.insert(out.samples.begin(), 2, 0.0);
    return out;
}

Stereo ByDelayWithTone(const Stereo& in, int targetRate) {
    Stereo out = ByDelay(in, targetRate);
    const ToneAngle angle(1000, in.rate);
    for (size_t i = 0; i < out.samples.size(); ++i) {
        out.samples[i] += 1e-10 * std::sin(angle.At(static_cast<int64_t>(i / 2)));
    }
    return out;
}

}  // namespace

const Resampler kOurs{"XAudioFreqConv", ByXAudioFreqConv<UpwardEdge::SourceHalf>};
const Resampler kOursTargetHalf{"XAudioFreqConv, UpwardEdge::TargetHalf",
                                ByXAudioFreqConv<UpwardEdge::TargetHalf>};
const Resampler kSoxr{"libsoxr, VHQ", BySoxrAsItComes};
const Resampler kSteepSoxr{"libsoxr, VHQ, no roll-off, 100 Hz", BySteepSoxr};
const Resampler kSampleRate{"libsamplerate, best sinc", BySampleRate};
const Resampler kNone{"nothing but a delay", ByDelay};
const Resampler kAlmostNone{"a delay and a tone of -200 dB", ByDelayWithTone};

}  // namespace w64
