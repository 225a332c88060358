#pragma once

#include "audio/XAudioWFX.h"

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
