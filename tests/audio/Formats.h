#pragma once

#include "Bytes.h"
#include "audio/samples/XAudioRdWr.h"

#include <gtest/gtest.h>
#include <random>

namespace w64 {

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

using Samples = std::vector<double>;

// White noise at full scale.
inline Samples Random(size_t count) {
    std::mt19937_64 random(count);
    Samples samples(count);
    for (double& sample : samples) sample = static_cast<double>(random()) * 0x1p-63 - 1;
    return samples;
}

inline XAudioBufferNew Noise(int64_t frames, const XAudioWFX& format) {
    XAudioBufferNew audio(frames, format, false);
    audio.SetUsedSample(frames);
    const Samples samples = Random(static_cast<size_t>(frames * format.Channels()));
    XAudioRdWr(audio, 0, nullptr).PutDbls(0, std::ssize(samples), samples.data());
    return audio;
}

}  // namespace w64
