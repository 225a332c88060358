#include "audio/resample/HalfBand.h"

#include "audio/fft/VectorClones.h"
#include "audio/resample/XAudioFreqConvDesign.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

namespace w64 {

using namespace fft;

namespace {

constexpr double kStopped = 220;  // dB
constexpr double kTapsFactor = (kStopped - 7.95) / 14.36;

constexpr int64_t TapsFor(double edge) { return static_cast<int64_t>(kTapsFactor / (2 - 4 * edge)) + 1; }

constexpr int64_t kMaxTaps = TapsFor(HalfBand::kMaxEdge);
constexpr int64_t kChunk = 512;  // numbers that stay in the first-level cache between two steps

constexpr int64_t kVectors = 4;

// The modified Bessel function I0, for which this attenuation takes more terms than izero has.
double Bessel(double x) {
    double sum = 1;
    double term = 1;
    for (int k = 1; term > 1e-17 * sum; ++k) {
        term *= x / (2 * k) * x / (2 * k);
        sum += term;
    }
    return sum;
}

// What is midway between each of some frames and the one before it.
template <int64_t kChannels>
struct Midway {
    Vector vectors[kVectors] = {};

    W64_INLINE Midway(const double* frames, std::span<const double> taps) {
        const double* before = frames - kChannels;
        for (const double tap : taps) {
            for (int64_t i = 0; i < kVectors; ++i) {
                vectors[i] += Broadcast(tap) * (LoadVector(before + 4 * i) + LoadVector(frames + 4 * i));
            }
            before -= kChannels;
            frames += kChannels;
        }
    }
};

constexpr int kEven = 0;
constexpr int kOdd = 1;

// Every other frame.
template <int64_t kChannels, int kFirst>
W64_INLINE Vector EveryOther(const double* frames) {
    const Vector low = LoadVector(frames);
    const Vector high = LoadVector(frames + 4);
    if constexpr (kChannels == 2) {
        constexpr int kAt = 2 * kFirst;
        return __builtin_shufflevector(low, high, kAt, kAt + 1, kAt + 4, kAt + 5);
    }
    return __builtin_shufflevector(low, high, kFirst, kFirst + 2, kFirst + 4, kFirst + 6);
}

template <int64_t kChannels>
W64_INLINE void StoreInTurn(const Vector& even, const Vector& odd, double* to) {
    if constexpr (kChannels == 2) {
        StoreVector(to, __builtin_shufflevector(even, odd, 0, 1, 4, 5));
        StoreVector(to + 4, __builtin_shufflevector(even, odd, 2, 3, 6, 7));
    } else {
        StoreVector(to, __builtin_shufflevector(even, odd, 0, 4, 1, 5));
        StoreVector(to + 4, __builtin_shufflevector(even, odd, 2, 6, 3, 7));
    }
}

// Numbers `first` to `end` - 1 of the lower rate.
template <int64_t kChannels>
W64_INLINE void HalveNumbers(std::span<const double> taps, const double* in, int64_t first, int64_t end,
                             double* out) {
    const int64_t reach = std::ssize(taps) * kChannels;
    double odd[kChunk + 2 * kMaxTaps * kChannels + 3];
    for (; first < end; first += kChunk) {
        const int64_t last = std::min(first + kChunk, end);
        double* to = odd;
        for (int64_t n = first - reach; n < last + reach; n += 4, to += 4) {
            StoreVector(to, EveryOther<kChannels, kOdd>(in + 2 * n));
        }
        for (int64_t n = first; n < last; n += 4 * kVectors) {
            const Midway<kChannels> midway(odd + (n - first + reach), taps);
            for (int64_t i = 0; i < kVectors; ++i) {
                const Vector even = EveryOther<kChannels, kEven>(in + 2 * (n + 4 * i));
                StoreVector(out + n + 4 * i, 0.5 * (even + midway.vectors[i]));
            }
        }
    }
}

template <int64_t kChannels>
W64_INLINE void DoubleNumbers(std::span<const double> taps, const double* in, int64_t first, int64_t end,
                              double* out) {
    for (int64_t n = first; n < end; n += 4 * kVectors) {
        const Midway<kChannels> midway(in + n + kChannels, taps);
        for (int64_t i = 0; i < kVectors; ++i) {
            StoreInTurn<kChannels>(LoadVector(in + n + 4 * i), midway.vectors[i], out + 2 * (n + 4 * i));
        }
    }
}

W64_VECTOR_CLONES void HalveFrames(int64_t channels, std::span<const double> taps, const double* in,
                                   int64_t first, int64_t end, double* out) {
    if (channels == 2) return HalveNumbers<2>(taps, in, 2 * first, 2 * end, out);
    HalveNumbers<1>(taps, in, first, end, out);
}

W64_VECTOR_CLONES void DoubleFrames(int64_t channels, std::span<const double> taps, const double* in,
                                    int64_t first, int64_t end, double* out) {
    if (channels == 2) return DoubleNumbers<2>(taps, in, 2 * first, 2 * end, out);
    DoubleNumbers<1>(taps, in, first, end, out);
}

}  // namespace

HalfBand::HalfBand(double edge, int64_t channels)
    : channels_(channels), taps_(static_cast<size_t>(TapsFor(edge))) {
    const double shape = resample::alpha(kStopped);
    const double peak = Bessel(shape);
    for (size_t i = 0; i < taps_.size(); ++i) {
        const double distance = static_cast<double>(i) + 0.5;
        const double position = distance / static_cast<double>(taps_.size());
        const double window = Bessel(shape * std::sqrt(1 - position * position)) / peak;
        taps_[i] = window * resample::sinc(std::numbers::pi * distance);
    }
}

void HalfBand::Halve(const double* in, int64_t frames, double* out) const {
    const int64_t end = End(frames / 2);
    HalveFrames(channels_, taps_, in, Taps(), end, out);
    std::fill(out, out + Taps() * channels_, 0.0);
    std::fill(out + end * channels_, out + frames / 2 * channels_, 0.0);
}

void HalfBand::Double(const double* in, int64_t frames, double* out) const {
    DoubleFrames(channels_, taps_, in, Taps(), End(frames), out);
}

}  // namespace w64
