#include "audio/resample/SpectralFreqConv.h"

#include "audio/fft/VectorComplex.h"

#include <algorithm>
#include <cmath>

namespace w64 {

using namespace fft;

namespace {

constexpr double kUsualDelay = FreqConvLimits().maxDelay;  // seconds, of sources from kUsualRate up
constexpr double kMaxDelayAtLowRates = 1.0;
constexpr double kUsualRate = 44100;    // Hz
constexpr double kMinResponse = 1e-15;  // a double would not show less

constexpr double kCachedPoints = 24576;  // of transforms that a second-level cache of 2 MiB holds

constexpr int64_t kMaxSamples = int64_t{1} << 17;  // of the short filter's response

// Tiles from 0 to the stop-band edge of a filter.
int64_t PassBandTiles(const LowPass& filter, int64_t tilesOfRate) {
    const double share = filter.StopEdge() / static_cast<double>(filter.rate);
    if (share >= 0.5) return tilesOfRate / 2;
    return static_cast<int64_t>(share * static_cast<double>(tilesOfRate)) + 1;
}

// About the time that a transform takes, and what is done to its points besides. A larger one waits for the third-level
// cache.
double WorkOn(int64_t points) {
    const auto count = static_cast<double>(points);
    return count * (5 + std::log2(count)) * std::clamp(count / kCachedPoints, 1.0, 1.8);
}

// Eight floats.
using Floats = float __attribute__((vector_size(32)));
using FloatsInMemory [[gnu::aligned(4), gnu::may_alias]] = Floats;
using FourFloats = float __attribute__((vector_size(16)));
using FourFloatsInMemory [[gnu::aligned(4), gnu::may_alias]] = FourFloats;
static_assert(alignof(FloatsInMemory) == 4 && alignof(FourFloatsInMemory) == 4);

W64_INLINE Floats LoadFloats(const float* from) { return *reinterpret_cast<const FloatsInMemory*>(from); }
W64_INLINE Vector LoadAsDoubles(const float* from) {
    return __builtin_convertvector(FourFloats(*reinterpret_cast<const FourFloatsInMemory*>(from)), Vector);
}
W64_INLINE void StoreAsFloats(float* to, const Vector& value) {
    *reinterpret_cast<FourFloatsInMemory*>(to) = __builtin_convertvector(value, FourFloats);
}

// Sums of a tile's bins.
template <int64_t kTile>
struct Tile {
    Floats re[kTile / kFloats];
    Floats im[kTile / kFloats];

    // Adds the tile of a source times a response.
    template <class Response>
    W64_INLINE void Add(const float* source, Response response) {
        for (int64_t i = 0; i < kTile / kFloats; ++i) {
            const Floats by = response.Next();
            re[i] += by * LoadFloats(source + kFloats * i);
            im[i] += by * LoadFloats(source + kFloats * i + kTile);
        }
    }

    W64_INLINE void Multiply(const float* response) {
        for (int64_t i = 0; i < kTile / kFloats; ++i) {
            const Floats by = LoadFloats(response + kFloats * i);
            re[i] *= by;
            im[i] *= by;
        }
    }

    W64_INLINE Complex At(int64_t k) const {
        return {LoadAsDoubles(reinterpret_cast<const float*>(re) + k),
                LoadAsDoubles(reinterpret_cast<const float*>(im) + k)};
    }
};

struct SpectraView {
    int64_t inPoints;
    int64_t outPoints;
    const double* in;
    const double* passBand;
    double* out;
    float* inTiles;
    float* outTiles;  // null for images of the input
    const float* longResponse;
    const SpectralTiles& tiles;

