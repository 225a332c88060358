#include "audio/pipeline/XAudioConv.h"

#include <new>

namespace w64 {

namespace {

// The options text of each stage: at most one has it.
struct StageOptions {
    const wchar_t* bits = nullptr;
    const wchar_t* channels = nullptr;
    const wchar_t* rate = nullptr;
};

bool IsBeyondCD(const XAudioWFX& format) {
    return format.SamplesPerSec() > 48000 || format.BitsPerSample() > 16 || format.Channels() > 2 ||
           format.WFXFormatTag() == kTagFloat;
}

StageOptions Route(const XAudioWFX& source, const XAudioWFX& target, const wchar_t* options,
                   bool highQuality) {
    StageOptions routed;
    if (source.BitsPerSample() <= 8) return routed;
    if (source.SamplesPerSec() != target.SamplesPerSec() && (highQuality || IsBeyondCD(target))) {
        routed.rate = options;
    } else if (source.Channels() != target.Channels()) {
        routed.channels = options;
    } else if (source.BitsPerSample() != target.BitsPerSample()) {
        routed.bits = options;
    }
    return routed;
}

bool HasSameSamples(const XAudioWFX& a, const XAudioWFX& b) {
    return a.WFXFormatTag() == b.WFXFormatTag() && a.BitsPerSample() == b.BitsPerSample();
}

bool HasSameAudio(const XAudioWFX& a, const XAudioWFX& b) {
    return HasSameSamples(a, b) && a.SamplesPerSec() == b.SamplesPerSec() && a.Channels() == b.Channels();
}

// The source with the target's bit depth and kind.
XAudioWFX AfterBits(const XAudioWFX& source, const XAudioWFX& target) {
    XAudioWFX format(source);
    if (target.BitsPerSample() >= 8) format.SetBitsPerSample(target.BitsPerSample(), true);
    if (target.WFXFormatTag() == kTagFloat) {
        format.SetWFXFormatTag(kTagFloat);
    } else if (source.WFXFormatTag() == kTagFloat) {
        format.SetWFXFormatTag(kTagPCM);
    }
    return format;
}

}  // namespace

bool XAudioConv::InitConversion(const XAudioWFX& source, const XAudioWFX& target, const wchar_t* options,
                                bool highQuality) try {
    Destroy();
    if (HasSameAudio(source, target)) return true;
    XAudioWFX format = AfterBits(source, target);
    if (!XAudioBitsConv::Init(source, format.BitsPerSample())) return false;
    if (!XAudioChannelConv::Init(format, target.Channels())) return false;
    format.SetChannels(target.Channels(), true);
    LoadChanConvMatrix();
    if (!PrepareRate(format, target, Route(source, target, options, highQuality).rate, highQuality))
        return false;
    format.SetSamplesPerSec(static_cast<int>(target.SamplesPerSec()), true);
    return encoder_.CreateNewConverter(format, target);
} catch (const std::bad_alloc&) {
    return false;
}

// A stage that changes nothing borrows its input, from the caller or from the stage before. If the formats
// differ, at least one stage has its own result, unless the target's depth is below 8 bits, which no stage
// makes.
bool XAudioConv::ConvertData(XAudioBufferNew& input, const XAudioWFX& target, bool inPlace, bool last,
                             const wchar_t* options, bool highQuality) try {
    if (HasSameAudio(input, target)) return InitializeBuffer(inPlace, input);
    const StageOptions stageOptions = Route(input, target, options, highQuality);
    const XAudioWFX format = AfterBits(input, target);
    const bool borrows = inPlace || HasSameSamples(input, format);
    if (!bits_.ConvertData(input, format, borrows, stageOptions.bits)) return false;
    if (!channels_.ConvertData(bits_, target, true, stageOptions.channels)) return false;
    XAudioBufferNew& mixed = channels_.Buffer();
    if (!rateIsReady_ && !PrepareRate(mixed, target, stageOptions.rate, highQuality)) return false;
    if (!rate_.ConvertData(mixed, true, last)) return false;
    if (!encoder_.ConvertData(rate_, target, true, last)) return false;
    XAudioBufferNew& result = encoder_.Buffer();
    return InitializeBuffer(inPlace || result.BufferStart() != input.BufferStart(), result);
} catch (const std::bad_alloc&) {
    return false;
}

void XAudioConv::Destroy() {
    bits_ = XAudioBitsConv();
    channels_ = XAudioChannelConv();
    rate_.Destroy();
    encoder_.Destroy();
    rateIsReady_ = false;
}

bool XAudioConv::PrepareRate(const XAudioWFX& format, const XAudioWFX& target, const wchar_t* options,
                             bool highQuality) {
    const UpwardEdge edge = highQuality ? UpwardEdge::SourceHalf : UpwardEdge::TargetHalf;
    rateIsReady_ =
        rate_.CreateNewConverter(format, static_cast<int>(target.SamplesPerSec()), options, edge, limits_);
    return rateIsReady_;
}

}  // namespace w64
