#pragma once

#include "audio/CacheLineAllocator.h"
#include "audio/SmoothResponse.h"

#include <cstdint>
#include <span>
#include <vector>

// Spectra are taken a tile at a time.
constexpr int64_t kTile = 32;   // frequencies
constexpr int64_t kFloats = 8;  // of which so many at once

// The tiles of a spectrum in memory as floats, each its real parts and then its imaginary ones. Those that are
// multiples of `apart` away from one another lie together.
struct TileOrder {
    int64_t tiles;
    int64_t apart;

    int32_t PlaceOf(int64_t tile) const {
        return static_cast<int32_t>((tile % apart * (tiles / apart) + tile / apart) * 2 * kTile);
    }
};

// What both filters leave of all frequencies that become the same one in the output: their tiles, and the
// responses to multiply them with. The pass band itself is not listed, nor what is too weak to matter.
struct SpectralTiles {
    // A tile of the output. The next of each kind that is listed below are its own.
    struct Sum {
        int32_t tile;  // first frequency
        bool passes;   // the long filter
        int32_t images;
        int32_t others;
    };

    // What the long filter lets pass at multiples of its rate. The short filter stops it: its response over a
    // tile is start + u * step + u^2 / 2 * bend, with u counting eights of frequencies.
    struct Image {
        int32_t place;
        float start;
        float step;
        float bend;
    };

    // Numbers of tiles.
    struct Sizes {
        int64_t in;
        int64_t out;
        int64_t fine;      // of the common grid, where the short filter's response has its period
        int64_t passing;   // on either side of 0, what the long filter lets pass
        int64_t reaching;  // likewise the short one
    };

    // The long filter's response is given for its whole period. Images are either of the input, or of the
    // output's pass band, once both filters have passed it. Responses below the least are left out.
    static SpectralTiles List(const Sizes& sizes, bool imagesOfInput, std::span<const double> longResponse,
                              const SmoothResponse& shortResponse, double least);

    TileOrder inOrder;
    TileOrder outOrder;
    std::vector<Sum> sums;        // those that share images one after the other
    std::vector<Image> images;    // places in the order of what they are images of
    std::vector<int32_t> others;  // places in the input's order
    FloatNumbers responses;       // of the others, for every frequency
};
