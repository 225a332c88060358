#include "audio/resample/FreqConvBlocks.h"

#include <algorithm>
#include <utility>

namespace w64 {

namespace {

// Where a number of interleaved frames begins. Numbers go through the channels of the first hop, then of the second.
template <class Number>
Number* StartOf(Number* frames, size_t number, size_t channels, int64_t hopFrames) {
    return frames + number / channels * static_cast<size_t>(hopFrames) * channels + number % channels;
}

}  // namespace

// Two slots for each thread, so that none waits while a result is taken.
FreqConvBlocks::FreqConvBlocks(std::unique_ptr<FreqConvEngine> engine, int channels)
    : engine_(std::move(engine)), channels_(static_cast<size_t>(channels)),
      slots_(engine_->Threads() == 1 ? 1 : 2 * engine_->Threads()) {
    if (slots_.size() > 1) {
        crew_.emplace(engine_->Threads(), slots_.size(),
                      [this](size_t thread, size_t slot) { Convert(thread, slots_[slot]); });
    }
    Restart();
}

void FreqConvBlocks::Restart() {
    while (taken_ < started_) Take();
    begun_ = started_ = taken_ = 0;
    engine_->Restart((NumbersOfHops() + 1) / 2);
}

double* FreqConvBlocks::Input() {
    if (begun_ == started_) BeginWindow();
    return SlotOf(started_).window.data() + HistoryNumbers();
}

// It starts with the end of the last one, which may be in the same memory.
void FreqConvBlocks::BeginWindow() {
    AlignedDoubles& window = SlotOf(started_).window;
    const size_t history = HistoryNumbers();
    if (started_ == 0) {
        window.assign(history, 0.0);
    } else {
        const AlignedDoubles& last = SlotOf(started_ - 1).window;
        window.resize(std::max(window.size(), history));
        std::copy(last.end() - static_cast<std::ptrdiff_t>(history), last.end(), window.begin());
    }
    window.resize(history + static_cast<size_t>(NewFrames()) * channels_);
    ++begun_;
}

// Takes all memory that the threads need.
void FreqConvBlocks::Start() {
    Slot& slot = SlotOf(started_);
    const int64_t hops = engine_->Hops();
    slot.inFrames = static_cast<int64_t>(slot.window.size() / channels_) - (hops - 1) * engine_->HopFrames();
    slot.outFrames = (Produced(started_ + 1) - Produced(started_)) / hops;
    if (!IsOnePair()) slot.pair.resize(static_cast<size_t>(2 * slot.inFrames));
    if (!IsOnePair() || crew_) slot.out.resize(static_cast<size_t>(slot.outFrames) * NumbersOfHops());
    if (crew_) {
        crew_->Start(IndexOf(started_));
    } else {
        Convert(0, slot);
    }
    ++started_;
}

const double* FreqConvBlocks::Take() {
    if (crew_) crew_->Finish(IndexOf(taken_));
    return SlotOf(taken_++).result;
}

void FreqConvBlocks::Convert(size_t thread, Slot& slot) {
    slot.result = slot.out.data();
    if (IsOnePair()) {
        const double* const result =
            engine_->Convert(thread, 0, slot.window.data(), slot.inFrames, slot.outFrames);
        if (!crew_) {
            slot.result = result;  // nobody overwrites it before it is taken
        } else {
            std::copy_n(result, slot.out.size(), slot.out.begin());
        }
        return;
    }
    for (size_t pair = 0; 2 * pair < NumbersOfHops(); ++pair) {
        Gather(slot, pair);
        Scatter(engine_->Convert(thread, pair, slot.pair.data(), slot.inFrames, slot.outFrames), slot, pair);
    }
}

void FreqConvBlocks::Gather(Slot& slot, size_t pair) const {
    const size_t last = NumbersOfHops() - 1;
    const double* const window = slot.window.data();
    const double* left = StartOf(window, 2 * pair, channels_, engine_->HopFrames());
    const double* right = StartOf(window, std::min(2 * pair + 1, last), channels_, engine_->HopFrames());
    double* to = slot.pair.data();
    for (int64_t i = 0; i < slot.inFrames; ++i, left += channels_, right += channels_) {
        *to++ = *left;
        *to++ = *right;
    }
}

void FreqConvBlocks::Scatter(const double* result, Slot& slot, size_t pair) const {
    if (slot.outFrames == 0) return;
    const size_t last = NumbersOfHops() - 1;
    double* left = StartOf(slot.out.data(), 2 * pair, channels_, slot.outFrames);
    double* right = StartOf(slot.out.data(), std::min(2 * pair + 1, last), channels_, slot.outFrames);
    for (int64_t i = 0; i < slot.outFrames; ++i, left += channels_, right += channels_) {
        *left = *result++;
        *right = *result++;
    }
}

}  // namespace w64
