#pragma once

#include <cstddef>
#include <cstdint>

namespace w64 {

// What a conversion may take.
struct FreqConvLimits {
    // In seconds, how much of the input the filters may hold back until the last block, of more than two channels as
    // much less as takes the same memory. Longer blocks take less time.
    double maxDelay = 0.4;

    // Threads that convert blocks, the caller's among them. Each has memory of its own and holds back two blocks more.
    int threads = 1;

    // Gives all that the filters let through, down to the precision of doubles. Otherwise, between rates far apart or
    // with hardly a common divisor, what stop bands bring down by 200 dB or more may be left out, -170 dB in all. That
    // can halve the time.
    bool exact = true;

    // Files have all the time. More than this delay is not faster.
    static FreqConvLimits ForFiles(int threads) {
        return {.maxDelay = 1.25, .threads = threads, .exact = false};
    }
};

// Converts the sample rate of a block of a stream, one channel at a time or two of them, a pair. Blocks are counted
// from the start of the stream. FreqConvBlocks makes them.
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

    // Frames before the new ones of a block that it converts again, or at first silence.
    virtual int64_t History(int64_t /*block*/) const { return 0; }

    // Channels that are converted together, interleaved: 1 or 2.
    virtual size_t Width() const { return 1; }

    // How many threads may convert blocks at the same time.
    virtual size_t Threads() const { return 1; }

    // Before the first block of a stream with so many channels or pairs.
    virtual void Restart(size_t /*count*/) {}

    // Converts a channel or pair. The result is valid until the thread's next call.
    virtual const double* Convert(size_t thread, size_t number, const double* in, int64_t frames,
                                  int64_t outFrames) = 0;
};

}  // namespace w64
