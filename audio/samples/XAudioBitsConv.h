#pragma once

#include "audio/samples/XAudioRdWr.h"

namespace w64 {

// A buffer that receives another one's audio at a different bit depth, integer or float. Samples pass through
// a left-justified 32-bit integer, so narrowing and float input truncate.
// Owner:  in place the result borrows the source's memory, if nothing changes or the result is not wider, and
//         is valid as long as the source. Unless in place, the source must not be in this object's memory.
class XAudioBitsConv : public XAudioBufferNew {
public:
    // Whether the change is supported: PCM or float to 8, 16, 24 or 32 bits, to 64 only from float, and any
    // width to itself.
    [[nodiscard]] static bool Init(const XAudioWFX& source, int bits);

    // Works in place only if the result is not wider than the source, whose bytes it then overwrites. The
    // options text is that of XAudioRdWr and may be null. False for an unsupported change, a width without a
    // layout, or when memory runs out.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& source, int bits, bool inPlace, const wchar_t* options,
                                   bool toFloat);
    [[nodiscard]] bool ConvertData(XAudioBufferNew& source, const XAudioWFX& target, bool inPlace,
                                   const wchar_t* options);

private:
    [[nodiscard]] bool SetUpResult(XAudioBufferNew& source, int bits, int64_t frames, bool inPlace);

    XAudioRdWr writer_;  // continues the dither noise from block to block
};

}  // namespace w64
