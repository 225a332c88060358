#pragma once

#include "audio/FFTGrid.h"
#include "audio/FreqConvEngine.h"
#include "audio/SpectralTiles.h"
#include "audio/XAudioFreqConvDesign.h"

#include <memory>
#include <optional>
#include <vector>

// Both filters of a conversion at once, as products of spectra. Input and output are cut into blocks of the same
// duration, so that their spectra have the same frequencies: output frequency k is the sum of the input
// frequencies k + i * (output points), which all appear there, times what both filters leave of them.
//
// One of these is in the pass band and is computed in doubles. The others are 170 dB down, by the one filter or
// the other, and floats hold them as exactly as doubles hold the first. What the long filter lets pass needs the
// response of the short one only, which is so smooth that a parabola does for every tile of frequencies.
class SpectralFreqConv : public FreqConvEngine {
public:
    // Nothing when no block has convenient numbers of frames at both rates: OverlapFreqConv takes any.
    static std::unique_ptr<SpectralFreqConv> Create(const FreqConvDesign& design, int channels);

    int64_t Needed(int64_t blocks) const override;
    int64_t Produced(int64_t blocks) const override;

private:
    // Time goes in periods, the shortest time that is a whole number of frames at both rates.
    struct Block {
        int64_t inPeriod;   // frames
        int64_t outPeriod;  // frames
        int64_t periods;
        int64_t margin;  // periods at either end that the filters reach into

        int64_t InPoints() const { return periods * inPeriod; }
        int64_t OutPoints() const { return periods * outPeriod; }
        int64_t Hop() const { return periods - 2 * margin; }
    };

    static std::optional<Block> ChooseBlock(const FreqConvDesign& design);

    SpectralFreqConv(const FreqConvDesign& design, const Block& block, int channels);

    void RestartPairs(size_t pairs) override;
    double* InputOf(size_t pair, int64_t frames) override;
    const double* Convert(size_t pair, int64_t frames) override;

    void Design(const FreqConvDesign& design);

    Block block_;
    FFTGrid inGrid_;
    FFTGrid outGrid_;
    bool imagesOfInput_;  // or else of the output's pass band
    Numbers passBand_;    // response for every output frequency
    FloatNumbers last_;   // the long filter's part of it
    SpectralTiles tiles_;
    std::vector<Numbers> kept_;  // frames that the pairs' next blocks begin with
    Numbers in_;                 // frames, then their spectrum
    Numbers out_;                // spectrum, then its frames
    Numbers work_;
    FloatNumbers inTiles_;  // the spectra once more
    FloatNumbers outTiles_;
};
