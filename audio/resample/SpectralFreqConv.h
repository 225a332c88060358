#pragma once

#include "audio/fft/ChannelGrid.h"
#include "audio/resample/FreqConvEngine.h"
#include "audio/resample/SpectralBlock.h"
#include "audio/resample/SpectralTiles.h"

#include <memory>
#include <vector>

namespace w64 {

// Both filters of a conversion and the change of rate, as one product of spectra per block (overlap-save).
// docs/resampler.md walks a block through it.
//
// A block is N input frames and M output frames of the same duration. On the finest common grid of both
// rates, with L = N * outPeriod = M * inPeriod points a block, the input's spectrum repeats every N bins (its
// frames with zeros between them), and keeping every inPeriod-th point adds up all bins that are M apart:
//
//     Y[k] = 1 / N * sum over i = 0 .. inPeriod - 1 of X[j mod N] * H_long[j mod P] * H_short[j]
//                    with j = (k + i M) mod L, counted from -L / 2 to L / 2
//
//     X        N bins   spectrum of the input block
//     Y        M bins   spectrum of the output block
//     H_long   P bins   response of the long filter: P = branches * M, or branches * N where it comes first
//     H_short  L bins   response of the short filter
//
// Both responses are 1 in the pass band. The factor 1 / N is outPeriod for the zeros put between the frames,
// 1 / inPeriod for the frames dropped, and 1 / M for the inverse transform, which is unscaled.
//
// What adds up in a bin:
//
//     pass band   j = k, where both filters pass.
//     images      j near +-P, +-2 P, ..., where the long filter passes again. The short filter stops them.
//     aliases     the other j that the short filter passes. The long filter stops them.
//     the rest    is stopped by both filters and left out.
//
// Only the pass-band term needs double precision; images and aliases are 170 dB lower, so float is exact
// enough for them. They are summed in tiles (SpectralTiles).
//
// Images differ by direction. Upwards P is a multiple of M: all images in bin k have the same H_long[k],
// which is multiplied with the sum of X * H_short. Downwards P is a multiple of N: X * H_long of an image is
// that of the pass-band term that it repeats, so the pass-band terms themselves are multiplied with H_short
// and summed. Down to a whole part of the rate the short filter is 1 and P = L: there are no images.
//
// Where half-band filters halve a rate (SpectralBlock), only the bins of N or M around 0 are computed.
//
// A. V. Oppenheim, R. W. Schafer: Discrete-Time Signal Processing (overlap-save). R. E. Crochiere, L. R.
// Rabiner: Multirate Digital Signal Processing, 1983. M. Borgerding: Turning Overlap-Save into a Multiband
// Mixing, Downsampling Filter Bank, IEEE Signal Processing Magazine 23 (2), 2006.
class SpectralFreqConv : public FreqConvEngine {
public:
    // Null when no block size suits both rates; OverlapFreqConv takes any rates.
    static std::unique_ptr<SpectralFreqConv> Create(const FreqConvDesign& design, int channels,
                                                    const FreqConvLimits& limits);

    int64_t Needed(int64_t blocks) const override;
    int64_t Produced(int64_t blocks) const override;
    int64_t History(int64_t block) const override;
    size_t Width() const override { return static_cast<size_t>(block_.channels); }
    size_t Threads() const override { return desks_.size(); }
    const double* Convert(size_t thread, size_t number, const double* in, int64_t frames,
                          int64_t outFrames) override;

private:
    // What a thread works with.
    struct Desk {
        ChannelGrid inGrid;                 // of N frames
        ChannelGrid outGrid;                // of M frames
        AlignedDoubles in;                  // X
        AlignedDoubles out;                 // Y, then frames
        AlignedDoubles work;                // of the grids
        AlignedFloats inTiles;              // 2 N: X
        AlignedFloats outTiles;             // 2 M: pass-band terms; empty for images of the input
        std::vector<AlignedDoubles> rates;  // frames that each half-band filter gives
    };

    SpectralFreqConv(const FreqConvDesign& design, const SpectralBlock& block, int threads);

    Desk NewDesk() const;
    void Design(const FreqConvDesign& design);
    const double* Halve(Desk& desk, const double* in) const;
    const double* Double(Desk& desk, const double* frames, int64_t count) const;

    SpectralBlock block_;
    bool imagesOfInput_;  // or else of the pass-band terms
    AlignedDoubles
        passBand_;  // of the bins that are computed: H_long[k] * H_short[k] / N, where the long filter passes
    AlignedFloats longResponse_;  // H_long[k], likewise
    SpectralTiles tiles_;         // images and aliases
    std::vector<Desk> desks_;
};

}  // namespace w64
