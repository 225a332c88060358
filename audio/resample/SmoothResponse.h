#pragma once

#include "audio/fft/CacheLineAllocator.h"
#include "audio/resample/XAudioFreqConvDesign.h"

#include <cstdint>
#include <vector>

namespace w64 {

// The frequency response of a filter times `scale`, at the bins from 0 to half of `points`, which are its sampling
// rate. It is real and even, as the taps are symmetric about time 0. With every so many taps only, the sampling rate is
// as much lower, and what the stop band would let through above that folds onto it. ChannelGrid must take the points,
// as frames of one channel.
AlignedDoubles ResponseOf(const LowPass& filter, double scale, int64_t points, int64_t every = 1);

// The same at any bin of a longer transform, interpolated. There are at least 20 samples to each period of
// the response's fastest oscillation, so Lagrange's polynomial through the nearest of them is exact to the
// last digits.
class SmoothResponse {
public:
    static int64_t SamplesFor(const LowPass& filter);

    // Bin `period` is the filter's sampling rate.
    SmoothResponse(const LowPass& filter, double scale, int64_t period);

    // The response at `count` bins: precisely, by 16 samples, from 0 on; or roughly, by 6, from bin `first` * `apart`
    // on, `apart` bins each.
    AlignedDoubles Precise(int64_t count) const;
    AlignedDoubles Rough(int64_t first, int64_t count, int64_t apart) const;

private:
    AlignedDoubles PositionsOf(int64_t first, int64_t count, int64_t apart) const;

    int64_t period_;
    double samplesPerBin_;
    std::vector<double> samples_;
};

}  // namespace w64
