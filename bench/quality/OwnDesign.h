#pragma once

#include "RatePair.h"

namespace w64 {

// The response of the long filter's taps, in dB, at a distance in Hz beyond the lower Nyquist frequency. With
// UpwardEdge::SourceHalf, XAudioFreqConv must let exactly this through.
double DesignedLeak(const RatePair& pair, double distance);

}  // namespace w64