    // The input bin at the same frequency as output bin k, which is negative from half the points on.
    W64_INLINE int64_t InputBin(int64_t k) const {
        return (k < outPoints / 2 ? k : k + outPoints * (inPoints - 1)) % inPoints;
    }
};

W64_INLINE Complex InPassBand(const SpectraView& view, int64_t from, int64_t k) {
    const Vector by = LoadVector(view.passBand + k);
    const Complex value = LoadGroup(view.in + 2 * from);
    return {by * value.re, by * value.im};
}

template <int64_t kTile>
W64_INLINE void StoreInTile(const Complex& value, float* to) {
    StoreAsFloats(to, value.re);
    StoreAsFloats(to + kTile, value.im);
}

template <int64_t kTile>
W64_INLINE void FillTilesOf(const SpectraView& view) {
    for (int64_t tile = 0; tile < view.inPoints / kTile; ++tile) {
        float* const to = view.inTiles + view.tiles.inOrder.PlaceOf(tile);
        for (int64_t k = 0; k < kTile; k += kLanes) {
            StoreInTile<kTile>(LoadGroup(view.in + 2 * (tile * kTile + k)), to + k);
        }
    }
    if (!view.outTiles) return;
    for (int64_t tile = 0; tile < view.outPoints / kTile; ++tile) {
        float* const to = view.outTiles + view.tiles.outOrder.PlaceOf(tile);
        const int64_t first = tile * kTile;
        const int64_t from = view.InputBin(first);
        for (int64_t k = 0; k < kTile; k += kLanes) {
            StoreInTile<kTile>(InPassBand(view, from + k, first + k), to + k);
        }
    }
}

W64_VECTOR_CLONES void FillTiles(const SpectraView& view) {
    if (view.tiles.inOrder.bins == kWideTile) return FillTilesOf<kWideTile>(view);
    FillTilesOf<kNarrowTile>(view);
}

// Responses to multiply images and aliases with, eight bins at a time.
struct CurvedResponse {
    Floats at;
    Floats slope;
    float curvature;

    W64_INLINE explicit CurvedResponse(const SpectralTiles::Image& image) : curvature(image.curvature) {
        const Floats u = Floats{0, 1, 2, 3, 4, 5, 6, 7} / kFloats;
        at = image.start + u * image.slope + u * u / 2 * curvature;
        slope = image.slope + (u + 0.5F) * curvature;
    }

    W64_INLINE Floats Next() {
        const Floats responses = at;
        at += slope;
        slope += curvature;
        return responses;
    }
};
struct TabledResponse {
    const float* at;

