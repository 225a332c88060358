#pragma once

#include "RatePair.h"

namespace w64 {

// The largest difference, in steps of 24 bits, between 24-bit stereo through XAudioConv, at high quality and
// without noise, and the same samples in doubles.
double WorstErrorIn24Bits(const RatePair& pair);

}  // namespace w64
