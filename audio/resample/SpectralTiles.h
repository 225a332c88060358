#pragma once

#include "audio/fft/CacheLineAllocator.h"
#include "audio/resample/SmoothResponse.h"

#include <cstdint>
#include <span>
#include <vector>

namespace w64 {

// Spectra are processed in tiles. Wide ones take less time, narrow ones suit more sizes.
constexpr int64_t kWideTile = 32;  // bins
constexpr int64_t kNarrowTile = 8;
constexpr int64_t kStep = 8;  // bins, of a curve over a tile

// Where the tiles of a spectrum are in memory as floats: each has its real parts, then its imaginary ones.
// Tiles whose numbers differ by multiples of `apart` are neighbours: they are images of one another.
struct TileOrder {
    int64_t bins;  // of a tile
    int64_t tiles;
    int64_t apart;

    // The place of tile 0, and by ++ of the others in turn. To divide for each would take as long as to fill it.
    class Place {
    public:
        explicit Place(const TileOrder& order)
            : tile_(2 * order.bins), neighbours_(order.tiles / order.apart * tile_),
              end_(order.apart * neighbours_) {}

        int32_t operator*() const { return static_cast<int32_t>(at_); }

        Place& operator++() {
            at_ += neighbours_;
            if (at_ >= end_) at_ += tile_ - end_;
            return *this;
        }

    private:
        int64_t tile_;  // sizes, in floats
        int64_t neighbours_;
        int64_t end_;
        int64_t at_ = 0;
    };
};

// For each output tile, the input tiles that fall onto it as images or aliases, and both filters' combined response
// there (see SpectralFreqConv). Neither the pass band nor what both filters stop is listed.
struct SpectralTiles {
    // A tile of the output. It takes the next `imageCount` images and the next `aliasCount` aliases.
    struct Sum {
        int32_t firstBin;
        bool passes;  // the long filter
        int32_t imageCount;
        int32_t aliasCount;
    };

    // Stopped by the short filter alone. Its response over the tile is start + slope * u + curvature * u^2 /
    // 2, where u counts steps of kStep bins.
    struct Image {
        int32_t place;
        float start;
        float slope;
        float curvature;
    };

    // In tiles, but for the first two.
    struct Sizes {
        int64_t channels;       // 1 or 2; of one, sums are for half the bins only
        int64_t tile;           // bins
        int64_t in;             // N
        int64_t out;            // M
        int64_t keptIn;         // of N, around 0: where the rate has been halved
        int64_t keptOut;        // of M, likewise
        int64_t longPeriod;     // P, of the long filter's response
        int64_t common;         // L, of the short filter's response
        int64_t longPassBand;   // from 0 to the stop-band edge of the long filter
        int64_t shortPassBand;  // likewise of the short filter
    };

    // `longResponse` is the long filter's response, from 0 up to half its period, or to where it may be left out.
    // Images are either of the input, or of the pass-band terms. Responses below the threshold are left out.
    static SpectralTiles List(const Sizes& sizes, bool imagesOfInput, std::span<const double> longResponse,
                              const SmoothResponse& shortResponse, double threshold);

    TileOrder inOrder;
    TileOrder outOrder;
    std::vector<Sum> sums;         // those that share images come one after the other
    std::vector<Image> images;     // places in inOrder or, of pass-band terms, in outOrder
    std::vector<int32_t> aliases;  // places in inOrder
    AlignedFloats responses;       // a tile for each of the aliases
};

}  // namespace w64
