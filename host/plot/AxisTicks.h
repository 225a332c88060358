#pragma once

#include <string>

namespace w64 {

// Round steps for the marks of an axis: the smallest that are no smaller than `least`, a positive number.
double RoundStep(double least);  // 1, 2 or 5 times a power of ten
double TimeStep(double least);   // seconds; from ten on in parts of a minute, an hour, or whole hours

// How the times on an axis are written, by its end in seconds.
class TimeLabels {
public:
    TimeLabels(double end, double step);

    const std::string& Unit() const { return unit_; }  // "s", "ms", "min:s" or "h:min:s"
    std::string operator()(double seconds) const;

private:
    std::string unit_;
    double perSecond_ = 1;
    int decimals_ = 0;
};

std::string FrequencyLabel(double hertz);  // "500", "1.5k", "20k"

}  // namespace w64
