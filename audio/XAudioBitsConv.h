#pragma once

#include "audio/XAudioRdWr.h"

// A buffer that receives another one's audio at a different bit depth, integer or float. Samples pass through
// a left-justified 32-bit integer, so narrowing and float input truncate.
// Owner:  the result borrows the source's memory when nothing had to be changed or the change was made in
//         place, and is then valid as long as the source. Unless in place, the source's memory must not be
//         this object's own.
class XAudioBitsConv : public XAudioBufferNew {
public:
    // Whether the change is supported: PCM or float to 8, 16, 24 or 32 bits, 64 only from float, and the
    // same width always.
    [[nodiscard]] static bool Init(const XAudioWFX& source, int bits);

    // In place only where the result is not wider than the source, whose bytes are then overwritten. The
    // options text is that of XAudioRdWr and may be null. False for an unsupported change, a width that no
    // layout has, or no memory.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& source, int bits, bool inPlace, const wchar_t* options,
                                   bool toFloat);
    [[nodiscard]] bool ConvertData(XAudioBufferNew& source, const XAudioWFX& target, bool inPlace,
                                   const wchar_t* options);

private:
    [[nodiscard]] bool SetUpResult(XAudioBufferNew& source, int bits, int64_t frames, bool inPlace);

    XAudioRdWr writer_;  // carries noise from one part of a stream to the next
};
