#include "audio/SmoothResponse.h"

#include "audio/FFTGrid.h"
#include "audio/VectorComplex.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace {

constexpr int64_t kSamplesPerTap = 20;  // for each tap of one half

}  // namespace

Numbers ResponseOf(const LowPass& filter, double scale, int64_t points) {
    FFTGrid grid(points);
    const std::vector<double> half = filter.HalfOfTaps();
    Numbers numbers(static_cast<size_t>(2 * points), 0.0);
    for (size_t i = 0; i < half.size(); ++i) {
        numbers[2 * i] = scale * half[i];
        numbers[(numbers.size() - 2 * i) % numbers.size()] = scale * half[i];
    }
    Numbers work(numbers.size());
    grid.Forward(numbers.data(), numbers.data(), work.data());
    const auto count = static_cast<size_t>(points);
    for (size_t k = 0; k < count; ++k) numbers[k] = numbers[k / kLanes * kGroup + k % kLanes];
    numbers.resize(count);
    return numbers;
}

int64_t SmoothResponse::SamplesFor(const LowPass& filter) {
    const auto samples = static_cast<uint64_t>(filter.length / 2 * kSamplesPerTap);
    return std::max<int64_t>(256, static_cast<int64_t>(std::bit_ceil(samples)));
}

SmoothResponse::SmoothResponse(const LowPass& filter, double scale, double period) {
    const int64_t count = SamplesFor(filter);
    const Numbers response = ResponseOf(filter, scale, count);
    samplesPerFrequency_ = static_cast<double>(count) / period;
    for (int64_t i = -kReach; i <= count / 2 + kReach; ++i) {
        samples_.push_back(response[static_cast<size_t>(std::abs(i) % count)]);
    }
}
