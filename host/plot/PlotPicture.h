#pragma once

#include "base/XFile.h"
#include "host/plot/Envelope.h"
#include "host/plot/PlotLayout.h"
#include "host/plot/Spectrogram.h"

#include <cairo.h>
#include <memory>
#include <string>
#include <vector>

namespace w64 {

// The texts and axis ranges of a plot. Texts are printable UTF-8.
struct PlotSubject {
    std::string name;
    std::string details;
    std::vector<std::string> lanes;  // their names
    double seconds;                  // more than 0
    double hertz;                    // half the sample rate
    double floor;                    // level drawn black, in dBFS
};

// Draws audio with axes and a title.
// Errors: Failure if memory is short or the file cannot be written.
class PlotPicture {
public:
    PlotPicture(const PlotLayout& layout, PlotSubject subject);

    void Draw(const Envelope& envelope, const Spectrogram& spectrogram);
    void WritePNG(XFile& file);

private:
    struct Destroy {
        void operator()(cairo_t* context) const { cairo_destroy(context); }
        void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    };
    using Surface = std::unique_ptr<cairo_surface_t, Destroy>;

    // The part of a text that is placed at a point: 0 is the left or top edge, 1 the right or bottom edge.
    struct Anchor {
        double x;
        double y;
    };

    void DrawTitle();
    void DrawTimeAxis();
    void DrawWaveform(const Envelope& envelope);
    void DrawLevelAxis(PictureArea area, double top);
    void DrawLevel(PictureArea area, double share, uint32_t colour);
    void DrawOutline(PictureArea area, const Envelope& envelope, size_t lane, double top);
    void DrawSpectrogram(const Spectrogram& spectrogram, int64_t frames);
    void DrawFrequencyAxis();
    void DrawColourScale();

    void SetColour(uint32_t colour);
    void SetFont(double size, bool bold);
    void Line(double x1, double y1, double x2, double y2);
    void Frame(PictureArea area);
    void Paint(const Surface& image, PictureArea area);
    double TextWidth(const std::string& text);
    void Text(const std::string& text, double x, double y, Anchor anchor);
    void TextUpwards(const std::string& text, double x, double y);
    std::string Fitting(const std::string& text, double width);

    const PlotLayout layout_;
    const PlotSubject subject_;
    Surface surface_;
    std::unique_ptr<cairo_t, Destroy> context_;
};

}  // namespace w64
