#pragma once

#include <cstdint>
#include <vector>

namespace w64 {

// Interleaved stereo in doubles, full scale at 1.
struct Stereo {
    int rate = 0;
    std::vector<double> samples;

    int64_t Frames() const { return static_cast<int64_t>(samples.size() / 2); }
};

}  // namespace w64
