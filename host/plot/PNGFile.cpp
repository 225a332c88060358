#include "host/plot/PNGFile.h"

#include "host/terminal/Failure.h"

#include <bit>
#include <csetjmp>
#include <new>
#include <png.h>

namespace w64 {

namespace {

// The library leaves Write by longjmp, so nothing on the way has a destructor.
[[noreturn]] void Leave(png_struct* png, const char* /*reason*/) { png_longjmp(png, 1); }

bool Append(std::vector<uint8_t>& file, const uint8_t* bytes, size_t count) try {
    file.insert(file.end(), bytes, bytes + count);
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

void Take(png_struct* png, png_byte* bytes, size_t count) {
    if (!Append(*static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png)), bytes, count)) Leave(png, "");
}

bool Write(png_struct* png, png_info* info, const Pixels& pixels) {
    constexpr int kLevel = 2;
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_set_IHDR(png, info, pixels.width, pixels.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    png_set_compression_level(png, kLevel);
    png_write_info(png, info);
    if constexpr (std::endian::native == std::endian::little) {
        png_set_bgr(png);
        png_set_filler(png, 0, PNG_FILLER_AFTER);
    } else {
        png_set_filler(png, 0, PNG_FILLER_BEFORE);
    }
    for (uint32_t row = 0; row < pixels.height; ++row) {
        png_write_row(png, pixels.first + row * pixels.stride);
    }
    png_write_end(png, info);
    return true;
}

// What the library keeps while it writes.
class Writer {
public:
    Writer() : png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Leave, nullptr)) {
        if (png_) info_ = png_create_info_struct(png_);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() { png_destroy_write_struct(&png_, &info_); }

    bool WriteTo(std::vector<uint8_t>& file, const Pixels& pixels) {
        if (!info_) return false;
        png_set_write_fn(png_, &file, Take, [](png_struct* /*png*/) {});
        return Write(png_, info_, pixels);
    }

private:
    png_struct* png_;
    png_info* info_ = nullptr;
};

}  // namespace

std::vector<uint8_t> PNGFile(const Pixels& pixels) {
    std::vector<uint8_t> file;
    if (!Writer().WriteTo(file, pixels)) throw Failure("cannot draw: out of memory");
    return file;
}

}  // namespace w64
