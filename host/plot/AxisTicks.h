#pragma once

#include <string>

namespace w64 {

// Round steps for the ticks of an axis: the smallest that is not below `min`, a positive number.
double RoundStep(double min);  // 1, 2 or 5 times a power of ten
double TimeStep(double min);   // seconds; above ten, fractions of a minute or an hour, or whole hours

// The format of the times on an axis, chosen by its end and step in seconds.
class TimeLabels {
public:
    TimeLabels(double end, double step);

    const std::string& Unit() const { return unit_; }  // "s", "ms", "min:s" or "h:min:s"
    std::string operator()(double seconds) const;

private:
    std::string unit_;
    bool hasMinutes_;
    double perSecond_ = 1;
    int decimals_ = 0;
};

std::string FrequencyLabel(double hertz);  // "500", "1.5k", "20k"

}  // namespace w64
