#include "audio/samples/XAudioACMEncoder.h"

namespace w64 {

bool XAudioACMEncoder::NeedToConvert(const XAudioWFX& in, const XAudioWFX& out) {
    return in.WFXFormatTag() != out.WFXFormatTag() || in.SamplesPerSec() != out.SamplesPerSec();
}

bool XAudioACMEncoder::CreateNewConverter(const XAudioWFX& in, const XAudioWFX& out) {
    if (!NeedToConvert(in, out)) return true;
    if (in.WFXFormatTag() != kTagPCM || out.WFXFormatTag() != kTagFloat) return false;
    if (in.SamplesPerSec() != out.SamplesPerSec()) return false;
    floatMode_ = true;
    return true;
}

bool XAudioACMEncoder::ConvertData(XAudioBufferNew& input, const XAudioWFX& out, bool inPlace,
                                   bool /*last*/) {
    if (!NeedToConvert(input, out)) return buffer_.InitializeBuffer(inPlace, input);
    if (!floatMode_ && !CreateNewConverter(input, out)) return false;
    if (!bitsConv_.ConvertData(input, 32, inPlace, nullptr, true)) return false;
    return buffer_.InitializeBuffer(true, bitsConv_);
}

}  // namespace w64
