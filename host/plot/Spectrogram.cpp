#include "host/plot/Spectrogram.h"

#include "audio/fft/FFT.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace w64 {

namespace {

constexpr double kRounding = 1e-9;  // of places on the scale

// Two to four bins per band, and by octaves enough to tell low notes apart.
size_t PointsFor(const Spectrogram::Shape& shape) {
    return std::bit_floor((shape.scale.IsByOctaves() ? 64 : 8) * shape.rows);
}

// A size proportional to the square root of the length makes a window about as wide in the picture as its main lobe
// is high, or somewhat wider, which suits music. Resolution finer than a band is not needed.
size_t WindowSize(int64_t frames, size_t points) {
    const double fitting =
        std::clamp(6 * std::sqrt(static_cast<double>(frames)), 64.0, static_cast<double>(points));
    return std::bit_floor(static_cast<size_t>(fitting));
}

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

// A Kaiser window with side lobes `attenuation` dB, at least 60, below the main lobe; scaled so that a sine of
// amplitude 1 has a peak of 1.
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

}  // namespace

Spectrogram::Spectrogram(const Shape& shape)
    : channels_(static_cast<size_t>(shape.channels)), rows_(shape.rows), maxColumns_(2 * shape.columns),
      buffer_(PointsFor(shape)), fftTables_(buffer_.size() / 2), bins_(buffer_.size() / 2 + 1) {
    constexpr double kMargin = 10;  // for several lines that leak into the same bin
    const auto frames = std::max<int64_t>(shape.expectedFrames, 0);
    window_ = KaiserWindow(WindowSize(frames, buffer_.size()), kMargin - shape.floor);
    latest_.resize(channels_);
    for (size_t row = 0; row <= rows_; ++row) {
        const double place = static_cast<double>(row) / static_cast<double>(rows_);
        edges_.push_back(shape.scale.At(place) / shape.scale.Highest() *
                         static_cast<double>(bins_.size() - 1));
    }

    // With a hop of at most a quarter window every frame has about the same weight; the windows then take a few times
    // as long as reading the audio.
    const auto columns = static_cast<uint64_t>(frames) / shape.columns;
    framesPerColumn_ =
        static_cast<int64_t>(std::clamp<uint64_t>(std::bit_floor(columns), 1, window_.size() / 4));
    framesPerWindow_ = framesPerColumn_;
}

void Spectrogram::Add(std::span<const double> frames) {
    while (frames.size() >= channels_) {
        const size_t count = std::min(window_.size(), frames.size() / channels_) * channels_;
        Append(frames.first(count));
        frames = frames.subspan(count);
        const auto fits = frames_ - static_cast<int64_t>(window_.size());
        while (WindowStart() <= fits) AddWindow(WindowStart());
    }
}

// Windows stay inside the audio, so that they do not see an abrupt start or end.
void Spectrogram::Finish() {
    if (frames_ < static_cast<int64_t>(window_.size())) PadToWindow();
    const int64_t last = std::max<int64_t>(frames_ - static_cast<int64_t>(window_.size()), 0);
    while (position_ < frames_) AddWindow(std::min(WindowStart(), last));
    if (windows_ > 0) EndColumn();
}

void Spectrogram::Append(std::span<const double> frames) {
    const size_t count = frames.size() / channels_;
    for (size_t channel = 0; channel < channels_; ++channel) {
        std::vector<double>& latest = latest_[channel];
        if (latest.size() > window_.size()) {
            latest.erase(latest.begin(), latest.end() - static_cast<std::ptrdiff_t>(window_.size()));
        }
        for (size_t i = 0; i < count; ++i) latest.push_back(frames[i * channels_ + channel]);
    }
    frames_ += static_cast<int64_t>(count);
}

// Audio shorter than a window is centred in it.
void Spectrogram::PadToWindow() {
    for (std::vector<double>& latest : latest_) {
        latest.insert(latest.begin(), (window_.size() - latest.size()) / 2, 0.0);
        latest.resize(window_.size());
    }
}

