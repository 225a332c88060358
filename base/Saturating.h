#pragma once

#include <cstdint>
#include <limits>

namespace w64 {

// Signed 64-bit arithmetic that saturates instead of overflowing. Positions and ranges come from callers and
// files; values beyond the limits mean "as far as possible".

inline int64_t SaturatingAdd(int64_t a, int64_t b) {
    int64_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum)) return sum;
    return a < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

inline int64_t SaturatingMultiply(int64_t a, int64_t b) {
    int64_t product = 0;
    if (!__builtin_mul_overflow(a, b, &product)) return product;
    return (a < 0) != (b < 0) ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

}  // namespace w64
