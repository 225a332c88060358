#include "audio/resample/SpectralFreqConv.h"

#include "audio/fft/VectorComplex.h"

#include <algorithm>

namespace w64 {

using namespace fft;

namespace {

// Responses of the stop bands below these are left out.
constexpr double kExact = 1e-15;  // a double would not show less
constexpr double kInexact = 1e-10;

constexpr int64_t kMaxSamples = int64_t{1} << 17;  // of the short filter's response

// Tiles from 0 to the stop-band edge of a filter.
int64_t PassBandTiles(const LowPass& filter, int64_t tilesOfRate) {
    const double share = filter.StopEdge() / static_cast<double>(filter.rate);
    if (share >= 0.5) return tilesOfRate / 2;
    return static_cast<int64_t>(share * static_cast<double>(tilesOfRate)) + 1;
}

struct FourFloats {
    using Vector = float __attribute__((vector_size(16)));
    using InMemory [[gnu::aligned(4), gnu::may_alias]] = Vector;
};
struct EightFloats {
    using Vector = float __attribute__((vector_size(32)));
    using InMemory [[gnu::aligned(4), gnu::may_alias]] = Vector;
    static constexpr int64_t kCount = 8;
};
struct SixteenFloats {
    using Vector = float __attribute__((vector_size(64)));
    using InMemory [[gnu::aligned(4), gnu::may_alias]] = Vector;
    static constexpr int64_t kCount = 16;
};
static_assert(alignof(FourFloats::InMemory) == 4 && alignof(EightFloats::InMemory) == 4 &&
              alignof(SixteenFloats::InMemory) == 4);

template <class Floats>
W64_INLINE typename Floats::Vector LoadFloats(const float* from) {
    return *reinterpret_cast<const typename Floats::InMemory*>(from);
}
W64_INLINE Vector LoadAsDoubles(const float* from) {
    return __builtin_convertvector(LoadFloats<FourFloats>(from), Vector);
}
W64_INLINE void StoreAsFloats(float* to, const Vector& value) {
    *reinterpret_cast<FourFloats::InMemory*>(to) = __builtin_convertvector(value, FourFloats::Vector);
}

// Sums of a tile's bins.
template <int64_t kTile, class Floats>
struct Tile {
    static constexpr int64_t kCount = Floats::kCount;

    typename Floats::Vector re[kTile / kCount];
    typename Floats::Vector im[kTile / kCount];

    // Adds the tile of a source times a response.
    template <class Response>
    W64_INLINE void Add(const float* source, Response response) {
        for (int64_t i = 0; i < kTile / kCount; ++i) {
            const typename Floats::Vector by = response.Next();
            re[i] += by * LoadFloats<Floats>(source + kCount * i);
            im[i] += by * LoadFloats<Floats>(source + kCount * i + kTile);
        }
    }

