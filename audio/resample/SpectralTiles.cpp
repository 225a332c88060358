#include "audio/resample/SpectralTiles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

namespace w64 {

namespace {

int64_t Wrapped(int64_t tile, int64_t tiles) {
    const int64_t rest = tile % tiles;
    return rest < 0 ? rest + tiles : rest;
}

// A tile's number in a spectrum of `tiles`, from -tiles / 2 on.
int64_t Centred(int64_t tile, int64_t tiles) {
    const int64_t wrapped = Wrapped(tile, tiles);
    return wrapped < tiles / 2 ? wrapped : wrapped - tiles;
}

bool IsWithin(int64_t tile, int64_t tiles) { return -tiles <= tile && tile < tiles; }

double Larger(double a, double b) { return std::max(std::abs(a), std::abs(b)); }

// Of the magnitudes; four at a time, so that none waits for the one before.
double LargestOf(std::span<const double> values) {
    std::array<double, 4> largest{};
    for (; values.size() >= largest.size(); values = values.subspan(largest.size())) {
        for (size_t i = 0; i < largest.size(); ++i) largest[i] = Larger(largest[i], values[i]);
    }
    for (const double value : values) largest[0] = Larger(largest[0], value);
    return std::max(std::max(largest[0], largest[1]), std::max(largest[2], largest[3]));
}

std::vector<int32_t> PlacesIn(const TileOrder& order) {
    std::vector<int32_t> places;
    places.reserve(static_cast<size_t>(order.tiles));
    for (TileOrder::Place place(order); std::ssize(places) < order.tiles; ++place) places.push_back(*place);
    return places;
}

// For each output tile, goes through the tiles of the common grid that fall onto it: those a multiple of the
// output's period away.
class TileLister {
public:
    TileLister(const SpectralTiles::Sizes& sizes, bool imagesOfInput, std::span<const double> longResponse,
               const SmoothResponse& shortResponse, double threshold)
        : sizes_(sizes), steps_(static_cast<double>(sizes.tile) / static_cast<double>(kStep)),
          imagesOfInput_(imagesOfInput), longResponse_(longResponse), threshold_(threshold),
          corners_(shortResponse.Rough(0, sizes.shortPassBand + 2, sizes.tile)) {
        const int64_t apart = std::gcd(sizes.longPeriod, imagesOfInput ? sizes.keptIn : sizes.keptOut);
        tiles_.inOrder = {sizes.tile, sizes.keptIn, imagesOfInput ? apart : 1};
        tiles_.outOrder = {sizes.tile, sizes.keptOut, apart};
        inPlaces_ = PlacesIn(tiles_.inOrder);
        outPlaces_ = PlacesIn(tiles_.outOrder);
        ListLargest();
        ListBands(shortResponse);
        ListSums(apart);
    }

    SpectralTiles Listed() { return std::move(tiles_); }

private:
    // The tiles around a multiple of the long filter's rate, where its response repeats the pass band.
    struct Band {
        int64_t inSource;       // the centre, in the spectrum that images are taken from
        int64_t inOut;          // likewise in the output's spectrum
        const double* corners;  // the short filter's response at the first bin of the tile at the centre
        std::ptrdiff_t step;    // to that of the next tile
    };

    // Of the long filter's response, in each tile and at its end.
    void ListLargest() {
        const auto bins = static_cast<size_t>(sizes_.tile);
        for (std::span<const double> left = longResponse_; left.size() > bins; left = left.subspan(bins)) {
            largest_.push_back(LargestOf(left.first(bins + 1)));
        }
    }

    // The short filter's response is symmetric, so bands above half its period repeat those below.
    void ListBands(const SmoothResponse& shortResponse) {
        const int64_t count = sizes_.common / sizes_.longPeriod;
        const int64_t reach =
            std::min(sizes_.longPassBand, sizes_.out / 2) + 2;  // a parabola takes two tiles more
        bandCorners_.resize(static_cast<size_t>(count / 2 + 1));
        for (int64_t i = 1; i < count; ++i) {
            const int64_t below = std::min(i, count - i);
            const int64_t centre = i * sizes_.longPeriod;
            const int64_t first = centre - reach;
            AlignedDoubles& corners = bandCorners_[static_cast<size_t>(below)];
            if (i == below && !IsNegligible(shortResponse, first, first + 2 * reach)) {
                corners = shortResponse.Rough(first, 2 * reach + 1, sizes_.tile);
            }
            if (corners.empty()) continue;
            bands_.push_back({imagesOfInput_ ? centre % sizes_.in : 0, centre % sizes_.out,
                              corners.data() + reach, i == below ? 1 : -1});
        }
    }

    // Those that share images one after the other.
    void ListSums(int64_t apart) {
        const int64_t half = sizes_.keptOut / 2;
        tiles_.sums.reserve(static_cast<size_t>(sizes_.keptOut));
        tiles_.images.reserve(2 * static_cast<size_t>(std::min(sizes_.longPassBand, half)) * bands_.size());
        for (int64_t first = 0; first < apart; ++first) {
            for (int64_t tile = first - half; tile < half; tile += apart) {
                if (sizes_.channels == 2 || tile >= 0 || tile == -half) AddSum(tile);
            }
        }
    }

