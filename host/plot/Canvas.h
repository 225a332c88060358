#pragma once

#include "host/plot/PlotLayout.h"

#include <cairo.h>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace w64 {

// A white picture to draw on. Colours are 0xRRGGBB.
// Errors: Failure if memory is short or the picture cannot be written.
class Canvas {
public:
    explicit Canvas(PictureSize size);

    cairo_t* Context() const { return context_.get(); }
    void SetColour(uint32_t colour);

    // One colour per pixel, row by row from the top.
    void PaintPixels(PictureArea area, std::span<const uint32_t> colours);

    // Hands out the file part by part to `write`, which returns whether it went well and else sets errno.
    void WritePNG(const std::function<bool(std::span<const uint8_t>)>& write);

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
