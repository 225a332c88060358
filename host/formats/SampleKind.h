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

// Errors: UsageError for samples that nothing stores.
inline void CheckSampleKind(bool isFloat, unsigned bits) {
    if (isFloat && bits < 32) throw UsageError("floating-point samples have 32 or 64 bits");
    if (!isFloat && bits > 32) throw UsageError("64-bit samples need --float");
}

// Whether a plain record says the same: of one channel in the center, or of a left and a right one.
inline bool AreUsualSpeakers(unsigned channels, uint32_t channelMask) {
    return (channels == 1 && channelMask == 4) || (channels == 2 && channelMask == 3);
}

// The WAVE format record for such samples: extensible when there are speakers to name, or so many channels of
// integers that they ask for it; else plain, with the fields behind `Format` unused. Floats stay plain as
// long as they can: readers of Wave64 in circulation take every extensible record for integers.
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
