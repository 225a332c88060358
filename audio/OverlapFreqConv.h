#pragma once

#include "audio/FFTGrid.h"
#include "audio/FreqConvEngine.h"
#include "audio/XAudioFreqConvDesign.h"

#include <vector>

// The two filters of a sample-rate conversion at work, on two channels at a time: a frame is a pair of
// doubles. Frames are counted from the start of the stream, and those before it are silence.

// The newest frames of a stream.
class FrameWindow {
public:
    // Begins with silence from one frame up to another.
    FrameWindow(int64_t first, int64_t end)
        : first_(first), numbers_(static_cast<size_t>(2 * (end - first)), 0.0) {}

    // Room for frames to be written behind the last; good until the next call.
    double* Append(int64_t frames);

    const double* At(int64_t frame) const { return numbers_.data() + 2 * (frame - first_); }
    void DropBefore(int64_t frame);

private:
    int64_t first_;
    Numbers numbers_;
};

// The short filter: a row of taps for every phase, in the order in which a stream's outputs meet them.
class PolyphaseFilter {
public:
    // The way of one stream's outputs along the input.
    struct Walk {
        int64_t window;  // first frame that goes into the next output
        size_t row;
    };

    explicit PolyphaseFilter(const FreqConvDesign& design);

    // From the output at a time, of which an input has `phases` of the design.
    Walk WalkFrom(int64_t time) const;

    // How many outputs from time 0 on can be had from so many inputs, and how many inputs it takes for one
    // output of a number and a time after it.
    int64_t OutputsOf(int64_t inputs) const;
    int64_t InputsFor(int64_t output, int64_t after) const;

    void Run(const FrameWindow& in, Walk& walk, int64_t count, double* out) const;

private:
    int64_t phases_;
    int64_t step_;
    int64_t half_;
    int64_t taps_;  // of a row, an even number
    Numbers rows_;
    std::vector<int32_t> advance_;  // of the window from each row to the next
};

// The long filter between one stream and `streams` interleaved ones, a block at a time, as products of
// spectra: sub-filter s has those taps that lead to stream s, or from it. Nothing is computed that would be
// thrown away for the change of rate.
class LongFilter {
public:
    explicit LongFilter(const FreqConvDesign& design);

    int64_t Block() const { return sizes_.block; }
    int64_t Reach() const { return sizes_.reach; }
    size_t Streams() const { return spectra_.size(); }
    size_t SpectrumSize() const { return 2 * static_cast<size_t>(grid_.Points()); }

    // Many streams to one: a block of frames of each, in room for a spectrum and worthless afterwards, is added
    // to the sum, with which the first begins.
    void TransformAndAdd(double* frames, size_t stream, double* sum);
    void TransformBack(const double* sum, double* frames);

    // One stream to many, a block after the overlap, interleaved.
    void Transform(const double* frames, double* spectrum);
    void TransformBackTo(size_t stream, const double* spectrum, double* product, double* frames);

private:
    struct Sizes {      // in frames
        int64_t reach;  // of a sub-filter to either side
        int64_t points;
        int64_t block;
    };

    static Sizes ChooseSizes(const FreqConvDesign& design);
    LongFilter(const FreqConvDesign& design, const Sizes& sizes);

    Sizes sizes_;
    FFTGrid grid_;
    std::vector<Numbers> spectra_;
    Numbers work_;
};

// Both, for any rates that have filters.
class OverlapFreqConv : public FreqConvEngine {
public:
    OverlapFreqConv(const FreqConvDesign& design, int channels);

    int64_t Needed(int64_t blocks) const override;
    int64_t Produced(int64_t blocks) const override;

private:
    struct Pair {  // of channels
        FrameWindow shortInput;
        std::vector<PolyphaseFilter::Walk> walks;  // one for each stream where the short filter comes first
        Numbers longHistory;  // what its next block begins with: input where it comes first, or else output
    };

    void RestartPairs(size_t pairs) override;
    double* InputOf(size_t pair, int64_t frames) override;
    const double* Convert(size_t pair, int64_t frames) override;

    Pair StartOfPair() const;
    const double* ShortFirst(Pair& pair, int64_t outFrames);
    const double* LongFirst(Pair& pair, int64_t outFrames);

    FreqConvDesign design_;
    PolyphaseFilter shortFilter_;
    LongFilter longFilter_;
    std::vector<Pair> pairs_;
    Numbers work_;
    Numbers sum_;
    Numbers pairOut_;
};
