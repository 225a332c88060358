#pragma once

#include "RatePair.h"
#include "Resamplers.h"

#include <vector>

// What a resampler shows at a pair of rates, in the units of Measurement; or the bounds for it, which are these
// where nothing else is said. The error in steps of 24 bits is no number where it is not measured.
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
    double nearest = 60;  // tone to the lower Nyquist frequency, in Hz
    Figures figures{};
};

// A resampler at several pairs, measured with so many tones whose images meet.
struct Measured {
    const Resampler& resampler;
    int meetings;
    std::vector<Row> rows;
};

void Measure(const Resampler& resampler, int meetings, Row& row);

// Markdown: the resamplers below each other, pair by pair. The first one has to keep its bounds: the usual ones
// come first, others stand in brackets, and figures beyond are marked. False when there are such figures.
bool PrintTable(const std::vector<Measured>& all);
