#include "audio/resample/SpectralTiles.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace w64 {

namespace {

// For each output tile, goes through the tiles of the common grid that fall onto it: those a multiple of the
// output's period away.
class TileLister {
public:
    TileLister(const SpectralTiles::Sizes& sizes, bool imagesOfInput, std::span<const double> longResponse,
               const SmoothResponse& shortResponse, double threshold)
        : sizes_(sizes), long_(static_cast<int64_t>(longResponse.size()) / sizes.tile),
          vectors_(static_cast<double>(sizes.tile) / static_cast<double>(kFloats)),
          imagesOfInput_(imagesOfInput), longResponse_(longResponse),
          corners_(shortResponse.Rough(sizes.common / 2 + 1, sizes.tile)), threshold_(threshold) {
        for (auto tile = longResponse; !tile.empty(); tile = tile.subspan(BinsOfTile())) {
            const auto [low, high] = std::ranges::minmax_element(tile.first(BinsOfTile()));
            largest_.push_back(std::max(-*low, *high));
        }
        const int64_t apart = std::gcd(long_, imagesOfInput ? sizes.in : sizes.out);
        tiles_.inOrder = {sizes.tile, sizes.in, imagesOfInput ? apart : 1};
        tiles_.outOrder = {sizes.tile, sizes.out, apart};
        for (int64_t tile = 0; tile < sizes.in; ++tile) inPlaces_.push_back(tiles_.inOrder.PlaceOf(tile));
        for (int64_t tile = 0; tile < sizes.out; ++tile) outPlaces_.push_back(tiles_.outOrder.PlaceOf(tile));
        const int64_t passing = std::min(2 * sizes.longPassBand, sizes.out);
        tiles_.sums.reserve(static_cast<size_t>(sizes.out));
        tiles_.images.reserve(static_cast<size_t>(passing * (sizes.common / long_)));
        for (int64_t first = 0; first < apart; ++first) {
            for (int64_t tile = first - sizes.out / 2; tile < sizes.out / 2; tile += apart) AddSum(tile);
        }
    }

    SpectralTiles Listed() { return std::move(tiles_); }

private:
    // A tile's number in a spectrum with a period of `tiles`, from 0 on or, centred, from -tiles / 2 on.
    static int64_t Wrapped(int64_t tile, int64_t tiles) {
        const int64_t rest = tile % tiles;
        return rest < 0 ? rest + tiles : rest;
    }
    static int64_t Centred(int64_t tile, int64_t tiles) {
        const int64_t wrapped = Wrapped(tile, tiles);
        return wrapped < tiles / 2 ? wrapped : wrapped - tiles;
    }

    size_t BinsOfTile() const { return static_cast<size_t>(sizes_.tile); }
    static bool IsWithin(int64_t tile, int64_t tiles) { return -tiles <= tile && tile < tiles; }

    void AddSum(int64_t tile) {
        const bool passes = IsWithin(tile, sizes_.longPassBand);
        const int64_t first = Wrapped(tile, sizes_.out) * sizes_.tile;
        tiles_.sums.push_back({static_cast<int32_t>(first), passes, 0, 0});
        if (passes) AddImages(tile);
        AddAliases(tile, passes);
    }

    // The short filter's response at the first bin of a tile of the common grid, which is symmetric.
    double CornerOf(int64_t tile) const {
        const int64_t distance = std::abs(tile);
        return corners_[static_cast<size_t>(std::min(distance, sizes_.common - distance))];
    }

    // Around the multiples of the long filter's rate, where its response repeats the pass band.
    void AddImages(int64_t tile) {
        // Pass-band terms have been multiplied with the short filter's response already, which is flat there.
        const double applied = imagesOfInput_ ? 1 : corners_[0];
        int64_t from = tile;
        for (int64_t centre = long_; centre < sizes_.common; centre += long_) {
            from -= long_ % sizes_.out;
            if (from < -sizes_.out / 2) from += sizes_.out;
            const int64_t at = centre + from;
            const double start = CornerOf(at);
            const double end = CornerOf(at + 1);
            if (IsNegligible(start, end, from < 0 ? from + long_ : from)) continue;
            const double curvature =
                (CornerOf(at - 1) - start - end + CornerOf(at + 2)) / (2 * vectors_ * vectors_);
            const double slope = (end - start) / vectors_ - curvature * vectors_ / 2;
            const int32_t source = imagesOfInput_
                                       ? inPlaces_[static_cast<size_t>(at % sizes_.in)]
                                       : outPlaces_[static_cast<size_t>(from < 0 ? from + sizes_.out : from)];
            tiles_.images.push_back({source, static_cast<float>(start / applied),
                                     static_cast<float>(slope / applied),
                                     static_cast<float>(curvature / applied)});
            ++tiles_.sums.back().imageCount;
        }
    }

    // Around 0, where the short filter passes, without the pass band and the images.
    void AddAliases(int64_t tile, bool passes) {
        const int64_t first = Wrapped(tile + sizes_.shortPassBand, sizes_.out) - sizes_.shortPassBand;
        for (int64_t at = first; at < sizes_.shortPassBand; at += sizes_.out) {
            const int64_t inLong = Wrapped(at, long_);
            if (passes && IsWithin(Centred(at, long_), sizes_.out / 2)) continue;
            const double start = CornerOf(at);
            const double end = CornerOf(at + 1);
            if (IsNegligible(start, end, inLong)) continue;
            tiles_.aliases.push_back(inPlaces_[static_cast<size_t>(Wrapped(at, sizes_.in))]);
            const double slope = (end - start) / static_cast<double>(sizes_.tile);
            const double* ofLong = &longResponse_[static_cast<size_t>(inLong * sizes_.tile)];
            for (int64_t k = 0; k < sizes_.tile; ++k) {
                tiles_.responses.push_back(
                    static_cast<float>((start + slope * static_cast<double>(k)) * ofLong[k]));
            }
            ++tiles_.sums.back().aliasCount;
        }
    }

    bool IsNegligible(double start, double end, int64_t inLong) const {
        const double response = std::max(std::abs(start), std::abs(end));
        return response * largest_[static_cast<size_t>(inLong)] < threshold_;
    }

    SpectralTiles::Sizes sizes_;
    int64_t long_;
    double vectors_;  // of a tile
    bool imagesOfInput_;
    std::span<const double> longResponse_;
    AlignedDoubles corners_;
    std::vector<int32_t> inPlaces_;   // of the tiles of the input
    std::vector<int32_t> outPlaces_;  // likewise of the output
    double threshold_;
    std::vector<double> largest_;  // of the long filter's response, in each tile
    SpectralTiles tiles_;
};

}  // namespace

SpectralTiles SpectralTiles::List(const Sizes& sizes, bool imagesOfInput,
                                  std::span<const double> longResponse, const SmoothResponse& shortResponse,
                                  double threshold) {
    return TileLister(sizes, imagesOfInput, longResponse, shortResponse, threshold).Listed();
}

}  // namespace w64
