#pragma once

#include "audio/CacheLineAllocator.h"

#include <cstddef>
#include <cstdint>

// A sample-rate conversion at work, for any number of channels, a block at a time. Blocks are counted from the
// start of the stream, so that it makes no difference in what portions it comes.
class FreqConvEngine {
public:
    FreqConvEngine(const FreqConvEngine&) = delete;
    FreqConvEngine& operator=(const FreqConvEngine&) = delete;
    virtual ~FreqConvEngine() = default;

    // How many frames so many blocks take, and give.
    virtual int64_t Needed(int64_t blocks) const = 0;
    virtual int64_t Produced(int64_t blocks) const = 0;

    // Where the frames that the next block needs go, interleaved, in as many steps as it takes. They have to be
    // finite.
    double* Input();

    // Converts the block that is there; the result, interleaved, is good until the next call of either.
    const double* Process();

    void Restart();

protected:
    explicit FreqConvEngine(int channels) : channels_(static_cast<size_t>(channels)) {}

private:
    int64_t InputFrames() const { return Needed(blocks_ + 1) - Needed(blocks_); }

    // Two channels at a time: a frame is a pair of doubles. The last of an odd number goes twice.
    virtual void RestartPairs(size_t pairs) = 0;
    virtual double* InputOf(size_t pair, int64_t frames) = 0;  // room for the next frames
    virtual const double* Convert(size_t pair, int64_t frames) = 0;

    size_t channels_;
    int64_t blocks_ = 0;
    double* input_ = nullptr;  // of the next block, when it has been asked for
    Numbers in_;
    Numbers out_;
};
