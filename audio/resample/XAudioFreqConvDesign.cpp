#include "audio/resample/XAudioFreqConvDesign.h"

#include "audio/fft/VectorClones.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <span>

namespace w64 {

namespace {

using std::gcd;

constexpr double kStopBandAttenuation = 170;                             // AA, dB
constexpr double kLengthFactor = (kStopBandAttenuation - 7.95) / 14.36;  // d
constexpr double kTransitionBand = 100;  // DF, Hz: upper limit for the long filter
constexpr int64_t kBaseFilterLength = 16384;

// Rates come from files: past these numbers a conversion would ask for more memory than its use is worth. The
// long filter gets there beyond 18 MHz, the short one, which is kept as a row of taps for each phase, with rates
// that have almost nothing in common. Both together stay within half a gigabyte.
constexpr int64_t kMaxLongTaps = int64_t{1} << 21;
constexpr double kMaxShortTable = 1 << 23;  // taps
constexpr double kRowRemainder = 4;         // taps that a row may be longer than its share of the filter
constexpr int64_t kMaxBranches = 4096;

constexpr int kBesselTerms = 15;

// 1 / k!^2, of each term of I0 in powers of (x / 2)^2.
constexpr std::array<double, kBesselTerms + 1> BesselCoefficients() {
    std::array<double, kBesselTerms + 1> table{1};
    double factorial = 1;
    for (size_t k = 1; k < table.size(); ++k) {
        factorial *= static_cast<double>(k);
        table[k] = 1 / (factorial * factorial);
    }
    return table;
}

struct Rates {
    int64_t source;
    int64_t target;
};

// Only these cases, and only the first that applies. Rates that do not divide evenly stay as they are.
Rates Normalized(Rates rates) {
    constexpr int64_t kAny = 0;
    struct Case {
        int64_t source, target, divisor;
    };
    static constexpr Case kCases[] = {
        {352800, kAny, 4},  {192000, 44100, 2}, {44100, 192000, 2},
        {22050, 192000, 2}, {176400, kAny, 4},  {kAny, 88200, 2},
    };
    for (const auto& [source, target, divisor] : kCases) {
        if ((source != kAny && source != rates.source) || (target != kAny && target != rates.target))
            continue;
        if (rates.source % divisor != 0 || rates.target % divisor != 0) return rates;
        return {rates.source / divisor, rates.target / divisor};
    }
    return rates;
}

// The intermediate rate as a multiple of the rate on the long filter's side; 0 when there is none.
int64_t OversamplingFactor(int64_t ratio) {
    if (ratio == 1) return 1;
    if (ratio % 2 == 0) return 2;
    return ratio % 3 == 0 ? 3 : 0;
}

// The transition band extends from half of `lower` to half of `higher`.
std::optional<LowPass> DesignShort(int64_t lower, int64_t higher, int64_t rate, int64_t phases) {
    const double transition = static_cast<double>(higher) / 2 - static_cast<double>(lower) / 2;
    const double length = static_cast<double>(rate) / transition * kLengthFactor + 1;
    if (length + kRowRemainder * static_cast<double>(phases) > kMaxShortTable) return std::nullopt;
    return LowPass{static_cast<int64_t>(length) | 1, static_cast<double>(lower) / 2 + transition / 2, rate};
}

// The shortest of the lengths whose transition band, which ends at half of `below`, is narrow enough. Nothing if
// that leaves no pass band.
std::optional<LowPass> DesignLong(int64_t below, int64_t rate) {
    for (int64_t length = kBaseFilterLength; length <= kMaxLongTaps; length *= 2) {
        const double transition = static_cast<double>(rate) * kLengthFactor / static_cast<double>(length - 2);
        if (transition >= kTransitionBand) continue;
        const double edge = static_cast<double>(below) / 2 - transition / 2;
        if (edge <= transition / 2) return std::nullopt;
        return LowPass{length - 1, edge, rate};
    }
    return std::nullopt;
}

}  // namespace

namespace resample {

double alpha(double attenuation) {
    if (attenuation <= 21) return 0;
    if (attenuation <= 50) return 0.5842 * std::pow(attenuation - 21, 0.4) + 0.07886 * (attenuation - 21);
    return 0.1102 * (attenuation - 8.7);
}

double izero(double x) {
    static constexpr auto kCoefficients = BesselCoefficients();
    const double square = x * x / 4;
    double sum = 0;
    for (size_t k = kCoefficients.size(); k-- > 0;) sum = sum * square + kCoefficients[k];
    return sum;
}

double win(double n, double length, double alpha, double iza) {
    const double position = 2 * n / (length - 1);
    return izero(alpha * std::sqrt(std::max(0.0, 1 - position * position))) / iza;
}

double sinc(double x) { return x == 0 ? 1 : std::sin(x) / x; }

double hn_lpf(double n, double lpf, double fs) {
    const double omega = 2 * std::numbers::pi * lpf / fs;
    return 2 * lpf / fs * sinc(n * omega);
}

}  // namespace resample

namespace {

// Their window, from the centre on.
W64_VECTOR_CLONES void FillWithWindow(double length, int64_t every, std::span<double> taps) {
    const double shape = resample::alpha(kStopBandAttenuation);
    const double iza = resample::izero(shape);
    for (size_t i = 0; i < taps.size(); ++i) {
        const auto n = static_cast<double>(static_cast<int64_t>(i) * every);
        taps[i] = resample::win(n, length, shape, iza);
    }
}

}  // namespace

double LowPass::StopEdge() const {
    if (length == 1) return std::numeric_limits<double>::infinity();
    return edge + static_cast<double>(rate) * kLengthFactor / static_cast<double>(length - 1) / 2;
}

std::vector<double> LowPass::HalfOfTaps(int64_t every) const {
    if (length == 1) return {1.0};
    std::vector<double> taps(static_cast<size_t>(length / 2 / every + 1));
    FillWithWindow(static_cast<double>(length), every, taps);
    for (size_t i = 0; i < taps.size(); ++i) {
        const auto n = static_cast<double>(static_cast<int64_t>(i) * every);
        taps[i] *= resample::hn_lpf(n, edge, static_cast<double>(rate));
    }
    return taps;
}

std::optional<FreqConvDesign> FreqConvDesign::Create(int64_t source, int64_t target, UpwardEdge edge) {
    if (source <= 0 || target <= 0 || source == target) return std::nullopt;
    FreqConvDesign design;
    const auto [src, dst] = Normalized({source, target});
    const int64_t common = gcd(src, dst);
    const bool upward = src < dst;
    const int64_t factor = OversamplingFactor(upward ? src / common : dst / common);
    if (factor == 0) return std::nullopt;

    const int64_t between = (upward ? dst : src) * factor;
    const int64_t longBelow = upward && edge == UpwardEdge::SourceHalf ? src : dst;
    const std::optional<LowPass> longFilter = DesignLong(longBelow, between);
    if (!longFilter) return std::nullopt;
    design.longFilter = *longFilter;

    // Down to a whole part of the rate the short filter is a single 1, and the branches decimate all the way.
    design.step = src / common;
    if (!upward && factor == 1) {
        if (design.step > kMaxBranches) return std::nullopt;
        design.branches = design.step;
        design.longRate = target;
        return design;
    }
    design.shortFirst = upward;
    design.branches = factor;
    design.phases = upward ? dst / common : dst / common / factor;
    design.branchStep = src / common / factor;
    design.longScale = upward ? 1 : static_cast<double>(factor);
    design.longRate = upward ? target : source;
    const std::optional<LowPass> shortFilter = DesignShort(src, between, src / common * dst, design.phases);
    if (!shortFilter) return std::nullopt;
    design.shortFilter = *shortFilter;
    return design;
}

}  // namespace w64
