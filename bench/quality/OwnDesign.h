#pragma once

#include "RatePair.h"

// What the long filter's taps let through, in dB, at a distance in Hz beyond the lower Nyquist frequency: what
// XAudioFreqConv has to let through there, with UpwardEdge::SourceHalf.
double DesignedLeak(const RatePair& pair, double distance);
