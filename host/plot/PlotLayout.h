#pragma once

#include <cstddef>

namespace w64 {

struct PictureSize {
    int width = 1600;
    int height = 900;
};

// A place in the picture, in pixels from its upper left corner.
struct PictureArea {
    int left;
    int top;
    int width;
    int height;

    int Right() const { return left + width; }
    int Bottom() const { return top + height; }
    double Middle() const { return top + height / 2.0; }
};

// The layout of a plot: a title, the lanes of the waveform, and below them, on the same time axis, the spectrogram
// with its colour scale to the right.
class PlotLayout {
public:
    static constexpr PictureSize kMinSize = {640, 400};
    static constexpr PictureSize kMaxSize = {8000, 4000};

    PlotLayout(PictureSize size, size_t lanes);

    PictureSize Size() const { return size_; }
    size_t Lanes() const { return lanes_; }
    PictureArea Lane(size_t lane) const;
    const PictureArea& Waveform() const { return waveform_; }  // all lanes
    const PictureArea& Spectrogram() const { return spectrogram_; }
    PictureArea ColourScale() const;

    // A length in a picture of the default size, scaled to this one. Small pictures are not scaled down, to keep text
    // readable.
    double Scaled(double pixels) const { return pixels * scale_; }
    int Pixels(double pixels) const;

private:
    PictureSize size_;
    size_t lanes_;
    double scale_;
    PictureArea waveform_{};
    PictureArea spectrogram_{};
};

}  // namespace w64