    W64_INLINE void Multiply(const float* response) {
        for (int64_t i = 0; i < kTile / kCount; ++i) {
            const typename Floats::Vector by = LoadFloats<Floats>(response + kCount * i);
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
    int64_t channels;
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

    // Four input bins. Of one channel, those above half the rate are the conjugates of those below.
    W64_INLINE Complex LoadInput(int64_t k) const {
        if (channels == 2 || k < inPoints / 2) return LoadGroup(in + 2 * k);
        const double* const mirror = in + 2 * (inPoints - k);
        return Conjugate(Backwards(LoadGroup(mirror), LoadGroup(mirror - kGroup)));
    }
};

W64_INLINE Complex InPassBand(const SpectraView& view, int64_t from, int64_t k) {
    const Vector by = LoadVector(view.passBand + k);
    const Complex value = view.LoadInput(from);
    return {by * value.re, by * value.im};
}

template <int64_t kTile>
W64_INLINE void StoreInTile(const Complex& value, float* to) {
    StoreAsFloats(to, value.re);
    StoreAsFloats(to + kTile, value.im);
}

// All tiles of a spectrum, four bins at a time. Of one channel, the upper half is the conjugate of the lower one.
template <int64_t kTile, class Bins>
W64_INLINE void FillTilesWith(const TileOrder& order, int64_t channels, Bins bins, float* tiles) {
    const int64_t given = order.tiles * channels / 2 * kTile;
    TileOrder::Place place(order);
    for (int64_t first = 0; first < given; first += kTile, ++place) {
        float* const to = tiles + *place;
        for (int64_t k = 0; k < kTile; k += kLanes) StoreInTile<kTile>(bins(first + k), to + k);
    }
    if (channels == 2) return;
    Complex last = bins(given);
    for (int64_t mirror = given; mirror > 0; ++place) {
        float* const to = tiles + *place;
        for (int64_t k = 0; k < kTile; k += kLanes) {
            mirror -= kLanes;
            const Complex next = bins(mirror);
            StoreInTile<kTile>(Conjugate(Backwards(last, next)), to + k);
            last = next;
        }
    }
}

template <int64_t kTile>
W64_INLINE void FillTilesOf(const SpectraView& view) {
    const auto inputBins = [&](int64_t k) { return LoadGroup(view.in + 2 * k); };
    const auto passBandBins = [&](int64_t k) { return InPassBand(view, view.InputBin(k), k); };
    FillTilesWith<kTile>(view.tiles.inOrder, view.channels, inputBins, view.inTiles);
    if (view.outTiles) FillTilesWith<kTile>(view.tiles.outOrder, view.channels, passBandBins, view.outTiles);
}

W64_VECTOR_CLONES void FillTiles(const SpectraView& view) {
    if (view.tiles.inOrder.bins == kWideTile) return FillTilesOf<kWideTile>(view);
    FillTilesOf<kNarrowTile>(view);
}

// Responses to multiply images and aliases with, a vector of bins at a time.
template <class Floats>
struct CurvedResponse {
    typename Floats::Vector at;
    typename Floats::Vector rise;  // to the next vector of bins
    float bend;                    // how much that rises

    W64_INLINE explicit CurvedResponse(const SpectralTiles::Image& image) {
        constexpr float kSteps = float{Floats::kCount} / float{kStep};  // of a vector
        typename Floats::Vector u;
        for (int i = 0; i < Floats::kCount; ++i) u[i] = static_cast<float>(i) / float{kStep};
        at = image.start + u * image.slope + u * u / 2 * image.curvature;
        rise = kSteps * (image.slope + (u + kSteps / 2) * image.curvature);
        bend = kSteps * kSteps * image.curvature;
    }

    W64_INLINE typename Floats::Vector Next() {
        const typename Floats::Vector responses = at;
        at += rise;
        rise += bend;
        return responses;
    }
};
template <class Floats>
struct TabledResponse {
    const float* at;

    W64_INLINE typename Floats::Vector Next() {
        const typename Floats::Vector responses = LoadFloats<Floats>(at);
        at += Floats::kCount;
        return responses;
    }
};

template <int64_t kTile, class Floats>
W64_INLINE void MultiplyTiles(const SpectraView& view) {
    const float* const images = view.outTiles ? view.outTiles : view.inTiles;
    const SpectralTiles::Image* image = view.tiles.images.data();
    const int32_t* alias = view.tiles.aliases.data();
    const float* responses = view.tiles.responses.data();
    for (const auto [firstBin, passes, imageCount, aliasCount] : view.tiles.sums) {
        Tile<kTile, Floats> sum = {};
        for (const SpectralTiles::Image* const end = image + imageCount; image != end; ++image) {
            sum.Add(images + image->place, CurvedResponse<Floats>(*image));
        }
        if (imageCount > 0 && !view.outTiles) sum.Multiply(view.longResponse + firstBin);
        for (const int32_t* const end = alias + aliasCount; alias != end; ++alias, responses += kTile) {
            sum.Add(view.inTiles + *alias, TabledResponse<Floats>{responses});
        }
        const int64_t inputBin = view.InputBin(firstBin);
        for (int64_t k = 0; k < kTile; k += kLanes) {
            const Complex stopped = sum.At(k);
            StoreGroup(view.out + 2 * (firstBin + k),
                       passes ? InPassBand(view, inputBin + k, firstBin + k) + stopped : stopped);
        }
    }
}

W64_VECTOR_CLONES void MultiplyByEights(const SpectraView& view) {
    if (view.tiles.inOrder.bins == kWideTile) return MultiplyTiles<kWideTile, EightFloats>(view);
    MultiplyTiles<kNarrowTile, EightFloats>(view);
}

W64_AVX512 void MultiplyBySixteens(const SpectraView& view) { MultiplyTiles<kWideTile, SixteenFloats>(view); }

void MultiplySpectra(const SpectraView& view) {
    if (view.tiles.inOrder.bins == kWideTile && HasAVX512()) return MultiplyBySixteens(view);
    MultiplyByEights(view);
}

}  // namespace

std::unique_ptr<SpectralFreqConv> SpectralFreqConv::Create(const FreqConvDesign& design, int channels,
                                                           const FreqConvLimits& limits) {
    if (SmoothResponse::SamplesFor(design.shortFilter) > kMaxSamples) return nullptr;
    const std::optional<SpectralBlock> block = SpectralBlock::Choose(design, channels, limits);
    if (!block) return nullptr;
    return std::unique_ptr<SpectralFreqConv>(new SpectralFreqConv(design, *block, limits.threads));
}

SpectralFreqConv::SpectralFreqConv(const FreqConvDesign& design, const SpectralBlock& block, int threads)
    : block_(block), imagesOfInput_(design.shortFirst) {
    Design(design);
    for (int i = 0; i < threads; ++i) desks_.push_back(NewDesk());
}

SpectralFreqConv::Desk SpectralFreqConv::NewDesk() const {
    const int64_t channels = block_.channels;
    const auto in = static_cast<size_t>(block_.InPoints());
    const auto out = static_cast<size_t>(block_.OutPoints());
    const auto width = static_cast<size_t>(channels);
    Desk desk = {ChannelGrid(block_.InPoints(), channels),
                 ChannelGrid(block_.OutPoints(), channels),
                 AlignedDoubles(in * width + kGroup),
                 AlignedDoubles(out * width + static_cast<size_t>(2 * block_.tile)),
                 AlignedDoubles(std::max(in, out) * width),
                 AlignedFloats(2 * in),
                 AlignedFloats(imagesOfInput_ ? 0 : 2 * out),
                 {}};
    // At the lower rate of each half-band filter of the input; at the higher one of the output.
    int64_t frames = block_.inHalvings > 0 ? block_.InFrames() / 2 : block_.OutFrames();
    for (size_t i = 0; i < block_.halfBands.size(); ++i, frames /= 2) {
        desk.rates.emplace_back(static_cast<size_t>(frames * channels), 0.0);
    }
    return desk;
}

void SpectralFreqConv::Design(const FreqConvDesign& design) {
    const int64_t outPoints = block_.OutPoints();
    const int64_t longFrames = block_.LongFrames(design);
    const int64_t commonPoints = block_.periods * block_.gridPeriod;
    const int64_t every = int64_t{1} << block_.halfBands.size();
    const double gain = 1 / static_cast<double>(block_.InPoints());
    const SmoothResponse shortResponse(design.shortFilter, gain, commonPoints);
    const AlignedDoubles longResponse =
        ResponseOf(design.longFilter, static_cast<double>(every), block_.LongPoints(design), every);

    const int64_t tile = block_.tile;
    const SpectralTiles::Sizes sizes = {block_.channels,
                                        tile,
                                        block_.InFrames() / tile,
                                        block_.OutFrames() / tile,
                                        block_.InPoints() / tile,
                                        outPoints / tile,
                                        longFrames / tile,
                                        commonPoints / tile,
                                        PassBandTiles(design.longFilter, longFrames / tile),
                                        PassBandTiles(design.shortFilter, commonPoints / tile)};
    passBand_.resize(static_cast<size_t>(outPoints * block_.channels / 2 + tile));
    longResponse_.resize(passBand_.size());
    const int64_t passing = std::min(sizes.longPassBand * tile, outPoints / 2) + 1;
    const AlignedDoubles passBandOfShort = shortResponse.Precise(passing);
    for (int64_t k = 0; k < passing; ++k) {
        const double ofLong = longResponse[static_cast<size_t>(k)];
        const double ofShort = passBandOfShort[static_cast<size_t>(k)];
        for (const int64_t either : {k, (outPoints - k) % outPoints}) {
            if (either >= std::ssize(passBand_)) continue;
            passBand_[static_cast<size_t>(either)] = ofLong * ofShort;
            longResponse_[static_cast<size_t>(either)] = static_cast<float>(ofLong);
        }
    }
    const double minResponse = block_.isExact ? kExact : kInexact;
    tiles_ = SpectralTiles::List(sizes, imagesOfInput_, longResponse, shortResponse, minResponse * gain);
}

int64_t SpectralFreqConv::Needed(int64_t blocks) const {
    if (blocks == 0) return 0;
    return ((blocks - 1) * block_.Hop() + block_.FirstNeeded()) * block_.inPeriod;
}

int64_t SpectralFreqConv::Produced(int64_t blocks) const { return blocks * block_.Hop() * block_.outPeriod; }

int64_t SpectralFreqConv::History(int64_t block) const {
    return (block == 0 ? 1 : 2) * block_.margin * block_.inPeriod;
}

const double* SpectralFreqConv::Convert(size_t thread, size_t /*number*/, const double* in,
                                        int64_t /*frames*/, int64_t outFrames) {
    Desk& desk = desks_[thread];
    desk.inGrid.Forward(Halve(desk, in), desk.in.data(), desk.work.data());
    const SpectraView view = {block_.channels,      block_.InPoints(),
                              block_.OutPoints(),   desk.in.data(),
                              passBand_.data(),     desk.out.data(),
                              desk.inTiles.data(),  imagesOfInput_ ? nullptr : desk.outTiles.data(),
                              longResponse_.data(), tiles_};
    FillTiles(view);
    MultiplySpectra(view);
    const int64_t first = block_.margin * block_.outPeriod;
    const int64_t reach = block_.outHalvings > 0 ? block_.HalfBandReach() : 0;
    const int64_t from = ((first - reach) >> block_.outHalvings) / kGroup * kGroup;
    const int64_t end = ((first + outFrames + reach) >> block_.outHalvings) / kGroup * kGroup + kGroup;
    desk.outGrid.Inverse(desk.out.data(), desk.out.data(), from, end, desk.work.data());
    return Double(desk, desk.out.data(), end - from) +
           (first - (from << block_.outHalvings)) * block_.channels;
}

const double* SpectralFreqConv::Halve(Desk& desk, const double* in) const {
    int64_t frames = block_.InFrames();
    for (size_t i = 0; i < static_cast<size_t>(block_.inHalvings); ++i, frames /= 2) {
        block_.halfBands[i].Halve(in, frames, desk.rates[i].data());
        in = desk.rates[i].data();
    }
    return in;
}

const double* SpectralFreqConv::Double(Desk& desk, const double* frames, int64_t count) const {
    for (auto i = static_cast<size_t>(block_.outHalvings); i-- > 0; count *= 2) {
        block_.halfBands[i].Double(frames, count, desk.rates[i].data());
        frames = desk.rates[i].data();
    }
    return frames;
}

}  // namespace w64