    W64_INLINE Floats Next() {
        const Floats responses = LoadFloats(at);
        at += kFloats;
        return responses;
    }
};

template <int64_t kTile>
W64_INLINE void MultiplyTiles(const SpectraView& view) {
    const float* const images = view.outTiles ? view.outTiles : view.inTiles;
    const SpectralTiles::Image* image = view.tiles.images.data();
    const int32_t* alias = view.tiles.aliases.data();
    const float* responses = view.tiles.responses.data();
    for (const auto [firstBin, passes, imageCount, aliasCount] : view.tiles.sums) {
        Tile<kTile> sum = {};
        for (const SpectralTiles::Image* const end = image + imageCount; image != end; ++image) {
            sum.Add(images + image->place, CurvedResponse(*image));
        }
        if (imageCount > 0 && !view.outTiles) sum.Multiply(view.longResponse + firstBin);
        for (const int32_t* const end = alias + aliasCount; alias != end; ++alias, responses += kTile) {
            sum.Add(view.inTiles + *alias, TabledResponse{responses});
        }
        const int64_t inputBin = view.InputBin(firstBin);
        for (int64_t k = 0; k < kTile; k += kLanes) {
            const Complex stopped = sum.At(k);
            StoreGroup(view.out + 2 * (firstBin + k),
                       passes ? InPassBand(view, inputBin + k, firstBin + k) + stopped : stopped);
        }
    }
}

W64_VECTOR_CLONES void MultiplySpectra(const SpectraView& view) {
    if (view.tiles.inOrder.bins == kWideTile) return MultiplyTiles<kWideTile>(view);
    MultiplyTiles<kNarrowTile>(view);
}

}  // namespace

std::optional<SpectralFreqConv::Block>
SpectralFreqConv::ChooseBlock(const FreqConvDesign& design, int channels, double maxDelay, int64_t tile) {
    const LowPass& shortFilter = design.shortFilter;
    if (SmoothResponse::SamplesFor(shortFilter) > kMaxSamples) return std::nullopt;
    Block block{
        design.step, design.shortFirst ? design.phases : design.phases * design.branches, tile, 0, 0, 1, 0};
    const int64_t spacing = (design.shortFirst ? block.inPeriod : block.outPeriod) / design.branches;
    const int64_t reach = shortFilter.length / 2 + design.longFilter.length / 2 * spacing;
    const int64_t period = block.inPeriod * block.outPeriod;
    block.margin = (reach + period - 1) / period;

    const double periodsPerSecond = static_cast<double>(design.longRate) /
                                    static_cast<double>(design.shortFirst ? block.outPeriod : block.inPeriod);
    const double sourceRate = periodsPerSecond * static_cast<double>(block.inPeriod);
    const double usual = std::clamp(kUsualDelay * kUsualRate / sourceRate, kUsualDelay, kMaxDelayAtLowRates);
    const double allowed = maxDelay * 2 / std::max(channels, 2);  // more channels take the memory of two
    const auto delay = static_cast<int64_t>(std::max(usual, allowed) * periodsPerSecond);

    // Both spectra must consist of whole tiles, half of them at negative frequencies.
    std::optional<Block> best;
    const int64_t maxPeriods = kMaxPoints / std::max(block.inPeriod, block.outPeriod);
    for (block.hops = 1; block.hops <= 2; ++block.hops) {
        const int64_t pairs = (channels * block.hops + 1) / 2;
        for (block.periods = 2 * tile; block.periods <= maxPeriods; block.periods += 2 * tile) {
            if (block.FirstNeeded() > delay) break;
            if (block.Hop() <= 0 || !FFTGrid::Takes(block.InPoints()) || !FFTGrid::Takes(block.OutPoints()))
                continue;
            block.work = static_cast<double>(pairs) * (WorkOn(block.InPoints()) + WorkOn(block.OutPoints())) /
                         static_cast<double>(block.hops * block.Hop());
            if (!best || block.work < best->work) best = block;
        }
    }
    return best;
}

std::unique_ptr<SpectralFreqConv> SpectralFreqConv::Create(const FreqConvDesign& design, int channels,
                                                           const FreqConvLimits& limits) {
    std::optional<Block> block = ChooseBlock(design, channels, limits.maxDelay, kWideTile);
    // Where more images fall onto a bin, a narrow tile takes longer than the filters one after the other.
    constexpr int64_t kMaxImages = 100;
    constexpr double kNarrowWork = 1.3;  // times that of wide tiles
    const int64_t images =
        (design.shortFirst ? design.step : design.phases * design.branches) / design.branches;
    if (images <= kMaxImages) {
        const std::optional<Block> narrow = ChooseBlock(design, channels, limits.maxDelay, kNarrowTile);
        if (!block || (narrow && kNarrowWork * narrow->work < block->work)) block = narrow;
    }
    if (!block) return nullptr;
    return std::unique_ptr<SpectralFreqConv>(new SpectralFreqConv(design, *block, limits.threads));
}

SpectralFreqConv::SpectralFreqConv(const FreqConvDesign& design, const Block& block, int threads)
    : block_(block), imagesOfInput_(design.shortFirst) {
    Design(design);
    for (int i = 0; i < threads; ++i) desks_.push_back(NewDesk());
}

SpectralFreqConv::Desk SpectralFreqConv::NewDesk() const {
    const auto in = static_cast<size_t>(2 * block_.InPoints());
    const auto out = static_cast<size_t>(2 * block_.OutPoints());
    return {FFTGrid(block_.InPoints()),
            FFTGrid(block_.OutPoints()),
            AlignedDoubles(in),
            AlignedDoubles(out),
            AlignedDoubles(std::max(in, out)),
            AlignedFloats(in),
            AlignedFloats(imagesOfInput_ ? 0 : out)};
}

void SpectralFreqConv::Design(const FreqConvDesign& design) {
    const int64_t inPoints = block_.InPoints();
    const int64_t outPoints = block_.OutPoints();
    const int64_t longPoints = design.branches * (imagesOfInput_ ? outPoints : inPoints);
    const int64_t commonPoints = inPoints * block_.outPeriod;
    // 1 / N. The gains of both filters together are outPeriod.
    const double gain = design.longScale * static_cast<double>(design.phases) /
                        static_cast<double>(block_.inPeriod * outPoints);
    const SmoothResponse shortResponse(design.shortFilter, gain, static_cast<double>(commonPoints));
    const AlignedDoubles longResponse = ResponseOf(design.longFilter, 1, longPoints);

    const int64_t tile = block_.tile;
    const SpectralTiles::Sizes sizes = {tile,
                                        inPoints / tile,
                                        outPoints / tile,
                                        commonPoints / tile,
                                        PassBandTiles(design.longFilter, longPoints / tile),
                                        PassBandTiles(design.shortFilter, commonPoints / tile)};
    passBand_.resize(static_cast<size_t>(outPoints));
    longResponse_.resize(passBand_.size());
    const int64_t passing = std::min(sizes.longPassBand * tile, outPoints / 2) + 1;
    const AlignedDoubles passBandOfShort = shortResponse.Precise(passing, 1);
    for (int64_t k = 0; k < passing; ++k) {
        const double ofLong = longResponse[static_cast<size_t>(k % longPoints)];
        const double ofShort = passBandOfShort[static_cast<size_t>(k)];
        for (const int64_t either : {k, (outPoints - k) % outPoints}) {
            passBand_[static_cast<size_t>(either)] = ofLong * ofShort;
            longResponse_[static_cast<size_t>(either)] = static_cast<float>(ofLong);
        }
    }
    tiles_ = SpectralTiles::List(sizes, imagesOfInput_, longResponse, shortResponse, kMinResponse * gain);
}

int64_t SpectralFreqConv::Needed(int64_t blocks) const {
    if (blocks == 0) return 0;
    return ((blocks - 1) * block_.hops * block_.Hop() + block_.FirstNeeded()) * block_.inPeriod;
}

int64_t SpectralFreqConv::Produced(int64_t blocks) const {
    return blocks * block_.hops * block_.Hop() * block_.outPeriod;
}

int64_t SpectralFreqConv::History(int64_t block) const {
    return (block == 0 ? 1 : 2) * block_.margin * block_.inPeriod;
}

const double* SpectralFreqConv::Convert(size_t thread, size_t /*pair*/, const double* in, int64_t /*frames*/,
                                        int64_t outFrames) {
    Desk& desk = desks_[thread];
    desk.inGrid.Forward(in, desk.in.data(), desk.work.data());
    const SpectraView view = {block_.InPoints(),
                              block_.OutPoints(),
                              desk.in.data(),
                              passBand_.data(),
                              desk.out.data(),
                              desk.inTiles.data(),
                              imagesOfInput_ ? nullptr : desk.outTiles.data(),
                              longResponse_.data(),
                              tiles_};
    FillTiles(view);
    MultiplySpectra(view);
    const int64_t first = block_.margin * block_.outPeriod;
    const int64_t aligned = first / kLanes * kLanes;
    const int64_t end = (first + outFrames + kLanes - 1) / kLanes * kLanes;
    desk.outGrid.Inverse(desk.out.data(), desk.out.data(), aligned, end, desk.work.data());
    return desk.out.data() + 2 * (first - aligned);
}

}  // namespace w64
