#pragma once

#include <vector>

namespace w64 {

// Where frequencies lie on an axis: evenly from 0 on, or by octaves from 20 Hz, or a hundredth of the highest.
// Units:  hertz; a place is a share of the axis, from its low end.
class FrequencyScale {
public:
    FrequencyScale(double highest, bool byOctaves);

    bool IsByOctaves() const { return lowest_ > 0; }
    double Highest() const { return highest_; }
    double At(double place) const;
    double PlaceOf(double hertz) const;

    // Round frequencies, about `gap` of the axis apart or more.
    std::vector<double> Ticks(double gap) const;

private:
    double highest_;
    double lowest_;
};

}  // namespace w64
