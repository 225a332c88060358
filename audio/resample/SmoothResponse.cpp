#include "audio/resample/SmoothResponse.h"

#include "audio/fft/FFTGrid.h"
#include "audio/fft/VectorComplex.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <numbers>

namespace w64 {

using namespace fft;

namespace {

constexpr int64_t kSamplesPerTap = 20;  // of one half, whose last tap is the fastest oscillation
constexpr int64_t kReach = 8;           // samples that are kept beyond either end

// Of each i, the product of 1 / (i - j) over all other j.
template <int kSamples>
constexpr std::array<double, kSamples> kWeights = [] {
    std::array<double, kSamples> weights{};
    for (int i = 0; i < kSamples; ++i) {
        double product = 1;
        for (int j = 0; j < kSamples; ++j) product *= i == j ? 1 : i - j;
        weights[static_cast<size_t>(i)] = 1 / product;
    }
    return weights;
}();

// Lagrange's polynomial at four positions, which count in samples.
template <int kSamples>
W64_INLINE Vector Interpolated(const double* samples, const Vector& positions) {
    constexpr int kBefore = kSamples / 2 - 1;
    const double* nearest[kLanes];
    Vector first;
    for (int lane = 0; lane < kLanes; ++lane) {
        const int64_t index = static_cast<int64_t>(positions[lane]) - kBefore;
        first[lane] = static_cast<double>(index);
        nearest[lane] = samples + index;
    }
    Vector leading[kSamples];
    Vector product = Broadcast(1);
    for (int i = 0; i < kSamples; ++i) {
        leading[i] = product;
        product *= positions - first - static_cast<double>(i);
    }
    Vector sum{};
    product = Broadcast(1);
    for (int i = kSamples - 1; i >= 0; --i) {
        const Vector near = {nearest[0][i], nearest[1][i], nearest[2][i], nearest[3][i]};
        sum += near * leading[i] * product * kWeights<kSamples>[static_cast<size_t>(i)];
        product *= positions - first - static_cast<double>(i);
    }
    return sum;
}

template <int kSamples>
W64_INLINE void Interpolate(const double* samples, double apart, int64_t last, AlignedDoubles& out) {
    for (int64_t k = 0; k <= last; k += kLanes) {
        Vector positions;
        for (int lane = 0; lane < kLanes; ++lane) {
            positions[lane] = static_cast<double>(std::min(k + lane, last)) * apart;
        }
        StoreVector(&out[static_cast<size_t>(k)], Interpolated<kSamples>(samples, positions));
    }
}
W64_VECTOR_CLONES void Interpolate16(const double* samples, double apart, int64_t last, AlignedDoubles& out) {
    Interpolate<16>(samples, apart, last, out);
}
W64_VECTOR_CLONES void Interpolate6(const double* samples, double apart, int64_t last, AlignedDoubles& out) {
    Interpolate<6>(samples, apart, last, out);
}

AlignedDoubles RoomFor(int64_t count) {
    return AlignedDoubles(static_cast<size_t>((count + kLanes - 1) / kLanes * kLanes));
}

// cos(2 pi k / points) and sin, for k up to a quarter of the points, by the angles of a far and a near one.
class Roots {
public:
    explicit Roots(size_t points) {
        for (size_t k = 0; k < kNear; ++k) near_.push_back(RootOf(k, points));
        for (size_t k = 0; k <= points / 4; k += kNear) far_.push_back(RootOf(k, points));
    }

    std::complex<double> operator[](size_t k) const {
        const std::complex<double> far = far_[k / kNear];
        const std::complex<double> near = near_[k % kNear];
        return {far.real() * near.real() - far.imag() * near.imag(),
                far.real() * near.imag() + far.imag() * near.real()};
    }

private:
    static constexpr size_t kNear = 64;

    static std::complex<double> RootOf(size_t k, size_t points) {
        return std::polar(1.0, 2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(points));
    }

    std::vector<std::complex<double>> near_;
    std::vector<std::complex<double>> far_;
};

}  // namespace

// The symmetric taps are real. Even and odd ones are transformed as the two parts of half as many numbers, whose bins k
// and half - k hold the response at k and half - k.
AlignedDoubles ResponseOf(const LowPass& filter, double scale, int64_t points) {
    const auto count = static_cast<size_t>(points);
    const size_t half = count / 2;
    AlignedDoubles spectrum(count, 0.0);
    const std::vector<double> taps = filter.HalfOfTaps();
    for (size_t i = 0; i < taps.size(); ++i) spectrum[i] = spectrum[(count - i) % count] = scale * taps[i];
    AlignedDoubles response(count);
    FFTGrid(points / 2).Forward(spectrum.data(), spectrum.data(), response.data());

    const Roots roots(count);
    const auto put = [&](size_t k, double value) { response[k] = response[(count - k) % count] = value; };
    for (size_t k = 0; k <= half / 2; ++k) {
        const size_t mirrored = k == 0 ? 0 : half - k;
        const double* const at = &spectrum[k / kLanes * kGroup + k % kLanes];
        const double* const atMirrored = &spectrum[mirrored / kLanes * kGroup + mirrored % kLanes];
        const std::complex<double> root = roots[k];
        const double even = at[0] + atMirrored[0];
        const double odd =
            root.real() * (at[kLanes] + atMirrored[kLanes]) + root.imag() * (at[0] - atMirrored[0]);
        put(k, (even + odd) / 2);
        put(half - k, (even - odd) / 2);
    }
    return response;
}

int64_t SmoothResponse::SamplesFor(const LowPass& filter) {
    const auto samples = static_cast<uint64_t>(filter.length / 2 * kSamplesPerTap);
    return std::max<int64_t>(512, static_cast<int64_t>(std::bit_ceil(samples)));
}

SmoothResponse::SmoothResponse(const LowPass& filter, double scale, double period) {
    const int64_t count = SamplesFor(filter);
    const AlignedDoubles response = ResponseOf(filter, scale, count);
    samplesPerBin_ = static_cast<double>(count) / period;
    samples_.reserve(static_cast<size_t>(count / 2 + 2 * kReach + 1));
    for (int64_t i = -kReach; i <= count / 2 + kReach; ++i) {
        samples_.push_back(response[static_cast<size_t>(std::abs(i) % count)]);
    }
}

AlignedDoubles SmoothResponse::Precise(int64_t count, int64_t apart) const {
    AlignedDoubles values = RoomFor(count);
    Interpolate16(&samples_[kReach], samplesPerBin_ * static_cast<double>(apart), count - 1, values);
    return values;
}

AlignedDoubles SmoothResponse::Rough(int64_t count, int64_t apart) const {
    AlignedDoubles values = RoomFor(count);
    Interpolate6(&samples_[kReach], samplesPerBin_ * static_cast<double>(apart), count - 1, values);
    return values;
}

}  // namespace w64
