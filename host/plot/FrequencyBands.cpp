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
// limited to the window's scalloping loss, in case it is not a line.
double PeakPower(Bins bins, size_t bin) {
    constexpr float kMaxLoss = 0.3F;  // natural logarithm of power
    const double power = bins[bin];
    if (bin == 0 || bin + 1 == bins.size()) return power;
    const double below = bins[bin - 1];
    const double above = bins[bin + 1];
    if (!(below > 0 && above > 0 && power > below && power >= above)) return power;
    const float slope = std::log(static_cast<float>(above / below));
    const float bend = std::log(static_cast<float>(power / above * (power / below)));
    return bend > 0 ? power * std::exp(std::min(kMaxLoss, slope * slope / (8 * bend))) : power;
}

double PowerOfBand(Bins bins, double low, double high) {
    if (high - low < 1) return PowerBetween(bins, (low + high) / 2);
    const auto first = bins.begin() + static_cast<std::ptrdiff_t>(low + kRounding);
    const auto end = bins.begin() + static_cast<std::ptrdiff_t>(high + kRounding);
    return PeakPower(bins, static_cast<size_t>(std::max_element(first, end) - bins.begin()));
}

}  // namespace

FrequencyBands::FrequencyBands(const FrequencyScale& scale, size_t count, size_t bins) {
    for (size_t band = 0; band <= count; ++band) {
        const double place = static_cast<double>(band) / static_cast<double>(count);
        edges_.push_back(scale.At(place) / scale.Highest() * static_cast<double>(bins - 1));
    }
}

void FrequencyBands::Append(Bins bins, double factor, std::vector<float>& powers) const {
    const size_t first = powers.size();
    powers.resize(first + Count());
    for (size_t band = 0; band < Count(); ++band) {
        const double power = PowerOfBand(bins, edges_[band], edges_[band + 1]);
        powers[first + band] = static_cast<float>(power * factor);
    }
}

}  // namespace w64
