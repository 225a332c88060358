#pragma once

#include "RatePair.h"

// How far 24-bit stereo through XAudioConv, at high quality and without noise, comes out off what the same
// samples give in doubles, in steps of 24 bits at most.
double WorstErrorIn24Bits(const RatePair& pair);
