#include "audio/resample/SmoothResponse.h"

#include "audio/fft/ChannelGrid.h"
#include "audio/fft/VectorComplex.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>

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

// Of bins from the nearest multiple of a period.
W64_VECTOR_CLONES void FillWithDistances(double first, double apart, double period,
                                         AlignedDoubles& distances) {
    const auto count = static_cast<int>(distances.size());
    for (int i = 0; i < count; ++i) {
        const double bin = std::abs(first + apart * i);
        distances[static_cast<size_t>(i)] = std::min(bin, period - bin);
    }
}

// From positions to responses, in place.
W64_VECTOR_CLONES void Interpolate16(const double* samples, AlignedDoubles& values) {
    for (size_t k = 0; k < values.size(); k += kLanes) {
        StoreVector(&values[k], Interpolated<16>(samples, LoadVector(&values[k])));
    }
}
W64_VECTOR_CLONES void Interpolate6(const double* samples, AlignedDoubles& values) {
    for (size_t k = 0; k < values.size(); k += kLanes) {
        StoreVector(&values[k], Interpolated<6>(samples, LoadVector(&values[k])));
    }
}

}  // namespace

AlignedDoubles ResponseOf(const LowPass& filter, double scale, int64_t points, int64_t every) {
    const auto count = static_cast<size_t>(points);
    AlignedDoubles response(count + kGroup, 0.0);
    const std::vector<double> taps = filter.HalfOfTaps(every);
    for (size_t i = 0; i < taps.size(); ++i) response[i] = response[(count - i) % count] = scale * taps[i];
    AlignedDoubles work(count);
    ChannelGrid(points, 1).Forward(response.data(), response.data(), work.data());
    for (size_t k = 0; k <= count / 2; ++k) response[k] = response[k / kLanes * kGroup + k % kLanes];
    response.resize(count / 2 + 1);
    return response;
}

int64_t SmoothResponse::SamplesFor(const LowPass& filter) {
    const auto samples = static_cast<uint64_t>(filter.length / 2 * kSamplesPerTap);
    return std::max<int64_t>(512, static_cast<int64_t>(std::bit_ceil(samples)));
}

SmoothResponse::SmoothResponse(const LowPass& filter, double scale, int64_t period) : period_(period) {
    const int64_t count = SamplesFor(filter);
    const AlignedDoubles response = ResponseOf(filter, scale, count);
    samplesPerBin_ = static_cast<double>(count) / static_cast<double>(period);
    samples_.reserve(static_cast<size_t>(count / 2 + 2 * kReach + 1));
    for (int64_t i = -kReach; i <= count / 2 + kReach; ++i) {
        samples_.push_back(response[static_cast<size_t>(std::min(std::abs(i), count - i))]);
    }
}

// Whole vectors of them, which count in samples.
AlignedDoubles SmoothResponse::PositionsOf(int64_t first, int64_t count, int64_t apart) const {
    AlignedDoubles positions(static_cast<size_t>((count + kLanes - 1) / kLanes * kLanes));
    FillWithDistances(static_cast<double>(first * apart), static_cast<double>(apart),
                      static_cast<double>(period_), positions);
    for (double& position : positions) position *= samplesPerBin_;
    return positions;
}

AlignedDoubles SmoothResponse::Precise(int64_t count) const {
    AlignedDoubles responses = PositionsOf(0, count, 1);
    Interpolate16(&samples_[kReach], responses);
    return responses;
}

AlignedDoubles SmoothResponse::Rough(int64_t first, int64_t count, int64_t apart) const {
    AlignedDoubles responses = PositionsOf(first, count, apart);
    Interpolate6(&samples_[kReach], responses);
    return responses;
}

}  // namespace w64
