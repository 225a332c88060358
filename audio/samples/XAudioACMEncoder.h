#pragma once

#include "audio/samples/XAudioBitsConv.h"

namespace w64 {

// The last stage of a conversion: integer PCM becomes 32-bit float if the target is float; audio that has the
// target's tag and rate passes through.
// Use, owner, errors: as XAudioACMDecoder.
class XAudioACMEncoder {
public:
    static bool NeedToConvert(const XAudioWFX& in, const XAudioWFX& out);
    [[nodiscard]] bool CreateNewConverter(const XAudioWFX& in, const XAudioWFX& out);

    // The result has 32 bits whatever the depth of `out`.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, const XAudioWFX& out, bool inPlace, bool last);

    XAudioBufferNew& Buffer() { return buffer_; }
    void Destroy() { floatMode_ = false; }

private:
    XAudioBufferNew buffer_;
    XAudioBitsConv bitsConv_;
    bool floatMode_ = false;
};

}  // namespace w64
