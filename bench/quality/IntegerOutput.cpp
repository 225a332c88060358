#include "IntegerOutput.h"

#include "Resamplers.h"
#include "audio/pipeline/XAudioConv.h"

#include <cmath>
#include <random>
#include <stdexcept>

namespace w64 {

double WorstErrorIn24Bits(const RatePair& pair) {
    const XAudioWFX format(2, pair.source, 24);
    const XAudioWFX target(2, pair.target, 24);
    const int64_t frames = int64_t{2} * pair.source;

    // Noise at a quarter of full scale, so that no output clips.
    XAudioBufferNew in(frames, format, false);
    in.SetUsedSample(frames);
    XAudioRdWr samples(in, 0, nullptr);
    Stereo doubles{pair.source, std::vector<double>(static_cast<size_t>(2 * frames))};
    std::mt19937 random;
    for (int64_t i = 0; i < 2 * frames; ++i) samples.PutInt(i, static_cast<int32_t>(random()) / 4);
    samples.GetDbls(0, 2 * frames, doubles.samples.data());

    XAudioConv conv;
    conv.SetLimits(FreqConvLimits::ForFiles(1));
    if (!conv.InitConversion(format, target, nullptr, true) ||
        !conv.ConvertData(in, target, false, true, nullptr, true))
        throw std::runtime_error("XAudioConv failed");
    const Stereo exact = kOurs.convert(doubles, pair.target);
    if (conv.GetUsedSample() != exact.Frames()) throw std::runtime_error("XAudioConv gave another length");
    const XAudioRdWr out(conv, 0, nullptr);
    double worst = 0;
    for (size_t i = 0; i < exact.samples.size(); ++i) {
        worst = std::max(worst, std::abs(out.GetDbl(static_cast<int64_t>(i)) - exact.samples[i]) * 0x1p23);
    }
    return worst;
}

}  // namespace w64