    void AddSum(int64_t tile) {
        const bool passes = IsWithin(tile, sizes_.longPassBand);
        const int64_t first = Wrapped(tile, sizes_.keptOut) * sizes_.tile;
        tiles_.sums.push_back({static_cast<int32_t>(first), passes, 0, 0});
        if (passes) AddImages(tile);
        AddAliases(tile, passes);
    }

    void AddImages(int64_t tile) {
        // Pass-band terms have been multiplied with the short filter's response already, which is flat there.
        const double scale = imagesOfInput_ ? 1 : 1 / corners_[0];
        const std::vector<int32_t>& places = imagesOfInput_ ? inPlaces_ : outPlaces_;
        const double perStep = 1 / steps_;
        for (const Band& band : bands_) {
            int64_t from = tile - band.inOut;
            if (from < -sizes_.out / 2) from += sizes_.out;
            if (!IsWithin(from, sizes_.longPassBand)) continue;
            const auto cornerOf = [&](int64_t i) { return band.corners[(from + i) * band.step]; };
            const double start = cornerOf(0);
            const double end = cornerOf(1);
            if (IsNegligible(start, end, from)) continue;
            const double curvature = (cornerOf(-1) - start - end + cornerOf(2)) / 2 * perStep * perStep;
            const double slope = (end - start) * perStep - curvature * steps_ / 2;
            int64_t source = band.inSource + from;  // wrapped without a division, as there are many images
            while (source < 0) source += std::ssize(places);
            while (source >= std::ssize(places)) source -= std::ssize(places);
            tiles_.images.push_back({places[static_cast<size_t>(source)], static_cast<float>(start * scale),
                                     static_cast<float>(slope * scale),
                                     static_cast<float>(curvature * scale)});
            ++tiles_.sums.back().imageCount;
        }
    }

    // Around 0, where the short filter passes, without the pass band and the images.
    void AddAliases(int64_t tile, bool passes) {
        const int64_t first = Wrapped(tile + sizes_.shortPassBand, sizes_.out) - sizes_.shortPassBand;
        for (int64_t at = first; at < sizes_.shortPassBand; at += sizes_.out) {
            const int64_t inLong = Centred(at, sizes_.longPeriod);
            if (passes && IsWithin(inLong, sizes_.out / 2)) continue;
            const int64_t source = Centred(at, sizes_.in);
            if (!IsWithin(source, sizes_.keptIn / 2) || !IsWithin(inLong, std::ssize(largest_))) continue;
            const double start = CornerOf(at);
            const double end = CornerOf(at + 1);
            if (IsNegligible(start, end, inLong)) continue;
            tiles_.aliases.push_back(inPlaces_[static_cast<size_t>(Wrapped(source, sizes_.keptIn))]);
            AddResponses(start, end, inLong);
            ++tiles_.sums.back().aliasCount;
        }
    }

    void AddResponses(double start, double end, int64_t inLong) {
        const double slope = (end - start) / static_cast<double>(sizes_.tile);
        const int64_t first = inLong * sizes_.tile;
        for (int64_t k = 0; k < sizes_.tile; ++k) {
            const double ofLong = longResponse_[static_cast<size_t>(std::abs(first + k))];
            tiles_.responses.push_back(static_cast<float>((start + slope * static_cast<double>(k)) * ofLong));
        }
    }

    // The short filter's response at the first bin of a tile up to its pass band.
    double CornerOf(int64_t tile) const { return corners_[static_cast<size_t>(std::abs(tile))]; }

    // Whether the short filter leaves nothing of a band. A few of its bins show it: the fastest oscillation of the
    // filter's response takes thousands.
    bool IsNegligible(const SmoothResponse& shortResponse, int64_t first, int64_t last) const {
        constexpr int64_t kBins = 128;
        const int64_t from = first * sizes_.tile / kBins;
        const int64_t end = last * sizes_.tile / kBins + 2;
        return LargestOf(shortResponse.Rough(from, end - from, kBins)) < threshold_;
    }

    bool IsNegligible(double start, double end, int64_t inLong) const {
        const int64_t tile = inLong < 0 ? -1 - inLong : inLong;
        return Larger(start, end) * largest_[static_cast<size_t>(tile)] < threshold_;
    }

    SpectralTiles::Sizes sizes_;
    double steps_;  // of a tile
    bool imagesOfInput_;
    std::span<const double> longResponse_;
    double threshold_;
    AlignedDoubles corners_;
    std::vector<AlignedDoubles> bandCorners_;
    std::vector<Band> bands_;
    std::vector<double> largest_;
    std::vector<int32_t> inPlaces_;   // of the tiles of the input
    std::vector<int32_t> outPlaces_;  // likewise of the output
    SpectralTiles tiles_;
};

}  // namespace

SpectralTiles SpectralTiles::List(const Sizes& sizes, bool imagesOfInput,
                                  std::span<const double> longResponse, const SmoothResponse& shortResponse,
                                  double threshold) {
    return TileLister(sizes, imagesOfInput, longResponse, shortResponse, threshold).Listed();
}

}  // namespace w64
