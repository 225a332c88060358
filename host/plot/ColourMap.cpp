#include "host/plot/ColourMap.h"

#include <algorithm>
#include <cmath>

namespace w64 {

namespace {

struct Colour {
    double red;
    double green;
    double blue;
};

constexpr std::array<Colour, 9> kStops = {{{0, 0, 4},
                                           {31, 12, 72},
                                           {85, 15, 109},
                                           {136, 34, 106},
                                           {186, 54, 85},
                                           {227, 89, 51},
                                           {249, 140, 10},
                                           {249, 201, 50},
                                           {252, 255, 164}}};

uint32_t Between(const Colour& a, const Colour& b, double share) {
    const auto mix = [share](double from, double to) {
        return static_cast<uint32_t>(std::lround(from + (to - from) * share));
    };
    return mix(a.red, b.red) << 16 | mix(a.green, b.green) << 8 | mix(a.blue, b.blue);
}

}  // namespace

ColourMap::ColourMap() {
    for (size_t i = 0; i < colours_.size(); ++i) {
        const double place =
            static_cast<double>(i * (kStops.size() - 1)) / static_cast<double>(colours_.size() - 1);
        const size_t stop = std::min(static_cast<size_t>(place), kStops.size() - 2);
        colours_[i] = Between(kStops[stop], kStops[stop + 1], place - static_cast<double>(stop));
    }
}

uint32_t ColourMap::At(double level) const {
    const double last = static_cast<double>(colours_.size() - 1);
    return colours_[static_cast<size_t>(std::lround(std::clamp(level, 0.0, 1.0) * last))];
}

}  // namespace w64
