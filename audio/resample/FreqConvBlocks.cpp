#include "audio/resample/FreqConvBlocks.h"

#include <algorithm>
#include <utility>

namespace w64 {

namespace {

// One of some interleaved channels.
template <class Number>
struct Channel {
    Number* frames;
    size_t channels;
    size_t number;

    Number& operator[](size_t frame) const { return frames[frame * channels + number]; }
};

void CopyChannel(const Channel<const double>& from, int64_t frames, const Channel<double>& to) {
    for (size_t i = 0; i < static_cast<size_t>(frames); ++i) to[i] = from[i];
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
    engine_->Restart((channels_ + engine_->Width() - 1) / engine_->Width());
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
    const size_t inFrames = slot.window.size() / channels_;
    slot.inFrames = static_cast<int64_t>(inFrames);
    slot.outFrames = Produced(started_ + 1) - Produced(started_);
    if (!IsTogether()) slot.part.resize(inFrames * engine_->Width());
    if (!IsTogether() || crew_) slot.out.resize(static_cast<size_t>(slot.outFrames) * channels_);
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
    if (IsTogether()) {
        const double* const result =
            engine_->Convert(thread, 0, slot.window.data(), slot.inFrames, slot.outFrames);
        if (!crew_) {
            slot.result = result;  // nobody overwrites it before it is taken
        } else {
            std::copy_n(result, slot.out.size(), slot.out.begin());
        }
        return;
    }
    for (size_t channel = 0; channel < channels_; channel += engine_->Width()) {
        ConvertPart(thread, slot, channel);
    }
}

// The last of an odd number of channels makes a pair with itself.
void FreqConvBlocks::ConvertPart(size_t thread, Slot& slot, size_t channel) {
    const size_t width = engine_->Width();
    const auto channelOf = [&](size_t i) { return std::min(channel + i, channels_ - 1); };
    for (size_t i = 0; i < width; ++i) {
        CopyChannel({slot.window.data(), channels_, channelOf(i)}, slot.inFrames,
                    {slot.part.data(), width, i});
    }
    const double* const result =
        engine_->Convert(thread, channel / width, slot.part.data(), slot.inFrames, slot.outFrames);
    for (size_t i = 0; i < width; ++i) {
        CopyChannel({result, width, i}, slot.outFrames, {slot.out.data(), channels_, channelOf(i)});
    }
}

}  // namespace w64
