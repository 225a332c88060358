#pragma once

#include "audio/FFTGrid.h"
#include "audio/FreqConvEngine.h"
#include "audio/XAudioFreqConvDesign.h"

#include <memory>
#include <optional>
#include <span>
#include <vector>

// Of the frequencies that lie i * (output points) above a tile, what the short filter leaves: a line.
struct SpectralTerm {
    int32_t from;  // where they are in the input's spectrum
    float start;
    float slope;  // per frequency
};

// Both filters of a conversion at once, as products of spectra. Input and output are cut into blocks of the same
// duration, so that their spectra have the same frequencies: output frequency k is the sum of the input
// frequencies k + i * (output points), which all appear there, times what both filters leave of them.
//
// One of these is in the pass band and is computed in doubles. The others are 170 dB down, by the one filter or
// the other, and floats hold them as exactly as doubles hold the first. They need the response of the short
// filter only, which is so smooth that a line does for every tile of frequencies, and that of the long one.
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
    void ListTerms(std::span<const double> corners, std::span<const double> longResponse, double least);
    void SpreadInput();

    Block block_;
    FFTGrid inGrid_;
    FFTGrid outGrid_;
    int64_t classes_;     // of frequencies, by what the long filter leaves of them
    Numbers main_;        // response in the pass band, for every output frequency
    FloatNumbers outer_;  // of the long filter, for every class and output frequency, or input frequency
    bool outerIsLast_;    // whether it applies to sums of terms, or to the input
    std::vector<SpectralTerm> terms_;
    std::vector<int32_t> termsEnd_;  // for every tile and class
    std::vector<Numbers> inputs_;    // of the pairs: a block of frames, the last part still to come
    Numbers in_;                     // spectrum
    Numbers out_;                    // spectrum
    Numbers frames_;
    FloatNumbers re_;  // of the input's spectrum
    FloatNumbers im_;
};
