#pragma once

#include "audio/fft/FFTGrid.h"

#include <cstddef>
#include <vector>

namespace w64 {

// A Kaiser window with side lobes `attenuation` dB, at least 60, below the main lobe; scaled so that a sine of
// amplitude 1 has a peak of 1.
std::vector<double> KaiserWindow(size_t size, double attenuation);

// The sum of the power spectra of windows, over all channels.
struct SpectrumSum {
    explicit SpectrumSum(size_t points = 0) : powers(points) {}

    std::vector<double> powers;  // of the points' frequencies, negative ones from half the points on
    size_t windows = 0;

    void Add(const SpectrumSum& other);

    // The powers of the frequencies from 0 to half the points.
    std::vector<double> Folded() const;
};

// Adds up the power spectra of windows, two channels at a time: these are the real and imaginary parts of complex
// points, as are two windows of the last of an odd number of channels.
class WindowSpectra {
public:
    // The points are at least as many as the window has.
    WindowSpectra(const std::vector<double>& window, size_t channels, size_t points);

    // As many interleaved frames as the window has.
    void Add(const double* frames);

    // What was added since the last call.
    SpectrumSum Take();

private:
    void AddPair(const double* frames);
    void AddUnpaired(const double* samples);
    void AddPowers(const double* points);

    size_t windowSize_;
    size_t channels_;
    FFTGrid grid_;
    AlignedDoubles weights_;  // of the points: the window, then zeros
    AlignedDoubles points_;
    AlignedDoubles unpaired_;
    bool isHalfFull_ = false;  // unpaired_, with one window
    AlignedDoubles work_;
    SpectrumSum sum_;
};

}  // namespace w64
