#pragma once

#include "audio/XAudioBitsConv.h"

// The last step of a conversion: integer PCM becomes 32-bit float where the target is float, and audio that
// already has the target's tag and rate passes through.
// Use, owner, errors: as XAudioACMDecoder.
class XAudioACMEncoder {
public:
    static bool NeedToConvert(const XAudioWFX& in, const XAudioWFX& out);
    [[nodiscard]] bool CreateNewConverter(const XAudioWFX& in, const XAudioWFX& out);

    // The result has 32 bits whatever depth `out` names.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, const XAudioWFX& out, bool inPlace, bool last);

    XAudioBufferNew& Buffer() { return buffer_; }
    void Destroy() { floatMode_ = false; }

private:
    XAudioBufferNew buffer_;
    XAudioBitsConv bitsConv_;
    bool floatMode_ = false;
};
