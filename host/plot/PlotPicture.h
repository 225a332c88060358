#pragma once

#include "base/XFile.h"
#include "host/plot/Canvas.h"
#include "host/plot/Envelope.h"
#include "host/plot/FrequencyScale.h"
#include "host/plot/PlotLayout.h"
#include "host/plot/Spectrogram.h"

#include <cairo.h>
#include <string>
#include <vector>

namespace w64 {

// The texts and axis ranges of a plot. Texts are printable UTF-8.
struct PlotSubject {
    std::string name;
    std::string details;
    std::vector<std::string> lanes;  // their names
    double start;                    // of the time axis, in seconds
    double seconds;                  // more than 0
    FrequencyScale frequencies;
    double floor;  // level drawn black, in dBFS
};

// Draws audio with axes and a title.
// Errors: Failure if memory is short or the file cannot be written.
class PlotPicture {
public:
    PlotPicture(const PlotLayout& layout, PlotSubject subject);

    // With more than one thread, the waveform and the spectrogram are drawn at the same time.
    void Draw(const Envelope& envelope, const Spectrogram& spectrogram, unsigned threads);
    void WritePNG(XFile& file);

private:
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
    void DrawFrequencyAxis();
    void DrawColourScale();

    void SetFont(double size, bool bold);
    void Line(double x1, double y1, double x2, double y2);
    void Frame(PictureArea area);
    double TextWidth(const std::string& text);
    void Text(const std::string& text, double x, double y, Anchor anchor);
    void TextUpwards(const std::string& text, double x, double y);
    std::string Fitting(const std::string& text, double width);

    const PlotLayout layout_;
    const PlotSubject subject_;
    Canvas canvas_;
    cairo_t* context_;  // of the canvas
};

}  // namespace w64
