#include "Measurement.h"

#include "Signals.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>

namespace w64 {

namespace {

constexpr double kToneSeconds = 2;
constexpr int64_t kSweepSeconds = 40;
constexpr double kSettled = 0.25;  // seconds, longer than any filter rings

std::vector<double> TestTones(const RatePair& pair, double distance, int coincidentTones) {
    const double top = pair.source / 2.0;
    const double nyquist = pair.LowerNyquist();
    std::vector<double> tones{20, pair.PassBand()};
    constexpr int kSpread = 16;
    for (int i = 0; i < kSpread; ++i) {
        tones.push_back(pair.PassBand() * (i + 0.37) / kSpread);
        tones.push_back(top * (i + 0.61) / kSpread);
    }
    constexpr int kNear = 8;
    for (int i = 0; i < kNear; ++i) {
        tones.push_back(nyquist - distance - distance * i / kNear);
        tones.push_back(nyquist + distance + distance * i / kNear);
    }
    const double half = std::gcd(pair.source, pair.target) / 2.0;
    const double step = half * std::max(1.0, std::floor(top / half / coincidentTones));
    for (double hertz = step; hertz < top; hertz += step) tones.push_back(hertz);

    std::erase_if(
        tones, [&](double hertz) { return hertz > top - distance || std::abs(hertz - nyquist) < distance; });
    if (tones.size() % 2 != 0) tones.push_back(1000);
    for (double& hertz : tones) hertz = ToneAngle::Nearest(hertz);
    return tones;
}

}  // namespace

Measurement::Tones Measurement::MeasureTones(double distance, int coincidentTones) const {
    Tones measured{-HUGE_VAL, 0};
    const std::vector<double> tones = TestTones(pair_, distance, coincidentTones);
    for (size_t i = 0; i < tones.size(); i += 2) {
        std::array<Stretch, 2> channels = ConvertTones({tones[i], tones[i + 1]});
        for (size_t channel = 0; channel < 2; ++channel) {
            const double hertz = tones[i + channel];
            const bool kept = 2 * hertz < pair_.target;
            const double gain = kept ? channels[channel].Remove(hertz) : 0;
            if (hertz <= pair_.PassBand()) measured.ripple = std::max(measured.ripple, std::abs(gain));
            measured.image = std::max(measured.image, channels[channel].Strongest());
        }
    }
    return measured;
}

// The window spreads the sweep over the frequencies that it passes. Images and aliases sweep at the same speed, so
// they read too low by as much as the sweep itself, which is subtracted.
double Measurement::ImageOfSweep() const {
    const int64_t rise = pair_.source / 2 / kSweepSeconds;
    const SweepAngle angle(rise, pair_.source);
    const Stereo out = resampler_.convert(Sines(angle, angle, pair_.source, kSweepSeconds), pair_.target);

    const size_t frames = Stretch::FramesFor(0.15, pair_.target);
    const double seconds = static_cast<double>(frames) / pair_.target;
    const double blur = static_cast<double>(rise) * seconds / 2 + 20 / seconds;
    const SweepAngle late(rise, pair_.target, int64_t{5} * pair_.target);
    const double swept = Stretch(Sines(late, late, pair_.target, seconds), 0, 0, frames).Strongest();

    double image = -HUGE_VAL;
    const double nyquist = pair_.target / 2.0;
    const double end = static_cast<double>(kSweepSeconds) - kSettled - seconds;
    for (double begin = kSettled; begin < end; begin += seconds / 8) {
        const double hertz = static_cast<double>(rise) * (begin + seconds / 2);
        const bool kept = hertz - blur < nyquist;
        const double below = kept ? std::min(hertz, pair_.target - hertz) - blur : nyquist - blur;
        const Stretch stretch(out, 0, static_cast<int64_t>(begin * pair_.target), frames);
        image = std::max(
            {image, stretch.Strongest(blur, below), stretch.Strongest(hertz + blur, nyquist - blur)});
    }
    return image - swept;
}

std::array<double, 2> Measurement::LeaksBeyondNyquist(std::array<double, 2> distances) const {
    const double nyquist = pair_.LowerNyquist();
    if (!pair_.IsUpward()) return Gains({nyquist + distances[0], nyquist + distances[1]});
    std::array<Stretch, 2> channels = ConvertTones({nyquist - distances[0], nyquist - distances[1]});
    for (size_t channel = 0; channel < 2; ++channel) channels[channel].Remove(nyquist - distances[channel]);
    return {channels[0].Level(nyquist + distances[0]), channels[1].Level(nyquist + distances[1])};
}

std::array<double, 2> Measurement::Gains(std::array<double, 2> hertz) const {
    const std::array<Stretch, 2> channels = ConvertTones(hertz);
    return {channels[0].Level(hertz[0]), channels[1].Level(hertz[1])};
}

// Two tones at a time reduce the interval to a third.
double Measurement::PassBandEnd() const {
    constexpr double kLevel = -3;
    double inside = 0.85 * pair_.LowerNyquist();
    double outside = pair_.LowerNyquist();
    while (outside - inside > 0.1) {
        const double third = (outside - inside) / 3;
        const double lower = ToneAngle::Nearest(inside + third);
        const double upper = ToneAngle::Nearest(outside - third);
        const std::array<double, 2> gains = Gains({lower, upper});
        if (gains[1] >= kLevel) {
            inside = upper;
        } else if (gains[0] >= kLevel) {
            inside = lower;
            outside = upper;
        } else {
            outside = lower;
        }
    }
    return inside / pair_.LowerNyquist();
}

// The slope of phase over frequency, by least squares.
double Measurement::ImpulseDelay() const {
    const int64_t place = pair_.source / 2 + 7;
    Stereo in{pair_.source, std::vector<double>(2 * static_cast<size_t>(pair_.source))};
    in.samples[static_cast<size_t>(2 * place)] = 1;
    const Stereo out = resampler_.convert(in, pair_.target);

    double product = 0;
    double square = 0;
    constexpr int kFrequencies = 100;
    for (int i = 1; i <= kFrequencies; ++i) {
        const double omega = 2 * std::numbers::pi * pair_.PassBand() * i / kFrequencies;
        std::complex<double> spectrum;
        for (int64_t frame = 0; frame < out.Frames(); ++frame) {
            const auto late = static_cast<double>(frame * pair_.source - place * pair_.target);
            spectrum += std::polar(out.samples[static_cast<size_t>(2 * frame)],
                                   omega * late / pair_.source / pair_.target);
        }
        product += omega * std::arg(spectrum);
        square += omega * omega;
    }
    return product / square * pair_.target;
}

std::array<Stretch, 2> Measurement::ConvertTones(std::array<double, 2> hertz) const {
    const Stereo in = Sines(ToneAngle(hertz[0], pair_.source), ToneAngle(hertz[1], pair_.source),
                            pair_.source, kToneSeconds);
    const Stereo out = resampler_.convert(in, pair_.target);
    return {Stretch(out, 0), Stretch(out, 1)};
}

}  // namespace w64
