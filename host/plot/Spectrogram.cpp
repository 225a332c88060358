#include "host/plot/Spectrogram.h"

#include "audio/fft/VectorComplex.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace w64 {

namespace {

constexpr double kRounding = 1e-9;  // of places on the scale
constexpr size_t kMinPoints = 256;

// Two to four bins per band, and by octaves enough to tell low notes apart.
size_t PointsFor(const Spectrogram::Shape& shape) {
    return std::max(kMinPoints, std::bit_floor((shape.scale.IsByOctaves() ? 64 : 8) * shape.rows));
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

W64_VECTOR_CLONES void WeighPairs(const std::vector<double>& window, const double* frames, size_t channels,
                                  double* points) {
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

Spectrogram::Spectrogram(const Shape& shape)
    : channels_(static_cast<size_t>(shape.channels)), rows_(shape.rows), maxColumns_(2 * shape.columns),
      grid_(static_cast<std::ptrdiff_t>(PointsFor(shape))), powerSums_(PointsFor(shape)),
      bins_(powerSums_.size() / 2 + 1) {
    constexpr double kMargin = 10;  // for several lines that leak into the same bin
    const auto frames = std::max<int64_t>(shape.expectedFrames, 0);
    window_ = KaiserWindow(WindowSize(frames, powerSums_.size()), kMargin - shape.floor);
    for (AlignedDoubles* complex : {&points_, &unpaired_, &spectrum_, &work_}) {
        complex->resize(2 * powerSums_.size(), 0.0);
    }
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
    const size_t kept = window_.size() * channels_;
    if (latest_.size() > kept)
        latest_.erase(latest_.begin(), latest_.end() - static_cast<std::ptrdiff_t>(kept));
    latest_.insert(latest_.end(), frames.begin(), frames.end());
    frames_ += static_cast<int64_t>(frames.size() / channels_);
}

// Audio shorter than a window is centred in it.
void Spectrogram::PadToWindow() {
    const size_t missing = window_.size() - latest_.size() / channels_;
    latest_.insert(latest_.begin(), missing / 2 * channels_, 0.0);
    latest_.resize(window_.size() * channels_);
}

// The window is centred on the frames that it stands for.
int64_t Spectrogram::WindowStart() const {
    return std::max<int64_t>(position_ + framesPerWindow_ / 2 - static_cast<int64_t>(window_.size() / 2), 0);
}

void Spectrogram::AddWindow(int64_t start) {
    const int64_t beforeEnd = std::max(frames_, static_cast<int64_t>(window_.size())) - start;
    const double* frames = latest_.data() + latest_.size() - static_cast<size_t>(beforeEnd) * channels_;
    for (size_t channel = 0; channel + 1 < channels_; channel += 2) {
        WeighPairs(window_, frames + channel, channels_, points_.data());
        AddPowers(points_);
    }
    if (channels_ % 2 != 0) AddUnpaired(frames + channels_ - 1);
    ++windows_;
    position_ += framesPerWindow_;
    if (position_ % framesPerColumn_ == 0) EndColumn();
}

void Spectrogram::AddUnpaired(const double* samples) {
    double* to = unpaired_.data() + (isHalfFull_ ? 1 : 0);
    for (size_t i = 0; i < window_.size(); ++i) to[2 * i] = samples[i * channels_] * window_[i];
    isHalfFull_ = !isHalfFull_;
    if (!isHalfFull_) AddPowers(unpaired_);
}

void Spectrogram::AddPowers(const AlignedDoubles& points) {
    grid_.Forward(points.data(), spectrum_.data(), work_.data());
    SumUpPowers(spectrum_.data(), powerSums_);
}

// The powers of a positive frequency and its negative add up to twice those of the real and the imaginary part.
void Spectrogram::FoldPowers() {
    bins_.front() = powerSums_.front();
    for (size_t k = 1; k < bins_.size(); ++k)
        bins_[k] = (powerSums_[k] + powerSums_[powerSums_.size() - k]) / 2;
}

void Spectrogram::EndColumn() {
    if (isHalfFull_) {
        for (size_t i = 0; i < window_.size(); ++i) unpaired_[2 * i + 1] = 0;
        AddPowers(unpaired_);
        isHalfFull_ = false;
    }
    FoldPowers();
    const double mean = 1.0 / static_cast<double>(windows_ * channels_);
    for (size_t row = 0; row < rows_; ++row) powers_.push_back(static_cast<float>(PowerOfRow(row) * mean));
    std::ranges::fill(powerSums_, 0.0);
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
