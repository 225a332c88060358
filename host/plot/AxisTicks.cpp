#include "host/plot/AxisTicks.h"

#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace w64 {

namespace {

constexpr double kMinute = 60;
constexpr double kHour = 3600;

std::string Print(const char* pattern, int decimals, double value) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), pattern, decimals, value);
    return text.data();
}

}  // namespace

double RoundStep(double min) {
    const double power = std::pow(10, std::floor(std::log10(min)));
    for (const double step : {power, 2 * power, 5 * power}) {
        if (step >= min) return step;
    }
    return 10 * power;
}

double TimeStep(double min) {
    if (min <= 10) return RoundStep(min);
    for (const double step :
         {15.0, 30.0, kMinute, 2 * kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute, 30 * kMinute}) {
        if (step >= min) return step;
    }
    return kHour * RoundStep(min / kHour);
}

TimeLabels::TimeLabels(double end, double step) {
    hasMinutes_ = end >= kMinute;
    if (hasMinutes_) {
        unit_ = end < kHour ? "min:s" : "h:min:s";
    } else {
        unit_ = end < 0.1 ? "ms" : "s";
        perSecond_ = end < 0.1 ? 1000 : 1;
    }
    decimals_ = std::max(0, -static_cast<int>(std::floor(std::log10(step * perSecond_ * 1.001))));
}

std::string TimeLabels::operator()(double seconds) const {
    if (!hasMinutes_) return Print("%.*f", decimals_, seconds * perSecond_);
    const double parts = std::pow(10, decimals_);
    const double rounded = std::round(seconds * parts) / parts;
    const double whole = std::floor(rounded);
    return FormatMinutes(whole) + (decimals_ == 0 ? "" : Print("%.*f", decimals_, rounded - whole).substr(1));
}

std::string FrequencyLabel(double hertz) {
    if (hertz < 1e3) return Print("%.*g", 6, hertz);
    return hertz < 1e6 ? Print("%.*g", 6, hertz / 1e3) + "k" : Print("%.*g", 6, hertz / 1e6) + "M";
}

}  // namespace w64
