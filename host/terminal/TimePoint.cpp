#include "host/terminal/TimePoint.h"

#include <charconv>

namespace w64 {

namespace {

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int64_t kMaxSeconds = 1'000'000'000;  // times any frame rate fits in 64 bits

// Digits only.
std::optional<int64_t> Number(std::string_view text) {
    if (text.empty() || text[0] == '-') return std::nullopt;
    int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// From the digits after a decimal point; digits beyond nanoseconds are dropped.
std::optional<int64_t> Nanoseconds(std::string_view digits) {
    if (digits.find_first_not_of("0123456789") != digits.npos) return std::nullopt;
    digits = digits.substr(0, 9);
    auto number = Number(digits);
    for (size_t i = digits.size(); number && i < 9; ++i) *number *= 10;
    return number;
}

// "h:m:s", "m:s" or "s"; what follows a colon is below 60.
std::optional<int64_t> Seconds(std::string_view text) {
    int64_t seconds = 0;
    for (int part = 0; part < 3; ++part) {
        const size_t colon = text.find(':');
        const auto number = Number(text.substr(0, colon));
        if (!number || *number > kMaxSeconds || (part > 0 && *number >= 60)) return std::nullopt;
        seconds = seconds * 60 + *number;
        if (colon == text.npos) return seconds;
        text.remove_prefix(colon + 1);
    }
    return std::nullopt;
}

}  // namespace

std::optional<TimePoint> TimePoint::Parse(std::string_view text) {
    TimePoint point;
    point.isTime_ = !text.ends_with('f');
    const int64_t unit = text.ends_with('h') ? 3600 : text.ends_with('m') ? 60 : 1;
    if (!point.isTime_ || unit != 1 || text.ends_with('s')) text.remove_suffix(1);
    if (unit != 1 && text.find(':') != text.npos) return std::nullopt;

    std::optional<int64_t> whole;
    std::optional<int64_t> nanoseconds = 0;
    if (point.isTime_) {
        const size_t dot = text.find('.');
        whole = Seconds(text.substr(0, dot));
        if (dot != text.npos) nanoseconds = Nanoseconds(text.substr(dot + 1));
        if (whole && *whole > kMaxSeconds / unit) return std::nullopt;
    } else {
        whole = Number(text);
    }
    if (!whole || !nanoseconds) return std::nullopt;
    const int64_t fraction = *nanoseconds * unit;
    point.whole_ = *whole * unit + fraction / kNanosecondsPerSecond;
    point.nanoseconds_ = fraction % kNanosecondsPerSecond;
    return point;
}

int64_t TimePoint::Frame(uint32_t framesPerSecond) const {
    if (!isTime_) return whole_;
    const int64_t rest = (nanoseconds_ * framesPerSecond + kNanosecondsPerSecond / 2) / kNanosecondsPerSecond;
    return whole_ * framesPerSecond + rest;
}

}  // namespace w64
