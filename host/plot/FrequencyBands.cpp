#include "host/plot/FrequencyBands.h"

#include <algorithm>
#include <cmath>

namespace w64 {

namespace {

using Bins = std::span<const double>;

constexpr double kRounding = 1e-9;  // of places on the scale

// On a straight line in dB.
double PowerBetween(Bins bins, double bin) {
    const auto below = std::min(static_cast<size_t>(bin), bins.size() - 2);
    const double share = bin - static_cast<double>(below);
    return std::pow(bins[below], 1 - share) * std::pow(bins[below + 1], share);
}

// The peak of a spectral line between two bins, by parabolic interpolation of three bins in dB. The correction is
// limited to the window's scalloping loss, in case it is not a line, and as precise as powers are kept.
double PeakPower(Bins bins, size_t bin) {
    constexpr float kMaxLoss = 0.3F;  // natural logarithm of power
    const double power = bins[bin];
    if (bin == 0 || bin + 1 == bins.size()) return power;
    const double below = bins[bin - 1];
    const double above = bins[bin + 1];
    if (!(below > 0 && above > 0 && power > below && power >= above)) return power;
    const float slope = std::log(static_cast<float>(above / below));
    const float bend = std::log(static_cast<float>(power * power / (above * below)));
    return bend > 0 ? power * std::exp(std::min(kMaxLoss, slope * slope / (8 * bend))) : power;
}

size_t HighestBin(Bins bins, size_t first, size_t end) {
    const auto part = bins.subspan(first, end - first);
    return first + static_cast<size_t>(std::ranges::max_element(part) - part.begin());
}

}  // namespace

FrequencyBands::FrequencyBands(const FrequencyScale& scale, size_t count, size_t bins) {
    const auto edge = [&](size_t band) {
        const double place = static_cast<double>(band) / static_cast<double>(count);
        return scale.At(place) / scale.Highest() * static_cast<double>(bins - 1);
    };
    for (size_t i = 0; i < count; ++i) {
        const double low = edge(i);
        const double high = edge(i + 1);
        Band& band = bands_.emplace_back(Band{(low + high) / 2, 0, 0});
        if (high - low < 1) continue;
        band.first = static_cast<size_t>(low + kRounding);
        band.end = static_cast<size_t>(high + kRounding);
    }
}

void FrequencyBands::Append(Bins bins, double factor, std::vector<float>& powers) const {
    const auto powerOf = [&](const Band& band) {
        const double power = band.end == 0 ? PowerBetween(bins, band.middle)
                                           : PeakPower(bins, HighestBin(bins, band.first, band.end));
        return static_cast<float>(power * factor);
    };
    const size_t before = powers.size();
    powers.resize(before + Count());
    std::transform(bands_.begin(), bands_.end(), powers.begin() + static_cast<std::ptrdiff_t>(before),
                   powerOf);
}

}  // namespace w64
