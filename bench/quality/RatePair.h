#pragma once

#include <algorithm>

namespace w64 {

struct RatePair {
    int source;
    int target;

    bool IsUpward() const { return source < target; }
    double LowerNyquist() const { return std::min(source, target) / 2.0; }
    double PassBand() const { return std::min(20000.0, 0.9 * LowerNyquist()); }  // where ripple is measured
};

}  // namespace w64
