#include "audio/resample/SmoothResponse.h"

#include "audio/fft/FFTGrid.h"
#include "audio/fft/VectorComplex.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace w64 {

using namespace fft;

namespace {

constexpr int64_t kSamplesPerTap = 20;  // of one half, whose last tap is the fastest oscillation

}  // namespace

AlignedDoubles ResponseOf(const LowPass& filter, double scale, int64_t points) {
    FFTGrid grid(points);
    const std::vector<double> half = filter.HalfOfTaps();
    AlignedDoubles response(static_cast<size_t>(2 * points), 0.0);
    for (size_t i = 0; i < half.size(); ++i) {
        response[2 * i] = scale * half[i];
        response[(response.size() - 2 * i) % response.size()] = scale * half[i];
    }
    AlignedDoubles work(response.size());
    grid.Forward(response.data(), response.data(), work.data());
    const auto count = static_cast<size_t>(points);
    for (size_t k = 0; k < count; ++k) response[k] = response[k / kLanes * kGroup + k % kLanes];
    response.resize(count);
    return response;
}

int64_t SmoothResponse::SamplesFor(const LowPass& filter) {
    const auto samples = static_cast<uint64_t>(filter.length / 2 * kSamplesPerTap);
    return std::max<int64_t>(256, static_cast<int64_t>(std::bit_ceil(samples)));
}

SmoothResponse::SmoothResponse(const LowPass& filter, double scale, double period) {
    const int64_t count = SamplesFor(filter);
    const AlignedDoubles response = ResponseOf(filter, scale, count);
    samplesPerBin_ = static_cast<double>(count) / period;
    for (int64_t i = -kReach; i <= count / 2 + kReach; ++i) {
        samples_.push_back(response[static_cast<size_t>(std::abs(i) % count)]);
    }
}

}  // namespace w64
