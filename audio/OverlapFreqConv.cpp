#include "audio/OverlapFreqConv.h"

#include "audio/ScaledDown.h"
#include "audio/VectorComplex.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kLongestDelay = 0.4;  // seconds, where a long filter of the rate allows it
constexpr int64_t kReachMultiple = 2;  // twice the reach and the block are whole groups of four in transforms
constexpr int64_t kBlockMultiple = 4;
constexpr int64_t kPointMultiple = 64;
constexpr int64_t kMostPoints = 98304;  // where filters allow it: keeps a converter within a few MiB
constexpr int64_t kLeastBlock = 128;
constexpr int64_t kShortReach = 32;  // inputs that the short filter may look ahead, more or less

// The filter of `count` outputs, whose rows have `vectors` pairs of taps. The taps of four frames lie together,
// those of odd ones behind those of even ones in each half: so one load and two moves within halves give each
// tap to both channels.
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

W64_VECTOR_CLONES void Multiply(const Numbers& a, const double* b, double* product) {
    const auto size = static_cast<ptrdiff_t>(a.size());
    for (ptrdiff_t at = 0; at < size; at += kGroup) {
        StoreGroup(product + at, LoadGroup(a.data() + at) * LoadGroup(b + at));
    }
}

W64_VECTOR_CLONES void AddProduct(const Numbers& a, const double* b, double* sum) {
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
    frame = std::min(frame, first_ + static_cast<int64_t>(numbers_.size() / 2));  // some may be passed over
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
    // Each row belongs to the phase that lies a step behind the one before. The latest input comes last.
    double* row = rows_.data();
    int64_t phase = 0;
    for (int64_t i = 0; i < phases_; ++i, row += rowSize) {
        int64_t frame = taps_ - 1;
        for (int64_t tap = phase; tap <= 2 * half_; tap += phases_, --frame) {
            const int64_t place = frame / 4 * 4 + frame % 2 * 2 + frame % 4 / 2;
            // The short filter adds up what the zeros between the inputs leave out.
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
    for (int64_t stream = 0; stream < design.streams; ++stream) {
        Numbers& spectrum = spectra_.emplace_back(SpectrumSize(), 0.0);
        const int64_t offset = design.shortFirst ? -stream : stream;
        for (int64_t frame = -sizes.reach; frame <= sizes.reach; ++frame) {
            const int64_t tap = std::abs(design.streams * frame + offset);
            if (tap > last) continue;
            spectrum[static_cast<size_t>(2 * (frame + sizes.reach))] = scale * half[static_cast<size_t>(tap)];
        }
        Transform(spectrum.data(), spectrum.data());
    }
}

// Of the transforms that the sub-filters fit, the one that takes the least work for a frame. Blocks are kept
// short enough for the delay and for the memory, but not so short that it is all overlap.
LongFilter::Sizes LongFilter::ChooseSizes(const FreqConvDesign& design) {
    Sizes best{};
    best.reach = (design.longFilter.length / 2 + design.streams - 1) / design.streams;
    best.reach += best.reach % kReachMultiple;
    const auto longest = static_cast<int64_t>(kLongestDelay * static_cast<double>(design.longRate));
    const int64_t wanted = std::min(longest - best.reach - kShortReach, kMostPoints - 2 * best.reach);
    const int64_t allowed = std::max({wanted, best.reach, kLeastBlock});
    double least = HUGE_VAL;
    for (int64_t points = 2 * best.reach / kPointMultiple * kPointMultiple;; points += kPointMultiple) {
        const int64_t block = (points - 2 * best.reach) / kBlockMultiple * kBlockMultiple;
        if (block > allowed && best.points > 0) return best;
        if (block <= 0 || !FFTGrid::Takes(points)) continue;
        const double work = static_cast<double>(points) * std::log2(points) / static_cast<double>(block);
        if (work >= least) continue;
        least = work;
        best.points = points;
        best.block = block;
    }
}

void LongFilter::TransformAndAdd(double* frames, size_t stream, double* sum) {
    std::fill(frames + 2 * sizes_.block, frames + SpectrumSize(), 0.0);
    Transform(frames, frames);
    stream == 0 ? Multiply(spectra_[stream], frames, sum) : AddProduct(spectra_[stream], frames, sum);
}

void LongFilter::TransformBack(const double* sum, double* frames) {
    grid_.Inverse(sum, frames, 0, sizes_.points, work_.data());
}

void LongFilter::Transform(const double* frames, double* spectrum) {
    grid_.Forward(frames, spectrum, work_.data());
}

void LongFilter::TransformBackTo(size_t stream, const double* spectrum, double* product, double* frames) {
    Multiply(spectra_[stream], spectrum, product);
    const int64_t first = 2 * sizes_.reach;
    grid_.Inverse(product, product, first, first + sizes_.block, work_.data());
    const double* from = product;
    double* to = frames + 2 * stream;
    for (int64_t i = 0; i < sizes_.block; ++i, from += 2, to += 2 * Streams()) std::copy_n(from, 2, to);
}

OverlapFreqConv::OverlapFreqConv(const FreqConvDesign& design, int channels)
    : FreqConvEngine(channels), design_(design), shortFilter_(design), longFilter_(design),
      work_(longFilter_.SpectrumSize()), sum_(longFilter_.SpectrumSize()) {
    Restart();
}

void OverlapFreqConv::RestartPairs(size_t pairs) { pairs_.assign(pairs, StartOfPair()); }

OverlapFreqConv::Pair OverlapFreqConv::StartOfPair() const {
    const auto reach = longFilter_.Reach();
    if (!design_.shortFirst) {
        const int64_t first = -static_cast<int64_t>(longFilter_.Streams()) * reach;
        return {
            FrameWindow(first, first), {shortFilter_.WalkFrom(0)}, Numbers(longFilter_.SpectrumSize(), 0.0)};
    }
    // The long filter's first output takes frames from its reach before the start on.
    std::vector<PolyphaseFilter::Walk> walks;
    for (int64_t stream = 0; stream < design_.streams; ++stream) {
        walks.push_back(shortFilter_.WalkFrom(stream * design_.streamStep - reach * design_.step));
    }
    return {FrameWindow(walks.front().window, 0), walks, Numbers(static_cast<size_t>(4 * reach), 0.0)};
}

int64_t OverlapFreqConv::Needed(int64_t blocks) const {
    const int64_t frames = blocks * longFilter_.Block();
    if (!design_.shortFirst) return frames;
    if (blocks == 0) return 0;
    return shortFilter_.InputsFor(frames - longFilter_.Reach() - 1,
                                  (design_.streams - 1) * design_.streamStep);
}

int64_t OverlapFreqConv::Produced(int64_t blocks) const {
    const int64_t frames = blocks * longFilter_.Block();
    if (design_.shortFirst) return std::max<int64_t>(0, frames - 2 * longFilter_.Reach());
    return shortFilter_.OutputsOf(design_.streams * (frames - longFilter_.Reach()));
}

double* OverlapFreqConv::InputOf(size_t pair, int64_t frames) {
    if (design_.shortFirst) return pairs_[pair].shortInput.Append(frames);
    return pairs_[pair].longHistory.data() + 4 * longFilter_.Reach();
}

const double* OverlapFreqConv::Convert(size_t pair, int64_t frames) {
    return design_.shortFirst ? ShortFirst(pairs_[pair], frames) : LongFirst(pairs_[pair], frames);
}

// Overlap-add: the long filter's outputs reach into the next block.
const double* OverlapFreqConv::ShortFirst(Pair& pair, int64_t outFrames) {
    const int64_t block = longFilter_.Block();
    for (size_t stream = 0; stream < pair.walks.size(); ++stream) {
        shortFilter_.Run(pair.shortInput, pair.walks[stream], block, work_.data());
        longFilter_.TransformAndAdd(work_.data(), stream, sum_.data());
    }
    pair.shortInput.DropBefore(pair.walks.front().window);
    longFilter_.TransformBack(sum_.data(), work_.data());
    Numbers& overlap = pair.longHistory;
    for (size_t i = 0; i < overlap.size(); ++i) work_[i] += overlap[i];
    std::copy_n(work_.begin() + 2 * block, overlap.size(), overlap.begin());
    return work_.data() + 2 * (block - outFrames);
}

// Overlap-save: the long filter takes the inputs of the last block once more. What wraps around in its
// transform comes out before the block.
const double* OverlapFreqConv::LongFirst(Pair& pair, int64_t outFrames) {
    const int64_t block = longFilter_.Block();
    const int64_t overlap = 2 * longFilter_.Reach();
    Numbers& history = pair.longHistory;
    longFilter_.Transform(history.data(), sum_.data());
    std::copy_n(history.begin() + 2 * block, 2 * overlap, history.begin());

    const size_t streams = longFilter_.Streams();
    double* const between = pair.shortInput.Append(block * static_cast<int64_t>(streams));
    for (size_t stream = 0; stream < streams; ++stream) {
        longFilter_.TransformBackTo(stream, sum_.data(), work_.data(), between);
    }
    pairOut_.resize(static_cast<size_t>(2 * outFrames));
    shortFilter_.Run(pair.shortInput, pair.walks.front(), outFrames, pairOut_.data());
    pair.shortInput.DropBefore(pair.walks.front().window);
    return pairOut_.data();
}
