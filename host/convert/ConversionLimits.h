#pragma once

#include "audio/format/XAudioWFX.h"

namespace w64 {

// The highest sample rate that can be converted from and to, in Hz.
constexpr unsigned kMaxRate = 10'000'000;

// Checks that the audio can be converted: known sample formats, mixes of 1 to 8 channels, and resampling only for
// rates and channels that need bounded memory.
// Errors: Failure, which says what is possible instead.
void CheckConversion(const XAudioWFX& source, const XAudioWFX& target);

}  // namespace w64
