#include "Stretch.h"

#include "Signals.h"

#include <fftw3.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace w64 {

namespace {

constexpr double kKaiserBeta = 30;

double BesselI0(double x) {
    double sum = 1;
    double term = 1;
    for (int k = 1; term > sum * 1e-17; ++k) {
        term *= x / (2 * k) * (x / (2 * k));
        sum += term;
    }
    return sum;
}

// Windowed transforms of one size, thread-safe. A sine of full scale has magnitude 1.
class WindowedTransform {
public:
    explicit WindowedTransform(size_t size) : window_(size) {
        for (size_t i = 0; i < size; ++i) {
            const double position = (2 * static_cast<double>(i) + 1) / static_cast<double>(size) - 1;
            window_[i] = BesselI0(kKaiserBeta * std::sqrt(1 - position * position));
            weight_ += window_[i] / 2;
        }
        const Bins bins = MakeBins();
        plan_ = fftw_plan_dft_r2c_1d(static_cast<int>(size), bins.get(), Complex(bins), FFTW_ESTIMATE);
    }
    WindowedTransform(const WindowedTransform&) = delete;
    WindowedTransform& operator=(const WindowedTransform&) = delete;
    ~WindowedTransform() { fftw_destroy_plan(plan_); }

    static const WindowedTransform& Of(size_t size) {
        static std::mutex making;
        static std::map<size_t, WindowedTransform> all;
        const std::lock_guard lock(making);
        return all.try_emplace(size, size).first->second;
    }

    const std::vector<double>& Window() const { return window_; }

    // Squared magnitudes, from 0 to half the rate.
    std::vector<double> Powers(const std::vector<double>& samples) const {
        const Bins bins = MakeBins();
        for (size_t i = 0; i < window_.size(); ++i) bins[i] = samples[i] * window_[i] / weight_;
        fftw_execute_dft_r2c(plan_, bins.get(), Complex(bins));
        std::vector<double> powers(window_.size() / 2 + 1);
        for (size_t k = 0; k < powers.size(); ++k) {
            powers[k] = bins[2 * k] * bins[2 * k] + bins[2 * k + 1] * bins[2 * k + 1];
        }
        return powers;
    }

private:
    struct Free {
        void operator()(double* numbers) const { fftw_free(numbers); }
    };
    using Bins = std::unique_ptr<double[], Free>;  // samples in, real and imaginary parts out

    Bins MakeBins() const { return Bins(fftw_alloc_real(window_.size() + 2)); }
    static fftw_complex* Complex(const Bins& bins) { return reinterpret_cast<fftw_complex*>(bins.get()); }

    std::vector<double> window_;
    double weight_ = 0;
    fftw_plan plan_ = nullptr;
};

double Decibels(double power) { return 10 * std::log10(std::max(power, 1e-40)); }

// The peak of a parabola through the levels of three bins.
double LevelAround(const std::vector<double>& powers, size_t bin) {
    const double level = Decibels(powers[bin]);
    if (bin == 0 || bin + 1 == powers.size()) return level;
    const double before = Decibels(powers[bin - 1]);
    const double after = Decibels(powers[bin + 1]);
    if (level <= before || level < after) return level;
    return level + (after - before) * (after - before) / (8 * (2 * level - before - after));
}

}  // namespace

Stretch::Stretch(const Stereo& audio, size_t channel, int64_t first, size_t frames)
    : rate_(audio.rate), first_(first), samples_(frames) {
    for (size_t i = 0; i < frames; ++i) {
        samples_[i] = audio.samples.at(2 * (static_cast<size_t>(first) + i) + channel);
    }
}

Stretch::Stretch(const Stereo& audio, size_t channel)
    : Stretch(audio, channel, (audio.Frames() - static_cast<int64_t>(FramesFor(1.2, audio.rate))) / 2,
              FramesFor(1.2, audio.rate)) {}

size_t Stretch::FramesFor(double seconds, int rate) {
    return std::bit_ceil(static_cast<size_t>(std::ceil(seconds * rate)));
}

double Stretch::Level(double hertz) const {
    const auto [sine, cosine] = Fit(hertz);
    return Decibels(sine * sine + cosine * cosine);
}

double Stretch::Remove(double hertz) {
    const auto [sine, cosine] = Fit(hertz);
    const ToneAngle angle(hertz, rate_);
    for (size_t i = 0; i < samples_.size(); ++i) {
        const double at = angle.At(first_ + static_cast<int64_t>(i));
        samples_[i] -= sine * std::sin(at) + cosine * std::cos(at);
    }
    return Decibels(sine * sine + cosine * cosine);
}

double Stretch::Strongest(double from, double to) const {
    const double binHertz = static_cast<double>(rate_) / static_cast<double>(samples_.size());
    const std::vector<double> powers = WindowedTransform::Of(samples_.size()).Powers(samples_);
    double strongest = 0;
    size_t top = 0;
    for (size_t k = 0; k < powers.size(); ++k) {
        const double hertz = static_cast<double>(k) * binHertz;
        if (powers[k] <= strongest || hertz < from || hertz >= to) continue;
        strongest = powers[k];
        top = k;
    }
    return strongest > 0 ? LevelAround(powers, top) : Decibels(0);
}

// The amplitudes of sine and cosine, by windowed least squares.
std::array<double, 2> Stretch::Fit(double hertz) const {
    const std::vector<double>& window = WindowedTransform::Of(samples_.size()).Window();
    const ToneAngle angle(hertz, rate_);
    double ss = 0;
    double sc = 0;
    double cc = 0;
    double xs = 0;
    double xc = 0;
    for (size_t i = 0; i < samples_.size(); ++i) {
        const double at = angle.At(first_ + static_cast<int64_t>(i));
        const double sine = std::sin(at);
        const double cosine = std::cos(at);
        ss += window[i] * sine * sine;
        sc += window[i] * sine * cosine;
        cc += window[i] * cosine * cosine;
        xs += window[i] * samples_[i] * sine;
        xc += window[i] * samples_[i] * cosine;
    }
    const double determinant = ss * cc - sc * sc;
    return {(xs * cc - xc * sc) / determinant, (xc * ss - xs * sc) / determinant};
}

}  // namespace w64
