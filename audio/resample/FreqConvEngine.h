#pragma once

#include <cstddef>
#include <cstdint>

namespace w64 {

// What a conversion may take.
struct FreqConvLimits {
    // In seconds, how much of the input the filters may hold back until the last block, of more than two channels as
    // much less as takes the same memory. Longer blocks take less time, and an odd number of channels is converted
    // faster where there is room for two hops.
    double maxDelay = 0.4;

    // Threads that convert blocks, the caller's among them. Each has memory of its own and holds back two blocks more.
    int threads = 1;
};

// Converts the sample rate of a block of a stream, two numbers of every frame, a pair, at a time: two channels, or else
// one channel of two hops. Blocks are counted from the start of the stream. FreqConvBlocks makes them.
//
// A hop is a part of a block that is converted as if it were a block of its own: with two of them the last channel of
// an odd number has a partner, itself.
class FreqConvEngine {
public:
    static constexpr int64_t kMaxPoints = 98304;  // of a transform; keeps a thread within a few MiB

    FreqConvEngine() = default;
    FreqConvEngine(const FreqConvEngine&) = delete;
    FreqConvEngine& operator=(const FreqConvEngine&) = delete;
    virtual ~FreqConvEngine() = default;

    // Input frames that the first `blocks` blocks need, and output frames that they produce.
    virtual int64_t Needed(int64_t blocks) const = 0;
    virtual int64_t Produced(int64_t blocks) const = 0;

    // Frames before the new ones of a block that it converts again, or at first silence. The new ones of a hop.
    virtual int64_t History(int64_t /*block*/) const { return 0; }
    virtual int64_t Hops() const { return 1; }
    virtual int64_t HopFrames() const { return 0; }

    // How many threads may convert blocks at the same time.
    virtual size_t Threads() const { return 1; }

    // Before the first block of a stream.
    virtual void Restart(size_t pairs) = 0;

    // Converts `frames` frames to those of a hop. The result is valid until the thread's next call.
    virtual const double* Convert(size_t thread, size_t pair, const double* in, int64_t frames,
                                  int64_t outFrames) = 0;
};

}  // namespace w64
