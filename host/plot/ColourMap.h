#pragma once

#include <array>
#include <cstdint>

namespace w64 {

// Colours for levels, from black over violet, red and orange to pale yellow: each is lighter than the one
// before, by steps that look alike, so that the picture keeps its meaning in grey.
class ColourMap {
public:
    ColourMap();

    // 0xRRGGBB for 0 to 1; what is outside gets the colour of the end.
    uint32_t At(double level) const;

private:
    std::array<uint32_t, 1024> colours_;
};

}  // namespace w64
