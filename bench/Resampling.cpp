#include "Resampling.h"

#include "audio/resample/XAudioFreqConv.h"

#include <algorithm>
#include <random>
#include <soxr.h>

namespace w64 {

namespace {

constexpr int64_t kBlockFrames = 4096;

}  // namespace

std::vector<double> Noise(int channels, int rate, int seconds) {
    std::vector<double> samples(static_cast<size_t>(channels) * static_cast<size_t>(rate * seconds));
    std::mt19937_64 random(1);
    for (double& sample : samples) sample = static_cast<double>(random()) * 0x1p-63 - 1;
    return samples;
}

bool ConvertByXAudioFreqConv(std::vector<double>& samples, int channels, int source, int target) {
    XAudioWFX format(channels, source, 64);
    format.SetFormatTag(kTagFloat);
    const int64_t frames = std::ssize(samples) / channels;
    XAudioFreqConv conv;
    bool good =
        conv.CreateNewConverter(format, target, nullptr, UpwardEdge::SourceHalf, FreqConvLimits::ForFiles(1));
    for (int64_t frame = 0; good && frame < frames; frame += kBlockFrames) {
        const int64_t count = std::min(kBlockFrames, frames - frame);
        XAudioBufferNew block(samples.data() + channels * frame, 8 * channels * count, format, true);
        good = conv.ConvertData(block, false, frame + count == frames);
    }
    return good;
}

bool ConvertBySoxr(const std::vector<double>& samples, int channels, int source, int target,
                   double transition) {
    const auto width = static_cast<size_t>(channels);
    const auto frames = static_cast<int64_t>(samples.size() / width);
    std::vector<double> out(width * kBlockFrames * 32);
    const soxr_io_spec_t layout = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, SOXR_ROLLOFF_NONE);
    quality.passband_end = 1 - transition / (std::min(source, target) / 2.0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    soxr_t soxr =
        soxr_create(source, target, static_cast<unsigned>(channels), &error, &layout, &quality, &runtime);
    if (error) return false;
    size_t done = 0;
    for (int64_t frame = 0; !error && frame < frames; frame += kBlockFrames) {
        const int64_t count = std::min(kBlockFrames, frames - frame);
        error = soxr_process(soxr, samples.data() + channels * frame, static_cast<size_t>(count), nullptr,
                             out.data(), out.size() / width, &done);
    }
    do {
        if (!error) error = soxr_process(soxr, nullptr, 0, nullptr, out.data(), out.size() / width, &done);
    } while (!error && done > 0);
    soxr_delete(soxr);
    return !error;
}

}  // namespace w64
