#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace w64 {

// The rows of a picture from the top, in numbers 0x..RRGGBB.
struct Pixels {
    const unsigned char* first;
    std::ptrdiff_t stride;  // from row to row, in bytes
    uint32_t width;
    uint32_t height;
};

// A picture as a PNG file. It is compressed fast: the smallest file would take longer than all the drawing.
// Errors: Failure if memory is short.
std::vector<uint8_t> PNGFile(const Pixels& pixels);

}  // namespace w64
