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
    explicit FreqConvEngine(int channels) : channels_(static_cast<size_t>(channels)) {}

private:
    int64_t InputFrames() const { return Needed(blocks_ + 1) - Needed(blocks_); }

    // Channels are converted in pairs: a frame is two doubles. The last channel of an odd number is converted
    // twice.
    virtual void RestartPairs(size_t pairs) = 0;
    virtual double* InputOf(size_t pair, int64_t frames) = 0;  // where the next frames go
    virtual const double* Convert(size_t pair, int64_t frames) = 0;

    size_t channels_;
    int64_t blocks_ = 0;
    double* input_ = nullptr;  // of the next block, once it has been asked for
    AlignedDoubles in_;
    AlignedDoubles out_;
};

}  // namespace w64
