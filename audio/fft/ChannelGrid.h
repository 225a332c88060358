#pragma once

#include "audio/fft/FFTGrid.h"

namespace w64 {

// Transforms of the frames of one channel or of two, with exp(+2 pi i nk / frames). Two channels are the real and the
// imaginary parts of as many complex points. Of one channel every two frames are a point; half as many points take half
// the time.
//
// Shape:  frames are interleaved. A spectrum is groups of four real parts and then their four imaginary parts: as many
//         bins as frames of two channels; of one channel half as many, whose conjugates are the others, and one more,
//         which begins a group of its own.
// Owner:  the caller owns all memory; `work` is one double per number.
class ChannelGrid {
public:
    static bool Takes(ptrdiff_t frames, ptrdiff_t channels) {
        return frames * channels % 2 == 0 && FFTGrid::Takes(frames * channels / 2);
    }

    ChannelGrid(ptrdiff_t frames, ptrdiff_t channels);

    // The spectrum may replace the frames; `work` must be separate.
    void Forward(const double* frames, double* spectrum, double* work);

    // The inverse, times the number of frames, of a spectrum, which is overwritten. Writes frames `first` to `end` - 1
    // only, both limits multiples of 8, the first of them at frames[0]. The frames may replace the spectrum.
    void Inverse(double* spectrum, double* frames, ptrdiff_t first, ptrdiff_t end, double* work);

private:
    FFTGrid grid_;
    ptrdiff_t channels_;
    // Of one channel, exp(2 pi i bin / frames) of the lower half of the bins of the points' transform: products of two.
    AlignedDoubles coarse_;
    AlignedDoubles fine_;  // in groups
};

}  // namespace w64
