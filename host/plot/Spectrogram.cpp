#include "host/plot/Spectrogram.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace w64 {

namespace {

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

std::vector<double> WindowFor(const Spectrogram::Shape& shape) {
    constexpr double kMargin = 10;  // for several lines that leak into the same bin
    return KaiserWindow(WindowSize(std::max<int64_t>(shape.expectedFrames, 0), PointsFor(shape)),
                        kMargin - shape.floor);
}

// A power of two, so that columns are made of whole jobs or jobs of whole columns. It does not depend on the number
// of threads, nor do the sums.
size_t WindowsPerJob(size_t windowSize, size_t channels) {
    constexpr size_t kMaxSamples = 1 << 18;
    const size_t frames = std::max(kMaxSamples / channels, windowSize) - windowSize;
    return std::bit_floor(std::clamp<size_t>(frames / (windowSize / 4), 2, 64));
}

size_t ThreadsFor(unsigned threads, size_t samplesPerThread) {
    constexpr size_t kMaxSamples = 1 << 23;  // of all threads
    return std::clamp<size_t>(kMaxSamples / samplesPerThread, 1, std::max(threads, 1u));
}

// Frames are in the cache of the processor that read them, and transforms take them in steps that none foresees.
void Prefetch(std::span<const double> numbers, size_t first, size_t end) {
    constexpr size_t kCacheLine = 8;
    for (size_t i = first; i < end; i += kCacheLine) __builtin_prefetch(&numbers[i]);
}

// Two for each thread, so that none waits while another is collected.
size_t JobsFor(size_t threads) { return threads == 1 ? 1 : 2 * threads; }

}  // namespace

Spectrogram::Spectrogram(const Shape& shape)
    : channels_(static_cast<size_t>(shape.channels)), maxColumns_(2 * shape.columns),
      points_(PointsFor(shape)), window_(WindowFor(shape)),
      windowsPerJob_(WindowsPerJob(window_.size(), channels_)),
      bands_(shape.scale, shape.rows, points_ / 2 + 1),
      spectra_(ThreadsFor(shape.threads, 2 * SamplesPerJob() + 8 * points_),
               WindowSpectra(window_, channels_, points_)),
      jobs_(JobsFor(spectra_.size())), column_(points_),
      crew_(spectra_.size(), jobs_.size(),
            [this](size_t thread, size_t job) { Work(spectra_[thread], jobs_[job]); }) {
    // With a hop of at most a quarter window every frame has about the same weight; the windows then take a few times
    // as long as reading the audio.
    const auto columns = static_cast<uint64_t>(std::max<int64_t>(shape.expectedFrames, 0)) / shape.columns;
    framesPerColumn_ = static_cast<int64_t>(std::clamp<uint64_t>(std::bit_floor(columns), 1, MaxHop()));
    framesPerWindow_ = framesPerColumn_;
}

void Spectrogram::Add(std::span<const double> frames) {
    while (frames.size() >= channels_) {
        Job& job = jobs_[next_];
        if (job.starts.empty()) Plan(INT64_MAX, INT64_MAX);
        const size_t missing = job.starts.back() + window_.size() - job.frames.size() / channels_;
        const size_t count = std::min(missing, frames.size() / channels_);
        const auto part = frames.first(count * channels_);
        job.frames.insert(job.frames.end(), part.begin(), part.end());
        frames = frames.subspan(part.size());
        frames_ += static_cast<int64_t>(count);
        if (count == missing) Launch();
    }
}

// Windows stay inside the audio, so that they do not see an abrupt start or end.
void Spectrogram::Finish() {
    const auto windowSize = static_cast<int64_t>(window_.size());
    if (frames_ < windowSize) PadToWindow();
    while (position_ < frames_) {
        Plan(frames_, std::max<int64_t>(frames_ - windowSize, 0));
        Launch();
    }
    for (size_t i = 0; i < jobs_.size(); ++i) Collect((next_ + i) % jobs_.size());
}

// Audio shorter than a window is centred in it.
void Spectrogram::PadToWindow() {
    std::vector<double>& frames = jobs_[next_].frames;
    const size_t missing = window_.size() - frames.size() / channels_;
    frames.insert(frames.begin(), missing / 2 * channels_, 0.0);
    frames.resize(window_.size() * channels_);
}

