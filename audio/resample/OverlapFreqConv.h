#pragma once

#include "audio/fft/FFTGrid.h"
#include "audio/resample/FreqConvEngine.h"
#include "audio/resample/XAudioFreqConvDesign.h"

#include <vector>

namespace w64 {

// The two filters of a sample-rate conversion, one after the other, on two channels at a time: a frame is a
// pair of doubles. Frames are counted from the start of the stream; those before it are silence.

// The newest frames of a stream.
class FrameWindow {
public:
    // Starts with silence from frame `first` to before `end`.
    FrameWindow(int64_t first, int64_t end)
        : first_(first), numbers_(static_cast<size_t>(2 * (end - first)), 0.0) {}

    // Room for the next frames; valid until the next call.
    double* Append(int64_t frames);

    const double* At(int64_t frame) const { return numbers_.data() + 2 * (frame - first_); }
    void DropBefore(int64_t frame);

private:
    int64_t first_;
    AlignedDoubles numbers_;
};

// The short filter: a row of taps for every phase, in the order in which a branch's outputs use them.
class PolyphaseFilter {
public:
    // How far one branch's outputs have come along the input.
    struct Walk {
        int64_t window;  // first input frame of the next output
        size_t row;      // its phase
    };

    explicit PolyphaseFilter(const FreqConvDesign& design);

    // The start of the output at a time, which counts in 1 / `phases` of an input frame.
    Walk WalkFrom(int64_t time) const;

    // The number of outputs, from time 0 on, that `inputs` input frames suffice for; and the number of input
    // frames that are needed for the output at time `output` steps + `after`.
    int64_t OutputsOf(int64_t inputs) const;
    int64_t InputsFor(int64_t output, int64_t after) const;

    void Run(const FrameWindow& in, Walk& walk, int64_t count, double* out) const;

private:
    int64_t phases_;
    int64_t step_;
    int64_t half_;
    int64_t taps_;  // of a row; even
    AlignedDoubles rows_;
    std::vector<int32_t> advance_;  // of the window from each row to the next
};

// The long filter in its polyphase branches, a block at a time, as products of spectra. Branch s has every
// `branches`-th tap. Nothing is computed only to be dropped by the change of rate.
class LongFilter {
public:
    explicit LongFilter(const FreqConvDesign& design);

    int64_t Block() const { return sizes_.block; }
    int64_t Reach() const { return sizes_.reach; }
    size_t Branches() const { return spectra_.size(); }
    size_t SpectrumSize() const { return 2 * static_cast<size_t>(grid_.Points()); }

    // To decimate: adds the filtered spectrum of a branch's block of frames to the sum, which branch 0
    // starts. The frames have room for a spectrum and are overwritten.
    void TransformAndAdd(double* frames, size_t branch, double* sum);
    void TransformBack(const double* sum, double* frames);

    // To interpolate: writes a branch's filtered block, without the overlap, between those of the others.
    void Transform(const double* frames, double* spectrum);
    void TransformBackTo(size_t branch, const double* spectrum, double* product, double* frames);

private:
    struct Sizes {      // in frames
        int64_t reach;  // of a branch's taps to either side
        int64_t points;
        int64_t block;
    };

    static Sizes ChooseSizes(const FreqConvDesign& design);
    LongFilter(const FreqConvDesign& design, const Sizes& sizes);

    Sizes sizes_;
    FFTGrid grid_;
    std::vector<AlignedDoubles> spectra_;
    AlignedDoubles work_;
};

// Both filters, for all rates that have a design.
class OverlapFreqConv : public FreqConvEngine {
public:
    explicit OverlapFreqConv(const FreqConvDesign& design);

    int64_t Needed(int64_t blocks) const override;
    int64_t Produced(int64_t blocks) const override;
    size_t Width() const override { return 2; }
    void Restart(size_t pairs) override;
    const double* Convert(size_t thread, size_t pair, const double* in, int64_t frames,
                          int64_t outFrames) override;

private:
    struct Pair {  // of channels
        FrameWindow shortInput;
        std::vector<PolyphaseFilter::Walk> walks;  // one per branch where the short filter comes first
        AlignedDoubles longHistory;  // overlap: of its input where it comes first, of its output otherwise
    };

    Pair StartOfPair() const;
    const double* ShortFirst(Pair& pair, int64_t outFrames);
    const double* LongFirst(Pair& pair, int64_t outFrames);

    FreqConvDesign design_;
    PolyphaseFilter shortFilter_;
    LongFilter longFilter_;
    std::vector<Pair> pairs_;
    AlignedDoubles work_;
    AlignedDoubles sum_;
    AlignedDoubles pairOut_;
};

}  // namespace w64
