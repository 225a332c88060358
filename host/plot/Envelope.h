#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace w64 {

// The envelope of audio of any length: minimum, maximum and power of the samples in each column. A column covers
// a power of two of frames. When there are 2 * `columns`, pairs are merged, so a long signal has between `columns`
// and twice as many.
class Envelope {
public:
    struct Column {
        double low = 0;
        double high = 0;
        double squares = 0;  // sum of squared samples
        int64_t samples = 0;

        double RootMeanSquare() const;
    };

    // One lane per channel, or one for all channels together.
    Envelope(int channels, bool together, size_t columns);

    // Interleaved frames.
    void Add(std::span<const double> frames);

    int64_t Frames() const { return frames_; }
    int64_t FramesPerColumn() const { return framesPerColumn_; }
    size_t Lanes() const { return lanes_.size(); }
    std::span<const Column> Lane(size_t lane) const { return lanes_[lane]; }
    double Peak() const;

private:
    void BeginColumn();
    void Merge(std::span<const double> frames);

    const size_t channels_;
    const size_t maxColumns_;
    int64_t framesPerColumn_ = 1;
    int64_t frames_ = 0;
    std::vector<std::vector<Column>> lanes_;
};

}  // namespace w64
