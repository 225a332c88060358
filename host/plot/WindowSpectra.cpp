#include "host/plot/WindowSpectra.h"

#include "audio/fft/VectorComplex.h"

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

// The size of a window is a multiple of the lanes.
W64_VECTOR_CLONES void WeighStereo(const std::vector<double>& window, const double* frames, double* points) {
    for (size_t i = 0; i < window.size(); i += fft::kLanes, frames += fft::kGroup, points += fft::kGroup) {
        const fft::Vector weights = fft::LoadVector(&window[i]);
        const fft::Vector first = __builtin_shufflevector(weights, weights, 0, 0, 1, 1);
        const fft::Vector second = __builtin_shufflevector(weights, weights, 2, 2, 3, 3);
        fft::StoreVector(points, fft::LoadVector(frames) * first);
        fft::StoreVector(points + fft::kLanes, fft::LoadVector(frames + fft::kLanes) * second);
    }
}

void WeighPairs(const std::vector<double>& window, const double* frames, size_t channels, double* points) {
    if (channels == 2) return WeighStereo(window, frames, points);
    for (size_t i = 0; i < window.size(); ++i, frames += channels, points += 2) {
        points[0] = frames[0] * window[i];
        points[1] = frames[1] * window[i];
    }
}

W64_VECTOR_CLONES void SumUpPowers(const double* spectrum, std::vector<double>& sums) {
    for (size_t k = 0; k < sums.size(); k += fft::kLanes) {
        const fft::Complex value = fft::LoadGroup(spectrum + 2 * k);
        fft::StoreVector(&sums[k], fft::LoadVector(&sums[k]) + value.re * value.re + value.im * value.im);
    }
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
    for (size_t k = 0; k < bins.size(); ++k) {
        bins[k] = (powers[k] + powers[(powers.size() - k) % powers.size()]) / 2;
    }
    return bins;
}

WindowSpectra::WindowSpectra(const std::vector<double>& window, size_t channels, size_t points)
    : window_(window), channels_(channels), grid_(static_cast<std::ptrdiff_t>(points)), sum_(points) {
    for (AlignedDoubles* complex : {&points_, &unpaired_, &spectrum_, &work_}) {
        complex->resize(2 * points, 0.0);
    }
}

void WindowSpectra::Add(const double* frames) {
    for (size_t channel = 0; channel + 1 < channels_; channel += 2) {
        WeighPairs(window_, frames + channel, channels_, points_.data());
        AddPowers(points_);
    }
    if (channels_ % 2 != 0) AddUnpaired(frames + channels_ - 1);
    ++sum_.windows;
}

SpectrumSum WindowSpectra::Take() {
    if (isHalfFull_) {
        for (size_t i = 0; i < window_.size(); ++i) unpaired_[2 * i + 1] = 0;
        AddPowers(unpaired_);
        isHalfFull_ = false;
    }
    return std::exchange(sum_, SpectrumSum(sum_.powers.size()));
}

void WindowSpectra::AddUnpaired(const double* samples) {
    double* to = unpaired_.data() + (isHalfFull_ ? 1 : 0);
    for (size_t i = 0; i < window_.size(); ++i) to[2 * i] = samples[i * channels_] * window_[i];
    isHalfFull_ = !isHalfFull_;
    if (!isHalfFull_) AddPowers(unpaired_);
}

void WindowSpectra::AddPowers(const AlignedDoubles& points) {
    grid_.Forward(points.data(), spectrum_.data(), work_.data());
    SumUpPowers(spectrum_.data(), sum_.powers);
}

}  // namespace w64
