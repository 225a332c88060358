#pragma once

#include "audio/fft/CacheLineAllocator.h"

#include <cstddef>
#include <cstdint>

namespace w64 {

// Converts the sample rate of a stream of any number of channels, block by block. Block boundaries are
// counted from the start of the stream, so the output does not depend on the portions in which the input
// arrives.
class FreqConvEngine {
public:
    // Limits of the transforms, where the filters allow them.
    static constexpr double kMaxDelay = 0.4;      // seconds
    static constexpr int64_t kMaxPoints = 98304;  // keeps a converter within a few MiB

    FreqConvEngine(const FreqConvEngine&) = delete;
    FreqConvEngine& operator=(const FreqConvEngine&) = delete;
    virtual ~FreqConvEngine() = default;

    // Input frames that the first `blocks` blocks need, and output frames that they produce.
    virtual int64_t Needed(int64_t blocks) const = 0;
    virtual int64_t Produced(int64_t blocks) const = 0;

    // Input buffer of the next block, interleaved; may be filled piecewise. Samples must be finite.
    double* Input();

    // Converts the block in the input buffer. The result, interleaved, is valid until the next call of
    // either.
    const double* Process();

    void Restart();

protected:
    // An engine sees a window of frames that ends with the new ones. Two numbers of a frame, a pair, are converted
    // at a time: two channels, or else one channel of two hops. A hop is a part of a block that is converted as if
    // it were a block of its own: with two of them the last channel of an odd number has a partner, itself.
    FreqConvEngine(int channels, int64_t hops)
        : channels_(static_cast<size_t>(channels)), hops_(static_cast<size_t>(hops)) {}

    int64_t Hops() const { return static_cast<int64_t>(hops_); }

private:
    int64_t NewFrames() const { return Needed(blocks_ + 1) - Needed(blocks_); }

    virtual void RestartPairs(size_t pairs) = 0;

    // Frames that the window of a block begins with, of the blocks before or, at first, silence; and new frames of
    // a hop.
    virtual int64_t History(int64_t block) const = 0;
    virtual int64_t HopFrames() const = 0;

    // Converts `frames` frames to a hop's output, which is valid until the next call.
    virtual const double* Convert(size_t pair, const double* in, int64_t frames, int64_t outFrames) = 0;

    void Gather(size_t pair, int64_t frames);
    void Scatter(size_t pair, const double* result, int64_t frames);

    size_t channels_;
    size_t hops_;
    int64_t blocks_ = 0;
    AlignedDoubles window_;
    AlignedDoubles pair_;
    AlignedDoubles out_;
};

}  // namespace w64
