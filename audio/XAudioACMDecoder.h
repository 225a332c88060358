#pragma once

#include "audio/XAudioBitsConv.h"

// Turns a stream of any format tag that can be decoded here into linear PCM. PCM passes through; IEEE float
// passes through where the caller takes it and becomes 32-bit PCM otherwise; every other tag is refused.
// Use:    CreateNewConverter once per stream, ConvertData for every block, Destroy before another stream.
// Owner:  a block made in place lies in the input's memory, any other in the decoder. Either is valid until the
//         next ConvertData.
// Errors: false, without a message.
class XAudioACMDecoder {
public:
    static bool NeedToConvert(const XAudioWFX& format, bool floatOK);

    // Also when it refuses, GetWFXOut() announces plain PCM of the input's shape. The depth announced is that
    // of the input, while float blocks come out at 32 bits: the layout of a block is Buffer()'s own.
    [[nodiscard]] bool CreateNewConverter(const XAudioWFX& format, bool floatOK);

    // Float is converted only when CreateNewConverter was told that it cannot be taken. A block needs nothing
    // from its neighbours, so the last one is not treated differently.
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
