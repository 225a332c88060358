#pragma once

#include "audio/format/XAudioWFX.h"
#include "host/terminal/Failure.h"

#include <cstdint>

namespace w64 {

// How a linear sample is stored.
struct SampleKind {
    uint16_t tag;   // kTagPCM or kTagFloat
    unsigned bits;  // a multiple of 8

    bool operator==(const SampleKind&) const = default;
};

inline SampleKind KindOf(const XAudioWFX& format) {
    return {static_cast<uint16_t>(format.WFXFormatTag()), static_cast<unsigned>(format.BitsPerSample())};
}

// Errors: UsageError for a combination that no format has.
inline void CheckSampleKind(bool isFloat, unsigned bits) {
    if (isFloat && bits < 32) throw UsageError("floating-point samples have 32 or 64 bits");
    if (!isFloat && bits > 32) throw UsageError("64-bit samples need --float");
}

// Whether a plain record implies these speakers: mono in the center, or left and right.
inline bool AreUsualSpeakers(unsigned channels, uint32_t channelMask) {
    return (channels == 1 && channelMask == 4) || (channels == 2 && channelMask == 3);
}

// The WAVE format record for such samples: extensible when there are speakers to name, or more than two channels
// of integers; else plain, with the fields after `Format` unused. Floats are plain wherever possible, because some
// Wave64 readers take every extensible record for integers.
inline WAVEFORMATEXTENSIBLE MakeWaveFormat(SampleKind kind, unsigned channels, uint32_t framesPerSecond,
                                           uint32_t channelMask) {
    const bool isFloat = kind.tag == kTagFloat;
    const bool namesSpeakers = channelMask != 0 && !(isFloat && AreUsualSpeakers(channels, channelMask));
    const bool extensible = namesSpeakers || (channels > 2 && !isFloat);
    WAVEFORMATEXTENSIBLE format{};
    format.Format.wFormatTag = extensible ? kTagExtensible : kind.tag;
    format.Format.nChannels = static_cast<uint16_t>(channels);
    format.Format.nSamplesPerSec = framesPerSecond;
    format.Format.nBlockAlign = static_cast<uint16_t>(channels * kind.bits / 8);
    format.Format.nAvgBytesPerSec = framesPerSecond * format.Format.nBlockAlign;
    format.Format.wBitsPerSample = static_cast<uint16_t>(kind.bits);
    format.Format.cbSize = extensible ? sizeof format - sizeof format.Format : 0;
    format.wValidBitsPerSample = format.Format.wBitsPerSample;
    format.dwChannelMask = channelMask;
    format.SubFormat = SubFormatOfTag(kind.tag);
    return format;
}

}  // namespace w64
