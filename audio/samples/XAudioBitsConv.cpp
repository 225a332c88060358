#include "audio/samples/XAudioBitsConv.h"

namespace w64 {

bool XAudioBitsConv::Init(const XAudioWFX& source, int bits) {
    if (source.BitsPerSample() == bits) return true;
    const int tag = source.WFXFormatTag();
    if (tag != kTagPCM && tag != kTagFloat) return false;
    if (bits == 64) return tag == kTagFloat;
    return bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

bool XAudioBitsConv::ConvertData(XAudioBufferNew& source, const XAudioWFX& target, bool inPlace,
                                 const wchar_t* options) {
    return ConvertData(source, target.BitsPerSample(), inPlace, options, target.WFXFormatTag() == kTagFloat);
}

bool XAudioBitsConv::ConvertData(XAudioBufferNew& source, int bits, bool inPlace, const wchar_t* options,
                                 bool toFloat) {
    const int sourceTag = source.WFXFormatTag();
    const int tag = toFloat ? kTagFloat : kTagPCM;
    if (source.BitsPerSample() == bits && sourceTag == tag) return InitializeBuffer(inPlace, source);
    if (!IsLinear(sourceTag) || !Init(source, bits)) return false;
    // Floats declared with fewer than 32 bits would be read past the end of the buffer, and a result without
    // a known layout would never be written. A source without a known layout is silence.
    if (sourceTag == kTagFloat && source.BitsPerSample() < 32) return false;
    if (!XAudioRdWr::HasLayout(tag, bits)) return false;
    const XAudioRdWr reader(source, 0, nullptr);
    const int64_t frames = source.GetUsedSample();
    if (!SetUpResult(source, bits, frames, inPlace)) return false;
    SetUsedSample(frames);
    SetWFXFormatTag(tag);
    writer_.Continue(*this, options);
    writer_.PutFrom(reader, frames * Channels());
    return true;
}

bool XAudioBitsConv::SetUpResult(XAudioBufferNew& source, int bits, int64_t frames, bool inPlace) {
    if (inPlace && bits <= source.BitsPerSample()) {
        if (!InitializeBuffer(true, source)) return false;
        SetBitsPerSample(bits, true);
        return true;
    }
    Assign(source);
    SetBitsPerSample(bits, true);
    return SetBufferByteSizeNew(SampleToBytes(frames), false, false);
}

}  // namespace w64
