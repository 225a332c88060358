#include "audio/resample/XAudioFreqConv.h"

#include "audio/fft/VectorClones.h"
#include "audio/resample/OverlapFreqConv.h"
#include "audio/resample/ScaledDown.h"
#include "audio/resample/SpectralFreqConv.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace w64 {

using namespace fft;

namespace {

// Up to this magnitude all sums of a block stay within the range of float.
W64_VECTOR_CLONES void ClearBadSamples(double* values, int64_t count) {
    constexpr double kMaxMagnitude = 1e30;
    for (int64_t i = 0; i < count; ++i) values[i] = std::abs(values[i]) <= kMaxMagnitude ? values[i] : 0;
}

}  // namespace

XAudioFreqConv::XAudioFreqConv() = default;
XAudioFreqConv::~XAudioFreqConv() = default;

bool XAudioFreqConv::CreateNewConverter(const XAudioWFX& format, int targetRate, const wchar_t* options,
                                        UpwardEdge edge, const FreqConvLimits& limits) try {
    Destroy();
    format_ = format;
    targetRate_ = static_cast<uint32_t>(targetRate);  // unsigned, as in formats
    equalRates_ = format_.SamplesPerSec() == targetRate_;
    if (equalRates_) return true;
    if (format_.Channels() == 0 || !XAudioRdWr::HasLayout(format_.WFXFormatTag(), format_.BitsPerSample())) {
        return false;
    }
    const std::optional<FreqConvDesign> design =
        FreqConvDesign::Create(format_.SamplesPerSec(), targetRate_, edge);
    if (!design) return false;
    samples_.Create(format_.WFXFormatTag(), format_.BitsPerSample(), format_.Channels(), 0, 0, nullptr,
                    options);
    std::unique_ptr<FreqConvEngine> engine = SpectralFreqConv::Create(*design, format_.Channels(), limits);
    if (!engine) engine = std::make_unique<OverlapFreqConv>(*design);
    converter_ = std::make_unique<FreqConvBlocks>(std::move(engine), format_.Channels());
    return true;
} catch (const std::bad_alloc&) {
    Destroy();
    return false;
}

bool XAudioFreqConv::ConvertData(XAudioBufferNew& input, bool inPlace, bool last) try {
    const bool empty = input.PosLeftByte() == 0;
    if (input.SamplesPerSec() == targetRate_ || (equalRates_ && empty))
        return InitializeBuffer(inPlace, input);
    if (!converter_ || (!empty && !IsOfStream(input))) return false;

    const int64_t frameBytes = format_.SamplesToBytes_DivChan(1);
    const int64_t arrived = converter_->Needed(converter_->Started()) + held_ +
                            (stream_.BytesRemaining() + input.PosLeftByte()) / frameBytes;
    int64_t blocks = converter_->Started();
    while (converter_->Needed(blocks + 1) <= arrived) ++blocks;
    const int64_t produced = last ? OutputFrames(arrived) : FramesFrom(blocks);

    XAudioWFX target(empty ? format_ : input);
    target.SetSamplesPerSec(static_cast<int>(targetRate_), true);
    const int64_t frames = produced - produced_;
    if (!SetBufferSize(frames, target, false, false) || !stream_.AddData(input, true)) return false;
    SetUsedSample(frames);
    int64_t frame = 0;
    while (FillBlock()) {
        StartBlock();
        if (converter_->UnderWay() == converter_->AtATime()) frame = TakeBlock(frame);
    }
    while (frame < frames) {
        if (converter_->UnderWay() == 0) StartBlock();
        frame = TakeBlock(frame);
    }
    if (last) Restart();
    return last || stream_.InPlaceOptimizeBuffer(0);
} catch (const std::bad_alloc&) {
    Destroy();
    return false;
}

void XAudioFreqConv::Destroy() {
    targetRate_ = kNoRate;
    equalRates_ = false;
    converter_.reset();
    Restart();
}

void XAudioFreqConv::Restart() {
    if (converter_) converter_->Restart();
    stream_.Clear();
    held_ = produced_ = 0;
}

bool XAudioFreqConv::IsOfStream(const XAudioWFX& format) const {
    return format.SamplesPerSec() == format_.SamplesPerSec() && format.Channels() == format_.Channels() &&
           format.BitsPerSample() == format_.BitsPerSample() &&
           format.WFXFormatTag() == format_.WFXFormatTag();
}

// Rounded up.
int64_t XAudioFreqConv::OutputFrames(int64_t inputFrames) const {
    const int64_t rate = format_.SamplesPerSec();
    return ScaledDown(inputFrames, targetRate_, rate - 1, rate);
}

// Moves frames from the stream into the next block. True when it is complete.
bool XAudioFreqConv::FillBlock() {
    const int64_t channels = format_.Channels();
    const int64_t whole = converter_->NewFrames();
    const int64_t frames =
        std::min(whole - held_, stream_.BytesRemaining() / format_.SamplesToBytes_DivChan(1));
    double* const to = converter_->Input() + held_ * channels;
    samples_.SetBeginData(stream_.GetDataFrom(format_.SamplesToBytes_DivChan(frames)).BufferStart(), 0, 0);
    samples_.GetDbls(0, frames * channels, to);
    if (format_.WFXFormatTag() == kTagFloat) ClearBadSamples(to, frames * channels);
    held_ += frames;
    return held_ == whole;
}

// Past the end of the stream an incomplete block is filled up with silence. Blocks of silence follow until
// the filters have delivered everything.
void XAudioFreqConv::StartBlock() {
    const int64_t channels = format_.Channels();
    std::fill_n(converter_->Input() + held_ * channels, (converter_->NewFrames() - held_) * channels, 0.0);
    converter_->Start();
    held_ = 0;
}

// Returns where the next one goes.
int64_t XAudioFreqConv::TakeBlock(int64_t frame) {
    const int64_t kept = std::min(converter_->NextResult(), GetUsedSample() - frame);
    const double* const out = converter_->Take();
    samples_.SetBeginData_DivChan(*this, frame);
    samples_.PutDbls(0, kept * format_.Channels(), out);
    produced_ += kept;
    return frame + kept;
}

// Output frames that can be taken after the first `blocks` blocks have been started.
int64_t XAudioFreqConv::FramesFrom(int64_t blocks) const {
    return converter_->Produced(std::max<int64_t>(0, blocks + 1 - converter_->AtATime()));
}

}  // namespace w64
