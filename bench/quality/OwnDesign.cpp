#include "OwnDesign.h"

#include "audio/resample/XAudioFreqConvDesign.h"

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace w64 {

double DesignedLeak(const RatePair& pair, double distance) {
    const auto design = FreqConvDesign::Create(pair.source, pair.target, UpwardEdge::SourceHalf);
    if (!design) throw std::runtime_error("rates that cannot be converted");
    const auto rate = static_cast<double>(design->branches * design->longRate);
    const double omega = 2 * std::numbers::pi * (pair.LowerNyquist() + distance) / rate;
    const std::vector<double> taps = design->longFilter.HalfOfTaps();
    double response = taps[0];
    for (size_t i = 1; i < taps.size(); ++i)
        response += 2 * taps[i] * std::cos(omega * static_cast<double>(i));
    return 20 * std::log10(std::abs(response));
}

}  // namespace w64
