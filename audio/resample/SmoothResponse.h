#pragma once

#include "audio/fft/CacheLineAllocator.h"
#include "audio/resample/XAudioFreqConvDesign.h"

#include <cstdint>
#include <vector>

namespace w64 {

// The frequency response of a filter times `scale`, at `points` bins from 0 up to its sampling rate. It is
// real, as the filters are symmetric about time 0. FFTGrid must take half as many points.
AlignedDoubles ResponseOf(const LowPass& filter, double scale, int64_t points);

// The same at any bin of a longer transform, interpolated. There are at least 20 samples to each period of
// the response's fastest oscillation, so Lagrange's polynomial through the nearest of them is exact to the
// last digits.
class SmoothResponse {
public:
    static int64_t SamplesFor(const LowPass& filter);

    // Bin `period` is the filter's sampling rate.
    SmoothResponse(const LowPass& filter, double scale, double period);

    // The response at `count` bins from 0 up to half the period at most, `apart` bins each: precisely, by 16 samples,
    // or roughly, by 6.
    AlignedDoubles Precise(int64_t count, int64_t apart) const;
    AlignedDoubles Rough(int64_t count, int64_t apart) const;

private:
    double samplesPerBin_;
    std::vector<double> samples_;
};

}  // namespace w64
