#pragma once

#include "RatePair.h"
#include "Resamplers.h"

#include <vector>

namespace w64 {

// The figures of a resampler at a pair of rates, in the units of Measurement, or the bounds for them, whose
// defaults these are. error24, in steps of 24 bits, is NaN where it is not measured.
struct Figures {
    double image = -176;
    double sweep = -176;
    double leakAt10 = -169;
    double leakAt100 = -176;
    double ripple = 1e-5;
    double passBandEnd = 0.997;
    double delay = 1e-9;
    double error24 = 0.5001;
};

struct Row {
    RatePair pair;
    Figures bounds;
    double nearest = 60;  // distance of tones from the lower Nyquist frequency, in Hz
    Figures figures{};
};

// A resampler measured at several pairs.
struct Measured {
    const Resampler& resampler;
    int coincidentTones;
    std::vector<Row> rows;
};

void Measure(const Resampler& resampler, int coincidentTones, Row& row);

// Prints Markdown, the resamplers one below the other for each pair. The first one must keep its bounds: the
// defaults are printed first, others in brackets, and figures beyond them are marked. False if there are any.
bool PrintTable(const std::vector<Measured>& all);

}  // namespace w64
