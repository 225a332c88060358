#pragma once

#include "audio/resample/FreqConvEngine.h"
#include "audio/resample/HalfBand.h"
#include "audio/resample/XAudioFreqConvDesign.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace w64 {

// What SpectralFreqConv converts at a time. A period is the shortest time that is a whole number of frames at both
// rates, halved as often as they are.
struct SpectralBlock {
    // The block that takes the least time. Nothing if none suits both rates within the limits.
    static std::optional<SpectralBlock> Choose(const FreqConvDesign& design, int channels,
                                               const FreqConvLimits& limits);

    int64_t InFrames() const { return periods * inPeriod; }
    int64_t OutFrames() const { return periods * outPeriod; }
    int64_t InPoints() const { return InFrames() >> inHalvings; }
    int64_t OutPoints() const { return OutFrames() >> outHalvings; }
    int64_t LongFrames(const FreqConvDesign& design) const {
        return design.branches * (design.shortFirst ? OutFrames() : InFrames());
    }
    int64_t LongPoints(const FreqConvDesign& design) const { return LongFrames(design) >> halfBands.size(); }
    int64_t Hop() const { return periods - 2 * margin; }
    int64_t FirstNeeded() const { return periods - margin; }
    int64_t HalfBandReach() const;  // frames at the highest rate that half-band filters spoil, at either end

    int64_t channels;                 // 1 or 2
    int64_t tile;                     // bins
    bool isExact;                     // or else some images and aliases are left out
    int64_t inPeriod;                 // frames
    int64_t outPeriod;                // frames
    int64_t gridPeriod;               // points of the common grid
    int inHalvings;                   // of the input's rate, before its transform
    int outHalvings;                  // of the output's rate, undone after its transform
    std::vector<HalfBand> halfBands;  // the one at the highest rate first
    int64_t margin;                   // periods at either end that wrap-around spoils
    int64_t periods;
    double work;  // per second of sound, compared with other blocks
};

}  // namespace w64
