#pragma once

#include <cstdint>

namespace w64 {

// floor((count * numerator + offset) / denominator), even where the product would overflow.
constexpr int64_t ScaledDown(int64_t count, int64_t numerator, int64_t offset, int64_t denominator) {
    const int64_t rest = count % denominator * numerator + offset;
    return count / denominator * numerator + rest / denominator - (rest % denominator < 0 ? 1 : 0);
}

}  // namespace w64
