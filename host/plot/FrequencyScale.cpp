#include "host/plot/FrequencyScale.h"

#include "host/plot/AxisTicks.h"

#include <algorithm>
#include <cmath>

namespace w64 {

FrequencyScale::FrequencyScale(double highest, bool byOctaves)
    : highest_(highest), lowest_(byOctaves ? std::min(20.0, highest / 100) : 0) {}

double FrequencyScale::At(double place) const {
    return IsByOctaves() ? lowest_ * std::pow(highest_ / lowest_, place) : highest_ * place;
}

double FrequencyScale::PlaceOf(double hertz) const {
    return IsByOctaves() ? std::log(hertz / lowest_) / std::log(highest_ / lowest_) : hertz / highest_;
}

std::vector<double> FrequencyScale::Ticks(double gap) const {
    std::vector<double> ticks;
    const double end = highest_ * (1 + 1e-9);
    if (!IsByOctaves()) {
        const double step = RoundStep(highest_ * gap);
        for (int i = 0; i * step <= end; ++i) ticks.push_back(i * step);
        return ticks;
    }
    // 1, 2 and 5 times the powers of ten are a third of a decade apart, or a little more.
    for (double tick = RoundStep(lowest_ * (1 - 1e-9)); tick <= end; tick = RoundStep(tick * 1.001)) {
        if (ticks.empty() || PlaceOf(tick) - PlaceOf(ticks.back()) >= gap) ticks.push_back(tick);
    }
    return ticks;
}

}  // namespace w64
