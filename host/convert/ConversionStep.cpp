#include "host/convert/ConversionStep.h"

#include "audio/pipeline/XAudioConv.h"
#include "host/formats/SampleKind.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <new>
#include <vector>

namespace w64 {

namespace {

class PipelineStep : public ConversionStep {
public:
    PipelineStep(const XAudioWFX& source, const XAudioWFX& target, bool dither, int threads)
        : ConversionStep(target), options_(dither ? L"dither=1;noise=tpdf" : nullptr) {
        conv_.SetLimits(FreqConvLimits::ForFiles(threads));
        if (conv_.InitConversion(source, target, options_, kHighQuality)) return;
        throw Failure("cannot convert " + DescribeFormat(source) + " to " + DescribeFormat(target));
    }

    XAudioBufferNew& Run(XAudioBufferNew& audio, bool last) override {
        if (!conv_.ConvertData(audio, Target(), false, last, options_, kHighQuality)) throw std::bad_alloc();
        return conv_;
    }

private:
    static constexpr bool kHighQuality = true;

    const wchar_t* options_;
    XAudioConv conv_;
};

// The pipeline converts to float via 32-bit integers, too imprecise for 64-bit floats, and clips floats.
class FloatStep : public ConversionStep {
public:
    using ConversionStep::ConversionStep;

    static bool IsFor(SampleKind source, SampleKind target) {
        return target.tag == kTagFloat && source != target && (source.tag == kTagFloat || target.bits == 64);
    }

    XAudioBufferNew& Run(XAudioBufferNew& audio, bool /*last*/) override {
        const int64_t frames = audio.GetUsedSample();
        const int64_t samples = frames * audio.Channels();
        if (!floats_.SetBufferSize(frames, Target(), false, false)) throw std::bad_alloc();
        floats_.SetUsedSample(frames);
        samples_.resize(static_cast<size_t>(samples));
        XAudioRdWr(audio, 0, nullptr).GetDbls(0, samples, samples_.data());
        XAudioRdWr(floats_, 0, nullptr).PutDbls(0, samples, samples_.data());
        return floats_;
    }

private:
    XAudioBufferNew floats_;
    std::vector<double> samples_;
};

}  // namespace

std::unique_ptr<ConversionStep> ConversionStep::Make(const XAudioWFX& source, const XAudioWFX& target,
                                                     bool dither, int threads) {
    if (FloatStep::IsFor(KindOf(source), KindOf(target))) return std::make_unique<FloatStep>(target);
    return std::make_unique<PipelineStep>(source, target, dither, threads);
}

}  // namespace w64
