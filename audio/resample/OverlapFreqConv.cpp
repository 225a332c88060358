#include "audio/resample/OverlapFreqConv.h"

#include "audio/fft/VectorComplex.h"
#include "audio/resample/ScaledDown.h"

#include <algorithm>
#include <cmath>

namespace w64 {

using namespace fft;

namespace {

constexpr int64_t kReachMultiple = 2;  // twice the reach and the block must be whole groups of four
constexpr int64_t kBlockMultiple = 4;
constexpr int64_t kPointMultiple = 64;
constexpr int64_t kMinBlock = 128;
constexpr int64_t kShortReach = 32;  // about how many frames the short filter looks ahead

// Computes `count` outputs with rows of `vectors` pairs of taps. The taps of four frames are stored together
// in the order 0, 2, 1, 3, so that one load and two shuffles within the halves of a vector give each tap to
// both channels.
W64_VECTOR_CLONES void RunRows(int64_t vectors, const double* in, const double* rows, const int32_t* advance,
                               size_t rowCount, PolyphaseFilter::Walk& walk, int64_t count, double* out) {
    const int64_t rowSize = (vectors + 1) / 2 * 4;
    const double* const begin = in;
    size_t row = walk.row;
    for (int64_t i = 0; i < count; ++i) {
        const double* taps = rows + static_cast<int64_t>(row) * rowSize;
        Vector even = {};
        Vector odd = {};
        for (int64_t at = 0; at + 1 < vectors; at += 2) {
            const Vector four = LoadVector(taps + 2 * at);
            even += LoadVector(in + 4 * at) * __builtin_shufflevector(four, four, 0, 0, 2, 2);
            odd += LoadVector(in + 4 * at + 4) * __builtin_shufflevector(four, four, 1, 1, 3, 3);
        }
        if (vectors % 2 != 0) {
            const Vector four = LoadVector(taps + 2 * (vectors - 1));
            even += LoadVector(in + 4 * (vectors - 1)) * __builtin_shufflevector(four, four, 0, 0, 2, 2);
        }
        even += odd;
        out[2 * i] = even[0] + even[2];
        out[2 * i + 1] = even[1] + even[3];
        in += int64_t{2} * advance[row];
        if (++row == rowCount) row = 0;
    }
    walk = {walk.window + (in - begin) / 2, row};
}

W64_VECTOR_CLONES void Multiply(const AlignedDoubles& a, const double* b, double* product) {
    const auto size = static_cast<ptrdiff_t>(a.size());
    for (ptrdiff_t at = 0; at < size; at += kGroup) {
        StoreGroup(product + at, LoadGroup(a.data() + at) * LoadGroup(b + at));
    }
}

W64_VECTOR_CLONES void AddProduct(const AlignedDoubles& a, const double* b, double* sum) {
    const auto size = static_cast<ptrdiff_t>(a.size());
    for (ptrdiff_t at = 0; at < size; at += kGroup) {
        StoreGroup(sum + at, LoadGroup(sum + at) + LoadGroup(a.data() + at) * LoadGroup(b + at));
    }
}

}  // namespace

double* FrameWindow::Append(int64_t frames) {
    const size_t end = numbers_.size();
    numbers_.resize(end + static_cast<size_t>(2 * frames));
    return numbers_.data() + end;
}

void FrameWindow::DropBefore(int64_t frame) {
    frame =
        std::min(frame, first_ + static_cast<int64_t>(numbers_.size() / 2));  // may be past the last frame
    numbers_.erase(numbers_.begin(), numbers_.begin() + 2 * (frame - first_));
    first_ = frame;
}

PolyphaseFilter::PolyphaseFilter(const FreqConvDesign& design)
    : phases_(design.phases), step_(design.step), half_(design.shortFilter.length / 2) {
    const std::vector<double> half = design.shortFilter.HalfOfTaps();
    taps_ = 2 * half_ / phases_ + 1;
    taps_ += taps_ % 2;
    const int64_t rowSize = (taps_ + 3) / 4 * 4;
    rows_.resize(static_cast<size_t>(rowSize * phases_), 0.0);
    advance_.reserve(static_cast<size_t>(phases_));
    // Each row is the phase one step after that of the row before. The latest input frame comes last.
    double* row = rows_.data();
    int64_t phase = 0;
    for (int64_t i = 0; i < phases_; ++i, row += rowSize) {
        int64_t frame = taps_ - 1;
        for (int64_t tap = phase; tap <= 2 * half_; tap += phases_, --frame) {
            const int64_t place = frame / 4 * 4 + frame % 2 * 2 + frame % 4 / 2;
            // Times the number of phases: the zeros between the input frames add nothing.
            row[place] = static_cast<double>(phases_) * half[static_cast<size_t>(std::abs(tap - half_))];
        }
        advance_.push_back(static_cast<int32_t>((phase + step_) / phases_));
        phase = (phase + step_) % phases_;
    }
}

PolyphaseFilter::Walk PolyphaseFilter::WalkFrom(int64_t time) const {
    const int64_t latest = ScaledDown(0, 1, time + half_, phases_);
    const int64_t wanted = time + half_ - latest * phases_;
    size_t row = 0;
    for (int64_t phase = 0; phase != wanted; phase = (phase + step_) % phases_) ++row;
    return {latest - taps_ + 1, row};
}

int64_t PolyphaseFilter::OutputsOf(int64_t inputs) const {
    return std::max<int64_t>(0, ScaledDown(inputs, phases_, step_ - 1 - half_, step_));
}

int64_t PolyphaseFilter::InputsFor(int64_t output, int64_t after) const {
    return std::max<int64_t>(0, ScaledDown(output, step_, after + half_, phases_) + 1);
}

void PolyphaseFilter::Run(const FrameWindow& in, Walk& walk, int64_t count, double* out) const {
    RunRows(taps_ / 2, in.At(walk.window), rows_.data(), advance_.data(), advance_.size(), walk, count, out);
}

LongFilter::LongFilter(const FreqConvDesign& design) : LongFilter(design, ChooseSizes(design)) {}

LongFilter::LongFilter(const FreqConvDesign& design, const Sizes& sizes)
    : sizes_(sizes), grid_(sizes.points), work_(SpectrumSize()) {
    const std::vector<double> half = design.longFilter.HalfOfTaps();
    const auto last = static_cast<int64_t>(half.size()) - 1;
    const double scale = design.longScale / static_cast<double>(sizes.points);
    for (int64_t branch = 0; branch < design.branches; ++branch) {
        AlignedDoubles& spectrum = spectra_.emplace_back(SpectrumSize(), 0.0);
        const int64_t offset = design.shortFirst ? -branch : branch;
        for (int64_t frame = -sizes.reach; frame <= sizes.reach; ++frame) {
            const int64_t tap = std::abs(design.branches * frame + offset);
            if (tap > last) continue;
            spectrum[static_cast<size_t>(2 * (frame + sizes.reach))] = scale * half[static_cast<size_t>(tap)];
        }
        Transform(spectrum.data(), spectrum.data());
    }
}

// The transform size with the least work per frame. The block is limited by the delay and by memory, but
// never shorter than the reach, or nearly all would be overlap.
LongFilter::Sizes LongFilter::ChooseSizes(const FreqConvDesign& design) {
    Sizes best{};
    best.reach = (design.longFilter.length / 2 + design.branches - 1) / design.branches;
    best.reach += best.reach % kReachMultiple;
    const auto maxDelay =
        static_cast<int64_t>(FreqConvLimits().maxDelay * static_cast<double>(design.longRate));
    const int64_t wanted =
        std::min(maxDelay - best.reach - kShortReach, FreqConvEngine::kMaxPoints - 2 * best.reach);
    const int64_t allowed = std::max({wanted, best.reach, kMinBlock});
    double minWork = HUGE_VAL;
    for (int64_t points = 2 * best.reach / kPointMultiple * kPointMultiple;; points += kPointMultiple) {
        const int64_t block = (points - 2 * best.reach) / kBlockMultiple * kBlockMultiple;
        if (block > allowed && best.points > 0) return best;
        if (block <= 0 || !FFTGrid::Takes(points)) continue;
        const double work = static_cast<double>(points) * std::log2(points) / static_cast<double>(block);
        if (work >= minWork) continue;
        minWork = work;
        best.points = points;
        best.block = block;
    }
}

void LongFilter::TransformAndAdd(double* frames, size_t branch, double* sum) {
    std::fill(frames + 2 * sizes_.block, frames + SpectrumSize(), 0.0);
    Transform(frames, frames);
    branch == 0 ? Multiply(spectra_[branch], frames, sum) : AddProduct(spectra_[branch], frames, sum);
}

void LongFilter::TransformBack(const double* sum, double* frames) {
    grid_.Inverse(sum, frames, 0, sizes_.points, work_.data());
}

void LongFilter::Transform(const double* frames, double* spectrum) {
    grid_.Forward(frames, spectrum, work_.data());
}

void LongFilter::TransformBackTo(size_t branch, const double* spectrum, double* product, double* frames) {
    Multiply(spectra_[branch], spectrum, product);
    const int64_t first = 2 * sizes_.reach;
    grid_.Inverse(product, product, first, first + sizes_.block, work_.data());
    const double* from = product;
    double* to = frames + 2 * branch;
    for (int64_t i = 0; i < sizes_.block; ++i, from += 2, to += 2 * Branches()) std::copy_n(from, 2, to);
}

OverlapFreqConv::OverlapFreqConv(const FreqConvDesign& design)
    : design_(design), shortFilter_(design), longFilter_(design), work_(longFilter_.SpectrumSize()),
      sum_(longFilter_.SpectrumSize()) {}

void OverlapFreqConv::Restart(size_t pairs) { pairs_.assign(pairs, StartOfPair()); }

OverlapFreqConv::Pair OverlapFreqConv::StartOfPair() const {
    const auto reach = longFilter_.Reach();
    if (!design_.shortFirst) {
        const int64_t first = -static_cast<int64_t>(longFilter_.Branches()) * reach;
        return {FrameWindow(first, first),
                {shortFilter_.WalkFrom(0)},
                AlignedDoubles(longFilter_.SpectrumSize(), 0.0)};
    }
    // The long filter's first output takes frames from its reach before the start on.
    std::vector<PolyphaseFilter::Walk> walks;
    for (int64_t branch = 0; branch < design_.branches; ++branch) {
        walks.push_back(shortFilter_.WalkFrom(branch * design_.branchStep - reach * design_.step));
    }
    return {FrameWindow(walks.front().window, 0), walks, AlignedDoubles(static_cast<size_t>(4 * reach), 0.0)};
}

int64_t OverlapFreqConv::Needed(int64_t blocks) const {
    const int64_t frames = blocks * longFilter_.Block();
    if (!design_.shortFirst) return frames;
    if (blocks == 0) return 0;
    return shortFilter_.InputsFor(frames - longFilter_.Reach() - 1,
                                  (design_.branches - 1) * design_.branchStep);
}

int64_t OverlapFreqConv::Produced(int64_t blocks) const {
    const int64_t frames = blocks * longFilter_.Block();
    if (design_.shortFirst) return std::max<int64_t>(0, frames - 2 * longFilter_.Reach());
    return shortFilter_.OutputsOf(design_.branches * (frames - longFilter_.Reach()));
}

const double* OverlapFreqConv::Convert(size_t /*thread*/, size_t number, const double* in, int64_t frames,
                                       int64_t outFrames) {
    Pair& pair = pairs_[number];
    double* const to = design_.shortFirst ? pair.shortInput.Append(frames)
                                          : pair.longHistory.data() + 4 * longFilter_.Reach();
    std::copy_n(in, 2 * frames, to);
    return design_.shortFirst ? ShortFirst(pair, outFrames) : LongFirst(pair, outFrames);
}

// Overlap-add: the tail of the long filter's output is added to the next block.
const double* OverlapFreqConv::ShortFirst(Pair& pair, int64_t outFrames) {
    const int64_t block = longFilter_.Block();
    for (size_t branch = 0; branch < pair.walks.size(); ++branch) {
        shortFilter_.Run(pair.shortInput, pair.walks[branch], block, work_.data());
        longFilter_.TransformAndAdd(work_.data(), branch, sum_.data());
    }
    pair.shortInput.DropBefore(pair.walks.front().window);
    longFilter_.TransformBack(sum_.data(), work_.data());
    AlignedDoubles& overlap = pair.longHistory;
    for (size_t i = 0; i < overlap.size(); ++i) work_[i] += overlap[i];
    std::copy_n(work_.begin() + 2 * block, overlap.size(), overlap.begin());
    return work_.data() + 2 * (block - outFrames);
}

// Overlap-save: the long filter's input begins with the end of the last block. What wraps around in the
// transform comes out before this block.
const double* OverlapFreqConv::LongFirst(Pair& pair, int64_t outFrames) {
    const int64_t block = longFilter_.Block();
    const int64_t overlap = 2 * longFilter_.Reach();
    AlignedDoubles& history = pair.longHistory;
    longFilter_.Transform(history.data(), sum_.data());
    std::copy_n(history.begin() + 2 * block, 2 * overlap, history.begin());

    const size_t branches = longFilter_.Branches();
    double* const between = pair.shortInput.Append(block * static_cast<int64_t>(branches));
    for (size_t branch = 0; branch < branches; ++branch) {
        longFilter_.TransformBackTo(branch, sum_.data(), work_.data(), between);
    }
    pairOut_.resize(static_cast<size_t>(2 * outFrames));
    shortFilter_.Run(pair.shortInput, pair.walks.front(), outFrames, pairOut_.data());
    pair.shortInput.DropBefore(pair.walks.front().window);
    return pairOut_.data();
}

}  // namespace w64
