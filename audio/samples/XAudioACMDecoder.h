#pragma once

#include "audio/samples/XAudioBitsConv.h"

namespace w64 {

// Turns a stream of any supported format tag into linear PCM. PCM passes through; IEEE float passes through
// if the caller accepts it and becomes 32-bit PCM otherwise; every other tag is refused.
// Use:    CreateNewConverter once per stream, ConvertData for every block, Destroy before another stream.
// Owner:  a block converted in place is in the input's memory, any other in the decoder's. Either is valid
//         until the next ConvertData.
// Errors: false, without a message.
class XAudioACMDecoder {
public:
    static bool NeedToConvert(const XAudioWFX& format, bool floatOK);

    // Even if the tag is refused, GetWFXOut() announces plain PCM with the input's rate, channels and depth.
    // Float blocks come out at 32 bits whatever depth is announced: the layout of a block is the format of
    // Buffer().
    [[nodiscard]] bool CreateNewConverter(const XAudioWFX& format, bool floatOK);

    // Float is converted only if CreateNewConverter was called without floatOK. Blocks are independent, so
    // `last` has no effect.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, bool inPlace, bool last, bool floatOK);

    XAudioWFX& GetWFXOut() { return wfxOut_; }
    XAudioBufferNew& Buffer() { return buffer_; }
    void Destroy() { floatMode_ = false; }

private:
    XAudioWFX wfxOut_;
    XAudioBufferNew buffer_;
    XAudioBitsConv bitsConv_;
    bool floatMode_ = false;
};

}  // namespace w64
