#pragma once

#include "audio/WaveFormat.h"

#include <cstdint>

// How a linear sample is stored.
struct SampleKind {
    uint16_t tag;   // kTagPCM or kTagFloat
    unsigned bits;  // a multiple of 8
};

// The WAVE format record for such samples: extensible when there are speakers to name, or so many channels of
// integers that they ask for it; else plain, with the fields behind `Format` unused. Floats stay plain as
// long as they can: readers of Wave64 in circulation take every extensible record for integers.
inline WAVEFORMATEXTENSIBLE MakeWaveFormat(SampleKind kind, unsigned channels, uint32_t framesPerSecond,
                                           uint32_t channelMask) {
    const bool extensible = channelMask != 0 || (channels > 2 && kind.tag == kTagPCM);
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
