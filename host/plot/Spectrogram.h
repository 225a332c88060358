#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace w64 {

// The spectrum of audio of any length as it changes: the power in each of a number of bands, for one stretch
// of frames after the other. It is the mean over all channels, and over windows so close to each other that
// every frame counts. A stretch is a power of two of frames; when the columns are used up, neighbours become
// one.
// Units:  power 1 is that of a sine that reaches full scale; a band has that of its highest peak.
class Spectrogram {
public:
    struct Shape {
        int channels;
        size_t rows;             // bands of equal width, from 0 up to half the sample rate
        size_t columns;          // at least, where there are as many frames; at most twice as many
        double floor;            // in dB, -60 or less: what the window leaks stays below it
        int64_t expectedFrames;  // a guess, from which the length of the window follows
    };

    explicit Spectrogram(const Shape& shape);

    // Interleaved frames.
    void Add(std::span<const double> frames);
    void Finish();  // no more are to come

    int64_t FramesPerColumn() const { return framesPerColumn_; }
    size_t Columns() const { return powers_.size() / rows_; }
    std::span<const float> Column(size_t i) const { return std::span(powers_).subspan(i * rows_, rows_); }

private:
    void Append(std::span<const double> frames);
    void PadToWindow();
    int64_t WindowStart() const;
    void AddWindow(int64_t start);
    void AddPower(const double* samples);
    void EndColumn();
    double PeakPower(size_t bin) const;
    void MergePairs();

    const size_t channels_;
    const size_t rows_;
    const size_t mostColumns_;
    std::vector<double> window_;

    std::vector<std::vector<double>> latest_;  // frames, a channel each; at least as many as the window takes
    int64_t frames_ = 0;                       // up to the end of the latest

    int64_t framesPerColumn_;
    int64_t framesPerWindow_;  // from one to the next
    int64_t position_ = 0;     // of the frames that the next window stands for

    std::vector<double> numbers_;  // that are transformed
    std::array<int, 2> tableSizes_{};
    std::vector<double> tables_;

    std::vector<double> bins_;  // sums for the column that is being made
    size_t windows_ = 0;        // in it
    std::vector<float> powers_;
};

}  // namespace w64