// The window is centred on the frames that it stands for.
int64_t Spectrogram::WindowStart() const {
    return std::max<int64_t>(position_ + framesPerWindow_ / 2 - static_cast<int64_t>(window_.size() / 2), 0);
}

void Spectrogram::AddWindow(int64_t start) {
    const int64_t beforeEnd = std::max(frames_, static_cast<int64_t>(window_.size())) - start;
    for (const std::vector<double>& latest : latest_) AddPower(latest.data() + latest.size() - beforeEnd);
    ++windows_;
    position_ += framesPerWindow_;
    if (position_ % framesPerColumn_ == 0) EndColumn();
}

void Spectrogram::AddPower(const double* samples) {
    for (size_t i = 0; i < window_.size(); ++i) buffer_[i] = samples[i] * window_[i];
    std::fill(buffer_.begin() + static_cast<std::ptrdiff_t>(window_.size()), buffer_.end(), 0.0);
    rdft(static_cast<int>(buffer_.size()), 1, buffer_.data(), fftIndices_.data(), fftTables_.data());
    const auto square = [this](size_t i) { return buffer_[i] * buffer_[i]; };
    bins_.front() += square(0);
    bins_.back() += square(1);
    for (size_t k = 1; k + 1 < bins_.size(); ++k) bins_[k] += square(2 * k) + square(2 * k + 1);
}

void Spectrogram::EndColumn() {
    const double mean = 1.0 / static_cast<double>(windows_ * channels_);
    for (size_t row = 0; row < rows_; ++row) powers_.push_back(static_cast<float>(PowerOfRow(row) * mean));
    std::ranges::fill(bins_, 0.0);
    windows_ = 0;
    if (Columns() == maxColumns_) MergePairs();
}

double Spectrogram::PowerOfRow(size_t row) const {
    const double low = edges_[row];
    const double high = edges_[row + 1];
    if (high - low < 1) return PowerBetween((low + high) / 2);
    const auto first = bins_.begin() + static_cast<std::ptrdiff_t>(low + kRounding);
    const auto end = bins_.begin() + static_cast<std::ptrdiff_t>(high + kRounding);
    return PeakPower(static_cast<size_t>(std::max_element(first, end) - bins_.begin()));
}

// On a straight line in dB.
double Spectrogram::PowerBetween(double bin) const {
    const auto below = std::min(static_cast<size_t>(bin), bins_.size() - 2);
    const double share = bin - static_cast<double>(below);
    return std::pow(bins_[below], 1 - share) * std::pow(bins_[below + 1], share);
}

// The peak of a spectral line between two bins, by parabolic interpolation of three bins in dB. The correction is
// limited to the window's scalloping loss, in case it is not a line.
double Spectrogram::PeakPower(size_t bin) const {
    constexpr double kMaxLoss = 0.3;  // natural logarithm of power
    const double power = bins_[bin];
    if (bin == 0 || bin + 1 == bins_.size()) return power;
    const double below = bins_[bin - 1];
    const double above = bins_[bin + 1];
    if (!(below > 0 && above > 0 && power > below && power >= above)) return power;
    const double slope = std::log(above) - std::log(below);
    const double bend = 2 * std::log(power) - std::log(above) - std::log(below);
    return bend > 0 ? power * std::exp(std::min(slope * slope / (8 * bend), kMaxLoss)) : power;
}

void Spectrogram::MergePairs() {
    const size_t pairs = Columns() / 2;
    for (size_t pair = 0; pair < pairs; ++pair) {
        for (size_t row = 0; row < rows_; ++row) {
            const size_t from = 2 * pair * rows_ + row;
            powers_[pair * rows_ + row] = (powers_[from] + powers_[from + rows_]) / 2;
        }
    }
    powers_.resize(pairs * rows_);
    framesPerColumn_ *= 2;
    framesPerWindow_ = std::min(framesPerColumn_, static_cast<int64_t>(window_.size() / 4));
}

}  // namespace w64
