#include "host/plot/WindowSpectra.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace w64 {

namespace {

// Modified Bessel function of order 0, by its series.
double BesselI0(double x) {
    double sum = 0;
    double term = 1;
    for (int k = 1; term > sum * 1e-17; ++k) {
        sum += term;
        term *= x / (2 * k) * (x / (2 * k));
    }
    return sum;
}

// The first two of interleaved channels.
void CopyPair(const double* frames, size_t count, size_t channels, double* points) {
    for (; count > 0; --count, frames += channels, points += 2) std::copy_n(frames, 2, points);
}

}  // namespace

std::vector<double> KaiserWindow(size_t size, double attenuation) {
    const double beta = 0.12438 * (attenuation + 6.3);
    std::vector<double> window(size);
    for (size_t i = 0; i < size; ++i) {
        const double x = static_cast<double>(2 * i + 1) / static_cast<double>(size) - 1;
        window[i] = BesselI0(beta * std::sqrt(1 - x * x));
    }
    const double sum = std::accumulate(window.begin(), window.end(), 0.0);
    for (double& weight : window) weight *= 2 / sum;
    return window;
}

void SpectrumSum::Add(const SpectrumSum& other) {
    for (size_t k = 0; k < powers.size(); ++k) powers[k] += other.powers[k];
    windows += other.windows;
}

// The powers of a positive frequency and its negative add up to twice those of the real and the imaginary part.
std::vector<double> SpectrumSum::Folded() const {
    std::vector<double> bins(powers.size() / 2 + 1);
    bins[0] = powers[0];
    for (size_t k = 1; k < bins.size(); ++k) bins[k] = (powers[k] + powers[powers.size() - k]) / 2;
    return bins;
}

WindowSpectra::WindowSpectra(const std::vector<double>& window, size_t channels, size_t points)
    : windowSize_(window.size()), channels_(channels), grid_(static_cast<std::ptrdiff_t>(points)),
      weights_(window.begin(), window.end()), sum_(points) {
    weights_.resize(points, 0.0);
    for (AlignedDoubles* complex : {&points_, &unpaired_, &work_}) complex->resize(2 * points, 0.0);
}

void WindowSpectra::Add(const double* frames) {
    for (size_t channel = 0; channel + 1 < channels_; channel += 2) AddPair(frames + channel);
    if (channels_ % 2 != 0) AddUnpaired(frames + channels_ - 1);
    ++sum_.windows;
}

SpectrumSum WindowSpectra::Take() {
    if (isHalfFull_) {
        for (size_t i = 0; i < windowSize_; ++i) unpaired_[2 * i + 1] = 0;
        AddPowers(unpaired_.data());
        isHalfFull_ = false;
    }
    return std::exchange(sum_, SpectrumSum(sum_.powers.size()));
}

// A window of stereo that has all points is where it should be.
void WindowSpectra::AddPair(const double* frames) {
    if (channels_ == 2 && windowSize_ == weights_.size()) return AddPowers(frames);
    CopyPair(frames, windowSize_, channels_, points_.data());
    AddPowers(points_.data());
}

void WindowSpectra::AddUnpaired(const double* samples) {
    double* const to = unpaired_.data() + (isHalfFull_ ? 1 : 0);
    for (size_t i = 0; i < windowSize_; ++i) to[2 * i] = samples[i * channels_];
    isHalfFull_ = !isHalfFull_;
    if (!isHalfFull_) AddPowers(unpaired_.data());
}

void WindowSpectra::AddPowers(const double* points) {
    grid_.AddPowers(points, weights_.data(), sum_.powers.data(), work_.data());
}

}  // namespace w64
