#pragma once

#include "audio/XAudioBufferNew.h"

#include <vector>

using Bytes = std::vector<uint8_t>;

inline Bytes Used(const XAudioBufferNew& buffer) {
    return {buffer.BufferStart(), buffer.BufferStart() + buffer.GetUsedByte()};
}

inline XAudioWFX Format(int tag, int channels, int bits, int rate = 44100) {
    XAudioWFX format(channels, rate, bits);
    format.SetFormatTag(tag);
    return format;
}

// An extensible record around any sub-format.
inline XAudioWFX Extensible(const GUID& subFormat, int channels, int bits) {
    XAudioWFX format(channels, 44100, bits);
    format.ConvertWFXToExtensible();
    format.pwfxex()->SubFormat = subFormat;
    return format;
}
