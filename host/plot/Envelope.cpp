#include "host/plot/Envelope.h"

#include <algorithm>
#include <cmath>

namespace w64 {

namespace {

using Column = Envelope::Column;

// Every `stride`th sample.
Column Measure(std::span<const double> samples, size_t stride) {
    Column column{samples[0], samples[0], 0, 0};
    for (size_t i = 0; i < samples.size(); i += stride) {
        const double sample = samples[i];
        column.low = std::min(column.low, sample);
        column.high = std::max(column.high, sample);
        column.squares += sample * sample;
        ++column.samples;
    }
    return column;
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
        const auto part = frames.first(count * channels_);
        for (size_t channel = 0; channel < channels_; ++channel) {
            Column& column = lanes_[channel % lanes_.size()].back();
            column = Merged(column, Measure(part.subspan(channel), channels_));
        }
        frames_ += static_cast<int64_t>(count);
        frames = frames.subspan(part.size());
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
