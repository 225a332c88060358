#pragma once

#include <array>
#include <cstdint>

namespace w64 {

// Colours for levels, from black through violet, red and orange to pale yellow. Lightness rises in even steps, so
// the picture also works in greyscale.
class ColourMap {
public:
    ColourMap();

    // 0xRRGGBB for 0 to 1; levels outside are clamped.
    uint32_t At(double level) const;

private:
    std::array<uint32_t, 1024> colours_;
};

}  // namespace w64
