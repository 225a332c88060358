#include "host/plot/Envelope.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace w64 {

namespace {

using Column = Envelope::Column;

// Of the first channels of interleaved frames. Two take little more time than one, as each sum waits for its last
// addition.
template <size_t kChannels>
std::array<Column, kChannels> Measure(const double* frames, size_t count, size_t stride) {
    std::array<Column, kChannels> columns;
    for (size_t i = 0; i < kChannels; ++i)
        columns[i] = {frames[i], frames[i], 0, static_cast<int64_t>(count)};
    for (; count > 0; --count, frames += stride) {
        for (size_t i = 0; i < kChannels; ++i) {
            columns[i].low = std::min(columns[i].low, frames[i]);
            columns[i].high = std::max(columns[i].high, frames[i]);
            columns[i].squares += frames[i] * frames[i];
        }
    }
    return columns;
}

Column Merged(const Column& a, const Column& b) {
    if (a.samples == 0) return b;
    return {std::min(a.low, b.low), std::max(a.high, b.high), a.squares + b.squares, a.samples + b.samples};
}

void MergePairs(std::vector<Column>& columns) {
    const size_t pairs = columns.size() / 2;
    for (size_t i = 0; i < pairs; ++i) columns[i] = Merged(columns[2 * i], columns[2 * i + 1]);
    columns.resize(pairs);
}

}  // namespace

double Envelope::Column::RootMeanSquare() const {
    return samples == 0 ? 0 : std::sqrt(squares / static_cast<double>(samples));
}

Envelope::Envelope(int channels, bool together, size_t columns)
    : channels_(static_cast<size_t>(channels)), maxColumns_(2 * columns), lanes_(together ? 1 : channels_) {}

void Envelope::Add(std::span<const double> frames) {
    while (frames.size() >= channels_) {
        if (frames_ % framesPerColumn_ == 0) BeginColumn();
        const auto room = static_cast<size_t>(framesPerColumn_ - frames_ % framesPerColumn_);
        const size_t count = std::min(room, frames.size() / channels_);
        const auto merge = [this](size_t channel, const Column& measured) {
            Column& column = lanes_[channel % lanes_.size()].back();
            column = Merged(column, measured);
        };
        size_t channel = 0;
        for (; channel + 1 < channels_; channel += 2) {
            const auto [first, second] = Measure<2>(frames.data() + channel, count, channels_);
            merge(channel, first);
            merge(channel + 1, second);
        }
        if (channel < channels_) merge(channel, Measure<1>(frames.data() + channel, count, channels_)[0]);
        frames_ += static_cast<int64_t>(count);
        frames = frames.subspan(count * channels_);
    }
}

void Envelope::BeginColumn() {
    const bool full = lanes_[0].size() == maxColumns_;
    if (full) framesPerColumn_ *= 2;
    for (auto& lane : lanes_) {
        if (full) MergePairs(lane);
        lane.emplace_back();
    }
}

double Envelope::Peak() const {
    double peak = 0;
    for (const auto& lane : lanes_) {
        for (const Column& column : lane) peak = std::max({peak, -column.low, column.high});
    }
    return peak;
}

}  // namespace w64
