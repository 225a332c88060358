#pragma once

#include "Stereo.h"

#include <cmath>
#include <numbers>

namespace w64 {

// Test signals of full scale. Their angles are whole fractions of a turn, exact at any frame: the rounding
// errors of a running sum or product would exceed what is measured here.

// A tone's angle at a frame, in radians. At rates below twice the frequency the tone is the alias.
class ToneAngle {
public:
    // The nearest frequency in Hz that a tone can have.
    static double Nearest(double hertz) { return std::round(hertz * kTicks) / kTicks; }

    ToneAngle(double hertz, int rate) : step_(std::llround(hertz * kTicks)), turn_(rate * kTicks) {}
    double At(int64_t frame) const {
        return 2 * std::numbers::pi * static_cast<double>(frame * step_ % turn_) / static_cast<double>(turn_);
    }

private:
    static constexpr int64_t kTicks = 64;  // per hertz

    int64_t step_;
    int64_t turn_;
};

// The same for a frequency that rises linearly from 0, `begun` frames before the first.
class SweepAngle {
public:
    SweepAngle(int64_t hertzPerSecond, int rate, int64_t begun = 0)
        : rise_(hertzPerSecond), turn_(2 * int64_t{rate} * rate), begun_(begun) {}
    double At(int64_t frame) const {
        const int64_t age = begun_ + frame;
        return 2 * std::numbers::pi * static_cast<double>(age * age % turn_ * rise_ % turn_) /
               static_cast<double>(turn_);
    }

private:
    int64_t rise_;
    int64_t turn_;
    int64_t begun_;
};

// The sines of two angles, left and right.
template <class Angle>
Stereo Sines(const Angle& left, const Angle& right, int rate, double seconds) {
    Stereo audio{rate, std::vector<double>(2 * static_cast<size_t>(seconds * rate))};
    for (int64_t frame = 0; frame < audio.Frames(); ++frame) {
        audio.samples[static_cast<size_t>(2 * frame)] = std::sin(left.At(frame));
        audio.samples[static_cast<size_t>(2 * frame + 1)] = std::sin(right.At(frame));
    }
    return audio;
}

}  // namespace w64
