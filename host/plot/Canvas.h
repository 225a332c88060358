#pragma once

#include "host/plot/PlotLayout.h"

#include <cairo.h>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace w64 {

// A white picture to draw on. Colours are 0xRRGGBB.
// Errors: Failure if memory is short.
class Canvas {
public:
    explicit Canvas(PictureSize size);

    cairo_t* Context() const { return context_.get(); }
    void SetColour(uint32_t colour);

    // One colour per pixel, row by row from the top.
    void PaintPixels(PictureArea area, std::span<const uint32_t> colours);

    // The picture as a file.
    std::vector<uint8_t> PNG();

private:
    struct Destroy {
        void operator()(cairo_t* context) const { cairo_destroy(context); }
        void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    };
    using Surface = std::unique_ptr<cairo_surface_t, Destroy>;

    static Surface NewImage(int width, int height);

    Surface surface_;
    std::unique_ptr<cairo_t, Destroy> context_;
};

}  // namespace w64