// Chooses the windows of the next job: those that stand for frames before `end`. They are centred on these.
void Spectrogram::Plan(int64_t end, int64_t lastStart) {
    Job& job = jobs_[next_];
    const int64_t before = static_cast<int64_t>(window_.size() / 2) - framesPerWindow_ / 2;
    job.windowsPerColumn = static_cast<size_t>(framesPerColumn_ / framesPerWindow_);
    const size_t count = std::min(windowsPerJob_, (maxColumns_ - columns_) * job.windowsPerColumn);
    job.starts.clear();
    for (int64_t at = position_; at < end && job.starts.size() < count; at += framesPerWindow_) {
        const int64_t start = std::min(std::max<int64_t>(at - before, 0), lastStart);
        job.starts.push_back(static_cast<size_t>(start - job.firstFrame));
    }
    job.frames.reserve((job.starts.back() + window_.size()) * channels_);
}

void Spectrogram::Launch() {
    Job& job = jobs_[next_];
    position_ += static_cast<int64_t>(job.starts.size()) * framesPerWindow_;
    job.endsColumn = position_ % framesPerColumn_ == 0 || position_ >= frames_;
    CountColumns(job);
    job.isLaunched = true;
    crew_.Start(next_);
    BeginNext();
}

void Spectrogram::CountColumns(const Job& job) {
    const size_t windows = job.starts.size();
    columns_ += windows / job.windowsPerColumn;
    if (job.endsColumn && windows % job.windowsPerColumn != 0) ++columns_;
    if (columns_ < maxColumns_) return;
    columns_ /= 2;
    framesPerColumn_ *= 2;
    framesPerWindow_ = std::min(framesPerColumn_, static_cast<int64_t>(MaxHop()));
}

// With the last window of the job before.
void Spectrogram::BeginNext() {
    const Job& before = jobs_[next_];
    next_ = (next_ + 1) % jobs_.size();
    Collect(next_);
    Job& job = jobs_[next_];
    const auto kept = static_cast<std::ptrdiff_t>(window_.size() * channels_);
    if (&job == &before) {
        job.frames.erase(job.frames.begin(), job.frames.end() - kept);
    } else {
        job.frames.assign(before.frames.end() - kept, before.frames.end());
    }
    job.firstFrame = std::max<int64_t>(frames_ - static_cast<int64_t>(window_.size()), 0);
    job.starts.clear();
}

void Spectrogram::Work(WindowSpectra& spectra, Job& job) const {
    job.powers.clear();
    for (size_t i = 0; i < job.starts.size(); ++i) {
        if (i + 1 < job.starts.size()) {
            Prefetch(job.frames, (job.starts[i] + window_.size()) * channels_,
                     (job.starts[i + 1] + window_.size()) * channels_);
        }
        spectra.Add(job.frames.data() + job.starts[i] * channels_);
        if ((i + 1) % job.windowsPerColumn == 0) AppendColumn(spectra.Take(), job.powers);
    }
    job.part = spectra.Take();
}

void Spectrogram::Collect(size_t number) {
    Job& job = jobs_[number];
    if (!job.isLaunched) return;
    crew_.Finish(number);
    job.isLaunched = false;
    powers_.insert(powers_.end(), job.powers.begin(), job.powers.end());
    if (job.part.windows > 0) {
        column_.Add(job.part);
        if (job.endsColumn) AppendColumn(std::exchange(column_, SpectrumSum(points_)), powers_);
    }
    if (Columns() == maxColumns_) MergePairs();
}

void Spectrogram::AppendColumn(const SpectrumSum& sum, std::vector<float>& powers) const {
    bands_.Append(sum.Folded(), 1.0 / static_cast<double>(sum.windows * channels_), powers);
}

void Spectrogram::MergePairs() {
    const size_t rows = bands_.Count();
    const size_t pairs = Columns() / 2;
    for (size_t pair = 0; pair < pairs; ++pair) {
        for (size_t row = 0; row < rows; ++row) {
            const size_t from = 2 * pair * rows + row;
            powers_[pair * rows + row] = (powers_[from] + powers_[from + rows]) / 2;
        }
    }
    powers_.resize(pairs * rows);
}

}  // namespace w64
