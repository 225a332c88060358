#pragma once

#include "audio/fft/FFTGrid.h"
#include "host/plot/FrequencyScale.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace w64 {

// The spectrogram of audio of any length: the power in each frequency band, column by column. Power is the mean
// over all channels, and over windows that overlap enough for every frame to count. A column covers a power of two
// of frames; when there are twice as many columns as needed, pairs are merged.
// Units:  power 1 is that of a full-scale sine; a band has the power of its highest peak. Between bins, a band narrower than
//         these has the power that leads from one to the other.
class Spectrogram {
public:
    struct Shape {
        int channels;
        size_t rows;                        // bands, of equal width on the scale of frequencies
        size_t columns;                     // min, if there are enough frames; max is twice that
        double floor;                       // in dB, -60 or less: window leakage stays below it
        int64_t expectedFrames;             // an estimate that decides the window size
        FrequencyScale scale = {1, false};  // whose highest frequency is half the sample rate
    };

    explicit Spectrogram(const Shape& shape);

    // Interleaved frames.
    void Add(std::span<const double> frames);
    void Finish();  // after the last frames

    int64_t FramesPerColumn() const { return framesPerColumn_; }
    size_t Columns() const { return powers_.size() / rows_; }
    std::span<const float> Column(size_t i) const { return std::span(powers_).subspan(i * rows_, rows_); }

private:
    void Append(std::span<const double> frames);
    void PadToWindow();
    int64_t WindowStart() const;
    void AddWindow(int64_t start);
    void AddUnpaired(const double* samples);
    void AddPowers(const AlignedDoubles& points);
    void FoldPowers();
    void EndColumn();
    double PowerOfRow(size_t row) const;
    double PowerBetween(double bin) const;
    double PeakPower(size_t bin) const;
    void MergePairs();

    const size_t channels_;
    const size_t rows_;
    const size_t maxColumns_;
    std::vector<double> window_;

    std::vector<double> latest_;  // the latest frames, at least a window
    int64_t frames_ = 0;          // frames so far, including the latest

    int64_t framesPerColumn_;
    int64_t framesPerWindow_;  // hop size
    int64_t position_ = 0;     // first frame that the next window stands for

    // Windows of two channels are the real and imaginary parts of complex points.
    FFTGrid grid_;
    AlignedDoubles points_;
    AlignedDoubles unpaired_;  // likewise two windows of the last of an odd number of channels
    bool isHalfFull_ = false;  // with one of them
    AlignedDoubles spectrum_;
    AlignedDoubles work_;

    // Of the current column.
    size_t windows_ = 0;
    std::vector<double> powerSums_;  // of the points' frequencies, negative ones from half the points on
    std::vector<double> bins_;       // of the windows

    std::vector<double> edges_;  // of the rows, in bins
    std::vector<float> powers_;
};

}  // namespace w64
