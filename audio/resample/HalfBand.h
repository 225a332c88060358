#pragma once

#include <cstdint>
#include <vector>

namespace w64 {

// Halves or doubles the rate of one channel or of two, interleaved, whose spectra end well below half the lower rate. A
// half-band filter is an interpolator:
//
//     halve    the mean of each even frame and what the odd ones around it have in its place
//     double   each frame, and what is midway between it and the next
//
// It keeps what is below the edge and stops what would be folded onto that, to 220 dB.
//
// F. Mintzer: On Half-Band, Third-Band, and Nth-Band FIR Filters and Their Design, IEEE Transactions on Acoustics,
// Speech, and Signal Processing 30 (5), 1982.
class HalfBand {
public:
    static constexpr double kMaxEdge = 0.42;  // of the lower rate

    HalfBand(double edge, int64_t channels);

    // Frames that are multiplied for one at the lower rate, on either side.
    int64_t Taps() const { return static_cast<int64_t>(taps_.size()); }

    // Frames at the lower rate, at either end, that are not converted: 0 when halved, left alone when doubled.
    int64_t Reach() const { return Taps() + kStep + 3; }

    // `frames` are those of the input.
    void Halve(const double* in, int64_t frames, double* out) const;
    void Double(const double* in, int64_t frames, double* out) const;

private:
    static constexpr int64_t kStep = 16;  // frames that are computed together

    // Of frames at the lower rate, the end of those that are converted: whole steps from the first on, which is Taps().
    // Vectors read up to three frames more.
    int64_t End(int64_t frames) const { return Taps() + (frames - 2 * Taps() - 3) / kStep * kStep; }

    int64_t channels_;
    std::vector<double> taps_;  // the nearest first
};

}  // namespace w64
