#include "audio/samples/XAudioACMDecoder.h"

namespace w64 {

bool XAudioACMDecoder::NeedToConvert(const XAudioWFX& format, bool floatOK) {
    const int tag = format.WFXFormatTag();
    return tag != kTagPCM && !(floatOK && tag == kTagFloat);
}

bool XAudioACMDecoder::CreateNewConverter(const XAudioWFX& format, bool floatOK) {
    wfxOut_ = format;
    if (!NeedToConvert(format, floatOK)) return true;
    // In this order, so that an extensible record of unknown sub-format becomes plain too.
    wfxOut_.SetFormatTag(kTagPCM);
    wfxOut_.RemoveAnyExtra();
    if (wfxOut_.BitsPerSample() < 8) wfxOut_.SetBitsPerSample(16, false);
    wfxOut_.CalcAvgNBlkAlign();
    if (format.WFXFormatTag() != kTagFloat) return false;
    floatMode_ = true;
    return true;
}

bool XAudioACMDecoder::ConvertData(XAudioBufferNew& input, bool inPlace, bool /*last*/, bool floatOK) {
    if (!NeedToConvert(input, floatOK)) return buffer_.InitializeBuffer(inPlace, input);
    if (!floatMode_ && !CreateNewConverter(input, true)) return false;
    if (!floatMode_) return false;  // prepared for a caller that accepts float; this one does not
    if (!bitsConv_.ConvertData(input, 32, inPlace, nullptr, false)) return false;
    return buffer_.InitializeBuffer(true, bitsConv_);
}

}  // namespace w64
