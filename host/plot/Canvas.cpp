#include "host/plot/Canvas.h"

#include "host/plot/PNGFile.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
// The font library caches lookups until the program ends, and stores pointers as offsets, which the leak check does
// not recognise.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libfontconfig"; }
#endif

namespace w64 {

namespace {

void Require(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS)
        throw Failure(std::string("cannot draw: ") + cairo_status_to_string(status));
}

}  // namespace

Canvas::Canvas(PictureSize size)
    : surface_(NewImage(size.width, size.height)), context_(cairo_create(surface_.get())) {
    cairo_set_source_rgb(context_.get(), 1, 1, 1);
    cairo_paint(context_.get());
}

Canvas::Surface Canvas::NewImage(int width, int height) {
    Surface image(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    Require(cairo_surface_status(image.get()));
    return image;
}

void Canvas::SetColour(uint32_t colour) {
    const auto part = [colour](unsigned shift) { return (colour >> shift & 0xFF) / 255.0; };
    cairo_set_source_rgb(context_.get(), part(16), part(8), part(0));
}

void Canvas::PaintPixels(PictureArea area, std::span<const uint32_t> colours) {
    const Surface image = NewImage(area.width, area.height);
    cairo_surface_flush(image.get());
    unsigned char* row = cairo_image_surface_get_data(image.get());
    const auto width = static_cast<size_t>(area.width);
    for (; colours.size() >= width; colours = colours.subspan(width)) {
        std::ranges::copy(colours.first(width), reinterpret_cast<uint32_t*>(row));
        row += cairo_image_surface_get_stride(image.get());
    }
    cairo_surface_mark_dirty(image.get());
    cairo_set_source_surface(context_.get(), image.get(), area.left, area.top);
    cairo_paint(context_.get());
}

std::vector<uint8_t> Canvas::PNG() {
    Require(cairo_status(context_.get()));
    cairo_surface_t* const image = surface_.get();
    cairo_surface_flush(image);
    return PNGFile({cairo_image_surface_get_data(image), cairo_image_surface_get_stride(image),
                    static_cast<uint32_t>(cairo_image_surface_get_width(image)),
                    static_cast<uint32_t>(cairo_image_surface_get_height(image))});
}

}  // namespace w64
