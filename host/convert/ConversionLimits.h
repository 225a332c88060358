#pragma once

#include "audio/format/XAudioWFX.h"

namespace w64 {

// The most that a sample rate can be converted from and to, in Hz.
constexpr unsigned kMostRate = 10'000'000;

// Audio that can be converted: of known samples, mixed between 1 to 8 channels, and resampled only where rates
// and channels let that be done in bounded memory.
// Errors: Failure, which tells what can be done instead.
void CheckConversion(const XAudioWFX& source, const XAudioWFX& target);

}  // namespace w64
