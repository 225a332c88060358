#include "host/plot/Envelope.h"

#include "audio/fft/VectorComplex.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace w64 {

namespace {

using Column = Envelope::Column;

// Of the first of interleaved channels.
Column Measure(const double* frames, size_t count, size_t channels) {
    Column column{frames[0], frames[0], 0, static_cast<int64_t>(count)};
    for (; count > 0; --count, frames += channels) {
        column.low = std::min(column.low, *frames);
        column.high = std::max(column.high, *frames);
        column.squares += *frames * *frames;
    }
    return column;
}

// Of samples i, i + 8, i + 16 ... for each i.
using Eighths = std::array<Column, 8>;

// Two vectors at a time, as a sum waits for its last addition. There are at least eight samples.
W64_VECTOR_CLONES Eighths MeasureEighths(const double* samples, size_t count) {
    fft::Vector low[2] = {fft::LoadVector(samples), fft::LoadVector(samples + 4)};
    fft::Vector high[2] = {low[0], low[1]};
    fft::Vector squares[2] = {};
    const size_t whole = count - count % 8;
    for (const double* const end = samples + whole; samples < end; samples += 8) {
        for (size_t i = 0; i < 2; ++i) {
            const fft::Vector values = fft::LoadVector(samples + 4 * i);
            low[i] = values < low[i] ? values : low[i];
            high[i] = values > high[i] ? values : high[i];
            squares[i] += values * values;
        }
    }
    Eighths eighths;
    for (size_t i = 0; i < eighths.size(); ++i) {
        eighths[i] = {low[i / 4][i % 4], high[i / 4][i % 4], squares[i / 4][i % 4],
                      static_cast<int64_t>(whole / 8)};
    }
    return eighths;
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
        Merge(frames.first(count * channels_));
        frames_ += static_cast<int64_t>(count);
        frames = frames.subspan(count * channels_);
    }
}

// Where the channels divide eight, each eighth of the samples is of one channel.
void Envelope::Merge(std::span<const double> frames) {
    const auto merge = [this](size_t channel, const Column& measured) {
        Column& column = lanes_[channel % lanes_.size()].back();
        column = Merged(column, measured);
    };
    if (8 % channels_ == 0 && frames.size() >= 8) {
        const Eighths eighths = MeasureEighths(frames.data(), frames.size());
        for (size_t i = 0; i < eighths.size(); ++i) merge(i % channels_, eighths[i]);
        frames = frames.last(frames.size() % 8);
    }
    for (size_t channel = 0; channel < channels_ && !frames.empty(); ++channel) {
        merge(channel, Measure(frames.data() + channel, frames.size() / channels_, channels_));
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
