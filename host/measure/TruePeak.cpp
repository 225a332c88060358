#include "host/measure/TruePeak.h"

#include "audio/fft/VectorClones.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace w64 {

using namespace fft;

namespace {

constexpr size_t kTaps = 24;
constexpr size_t kBefore = kTaps / 2 - 1;  // the sample before the points
constexpr size_t kPoints = 3;              // between two samples
constexpr size_t kLanes = 4;
constexpr size_t kBlock = 1024;  // samples; stays in the first-level cache

using Taps = std::array<std::array<double, kTaps>, kPoints>;

// Of points between the samples kBefore and kBefore + 1 of those that they are made from.
Taps MakeTaps() {
    Taps taps{};
    for (size_t point = 0; point < kPoints; ++point) {
        const double place = kBefore + static_cast<double>(point + 1) / (kPoints + 1);
        double sum = 0;
        for (size_t tap = 0; tap < kTaps; ++tap) {
            const double x = std::numbers::pi * (static_cast<double>(tap) - place);
            const double window = std::cos(x / kTaps);
            taps[point][tap] = std::sin(x) / x * window * window;
            sum += taps[point][tap];
        }
        for (double& tap : taps[point]) tap /= sum;
    }
    return taps;
}

W64_INLINE Vector Larger(const Vector& a, const Vector& b) { return a > b ? a : b; }

// The highest magnitude of `count` samples, a multiple of kLanes, from number kBefore on, and of the points
// after each.
W64_VECTOR_CLONES double PeakOfPoints(const double* samples, size_t count, const Taps& taps) {
    Vector peak{};
    for (size_t i = 0; i < count; i += kLanes) {
        Vector points[kPoints]{};
        for (size_t tap = 0; tap < kTaps; ++tap) {
            const Vector sample = LoadVector(samples + i + tap);
            for (size_t point = 0; point < kPoints; ++point) points[point] += taps[point][tap] * sample;
        }
        const Vector sample = LoadVector(samples + i + kBefore);
        peak = Larger(peak, Larger(sample, -sample));
        for (const Vector& point : points) peak = Larger(peak, Larger(point, -point));
    }
    return std::max({peak[0], peak[1], peak[2], peak[3]});
}

}  // namespace

TruePeak::TruePeak() : waiting_(kTaps - 1) {}

void TruePeak::Add(std::span<const double> samples) {
    while (!samples.empty()) {
        const auto block = samples.first(std::min(samples.size(), kBlock));
        waiting_.insert(waiting_.end(), block.begin(), block.end());
        Measure();
        samples = samples.subspan(block.size());
    }
}

void TruePeak::Measure() {
    static const Taps taps = MakeTaps();
    const size_t count = (waiting_.size() - (kTaps - 1)) / kLanes * kLanes;
    peak_ = std::max(peak_, PeakOfPoints(waiting_.data(), count, taps));
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(count));
}

double TruePeak::Peak() const {
    TruePeak ended = *this;
    const std::array<double, kTaps - 1 + kLanes - 1> silence{};
    ended.Add(silence);
    return ended.peak_;
}

}  // namespace w64
