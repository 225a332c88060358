#pragma once

#include <vector>

namespace w64 {

// Conversions of interleaved doubles in blocks of 4,096 frames, each by a new converter, filter design included.
// False on failure.

std::vector<double> Noise(int channels, int rate, int seconds);

// With a second of delay, as `w64` converts files.
bool ConvertByXAudioFreqConv(std::vector<double>& samples, int channels, int source, int target);

// By the best recipe, without roll-off; the transition band is in Hz.
bool ConvertBySoxr(const std::vector<double>& samples, int channels, int source, int target,
                   double transition);

}  // namespace w64
