#pragma once

#include "base/threads/Crew.h"
#include "host/plot/FrequencyBands.h"
#include "host/plot/WindowSpectra.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace w64 {

// The spectrogram of audio of any length: the power in each frequency band, column by column. Power is the mean
// over all channels, and over windows that overlap enough for every frame to count. A column covers a power of two
// of frames; when there are twice as many columns as needed, pairs are merged.
// Units:   power 1 is that of a full-scale sine.
// Threads: one caller, whose thread shares the windows with others. The result does not depend on how many these are.
class Spectrogram {
public:
    struct Shape {
        int channels;
        size_t rows;                        // bands, of equal width on the scale of frequencies
        size_t columns;                     // min, if there are enough frames; max is twice that
        double floor;                       // in dB, -60 or less: window leakage stays below it
        int64_t expectedFrames;             // an estimate that decides the window size
        FrequencyScale scale = {1, false};  // whose highest frequency is half the sample rate
        unsigned threads = 1;
    };

    explicit Spectrogram(const Shape& shape);
    Spectrogram(const Spectrogram&) = delete;  // its threads point to it
    Spectrogram& operator=(const Spectrogram&) = delete;

    // Interleaved frames.
    void Add(std::span<const double> frames);
    void Finish();  // after the last frames

    int64_t FramesPerColumn() const { return framesPerColumn_; }
    size_t Columns() const { return powers_.size() / bands_.Count(); }
    std::span<const float> Column(size_t i) const {
        return std::span(powers_).subspan(i * bands_.Count(), bands_.Count());
    }

private:
    // Consecutive windows that one thread works on: of whole columns, or of a part of one.
    struct Job {
        std::vector<double> frames;  // from firstFrame on
        int64_t firstFrame = 0;
        std::vector<size_t> starts;  // of the windows, in frames
        size_t windowsPerColumn = 0;
        bool endsColumn = false;  // the last of the windows
        bool isLaunched = false;

        // The result.
        std::vector<float> powers;  // of whole columns
        SpectrumSum part;           // of the column after them
    };

    size_t MaxHop() const { return window_.size() / 4; }
    size_t SamplesPerJob() const { return (window_.size() + MaxHop() * windowsPerJob_) * channels_; }

    void Plan(int64_t end, int64_t lastStart);
    void PadToWindow();
    void Launch();
    void CountColumns(const Job& job);
    void BeginNext();
    void Work(WindowSpectra& spectra, Job& job) const;
    void Collect(size_t number);
    void AppendColumn(const SpectrumSum& sum, std::vector<float>& powers) const;
    void MergePairs();

    const size_t channels_;
    const size_t maxColumns_;
    const size_t points_;  // of a transform
    const std::vector<double> window_;
    const size_t windowsPerJob_;
    const FrequencyBands bands_;

    std::vector<WindowSpectra> spectra_;  // of each thread

    // The job that is filled with frames is jobs_[next_]; the others were launched in turn.
    std::vector<Job> jobs_;
    size_t next_ = 0;
    int64_t frames_ = 0;    // so far
    int64_t position_ = 0;  // first frame that the first window of the next job stands for
    int64_t framesPerColumn_;
    int64_t framesPerWindow_;  // hop size
    size_t columns_ = 0;       // before the next job

    // The results that were collected.
    std::vector<float> powers_;
    SpectrumSum column_;  // the part of a column

    Crew crew_;  // ends before what it works on
};

}  // namespace w64
