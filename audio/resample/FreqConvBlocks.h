#pragma once

#include "audio/fft/CacheLineAllocator.h"
#include "audio/resample/FreqConvEngine.h"
#include "base/threads/Crew.h"

#include <memory>
#include <optional>
#include <vector>

namespace w64 {

// A stream of any number of channels, cut into the blocks of an engine. With more than one thread, several blocks are
// converted at a time; the output is the same.
class FreqConvBlocks {
public:
    FreqConvBlocks(std::unique_ptr<FreqConvEngine> engine, int channels);

    int64_t Needed(int64_t blocks) const { return engine_->Needed(blocks); }
    int64_t Produced(int64_t blocks) const { return engine_->Produced(blocks); }

    // Blocks that can be under way: when that many are started and not taken, the oldest must be taken.
    int64_t AtATime() const { return std::ssize(slots_); }

    int64_t Started() const { return started_; }
    int64_t UnderWay() const { return started_ - taken_; }

    // Frames of the next block to start, and of the next result to take.
    int64_t NewFrames() const { return Needed(started_ + 1) - Needed(started_); }
    int64_t NextResult() const { return Produced(taken_ + 1) - Produced(taken_); }

    // Room for the new frames of the next block, interleaved; may be filled piecewise. Samples must be finite.
    double* Input();

    // Starts to convert what is in the input buffer.
    void Start();

    // The result of the oldest block that is not taken yet, interleaved; valid until the next Start.
    const double* Take();

    void Restart();

private:
    struct Slot {  // of a block
        AlignedDoubles window;
        int64_t inFrames = 0;
        int64_t outFrames = 0;
        AlignedDoubles part;  // the channels that are converted together
        AlignedDoubles out;
        const double* result = nullptr;
    };

    size_t IndexOf(int64_t block) const { return static_cast<size_t>(block) % slots_.size(); }
    Slot& SlotOf(int64_t block) { return slots_[IndexOf(block)]; }
    size_t HistoryNumbers() const { return static_cast<size_t>(engine_->History(started_)) * channels_; }
    bool IsTogether() const { return channels_ == engine_->Width(); }

    void BeginWindow();
    void Convert(size_t thread, Slot& slot);
    void ConvertPart(size_t thread, Slot& slot, size_t channel);

    std::unique_ptr<FreqConvEngine> engine_;
    size_t channels_;
    std::vector<Slot> slots_;
    int64_t begun_ = 0;  // blocks with a window
    int64_t started_ = 0;
    int64_t taken_ = 0;
    std::optional<Crew> crew_;  // ends before what it works on
};

}  // namespace w64
