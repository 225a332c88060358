#include "host/plot/AudioDrawing.h"

#include "host/plot/ColourMap.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace w64 {

namespace {

constexpr uint32_t kPeaks = 0x8FB4E0;
constexpr uint32_t kPower = 0x2F67AE;

// The mean of the columns in [from, to), weighted by their overlap with it.
void MeanOfColumns(const Spectrogram& spectrogram, double from, double to, std::vector<double>& mean) {
    std::ranges::fill(mean, 0.0);
    const auto last = std::min(static_cast<size_t>(std::ceil(to)), spectrogram.Columns());
    double sum = 0;
    for (auto i = static_cast<size_t>(from); i < last; ++i) {
        const auto left = static_cast<double>(i);
        const double weight = std::min(to, left + 1) - std::max(from, left);
        const auto column = spectrogram.Column(i);
        for (size_t row = 0; row < mean.size(); ++row) mean[row] += weight * static_cast<double>(column[row]);
        sum += weight;
    }
    for (double& power : mean) power /= sum;
}

}  // namespace

void DrawOutline(Canvas& canvas, PictureArea area, const Envelope& envelope, size_t lane, double top,
                 double lineWidth) {
    cairo_t* context = canvas.Context();
    const auto columns = envelope.Lane(lane);
    const double width =
        area.width * static_cast<double>(envelope.FramesPerColumn()) / static_cast<double>(envelope.Frames());
    const auto place = [&](size_t i, double value) {
        const double x = std::min(area.left + (static_cast<double>(i) + 0.5) * width, 1.0 * area.Right());
        cairo_line_to(context, x, area.Middle() - value / top * area.height / 2);
    };
    const auto outline = [&](auto low, auto high) {
        cairo_new_path(context);
        for (size_t i = 0; i < columns.size(); ++i) place(i, high(columns[i]));
        for (size_t i = columns.size(); i-- > 0;) place(i, low(columns[i]));
        cairo_close_path(context);
    };
    cairo_save(context);
    cairo_rectangle(context, area.left, area.top, area.width, area.height);
    cairo_clip(context);
    outline([](const auto& column) { return column.low; }, [](const auto& column) { return column.high; });
    canvas.SetColour(envelope.FramesPerColumn() == 1 ? kPower : kPeaks);
    cairo_fill_preserve(context);
    cairo_set_line_width(context, lineWidth);
    cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);  // makes a single point visible
    cairo_stroke(context);
    outline([](const auto& column) { return std::max(column.low, -column.RootMeanSquare()); },
            [](const auto& column) { return std::min(column.high, column.RootMeanSquare()); });
    canvas.SetColour(kPower);
    cairo_fill(context);
    cairo_restore(context);
}

std::vector<uint32_t> SpectrogramPixels(PictureArea area, const Spectrogram& spectrogram, int64_t frames,
                                        double floor, int shades) {
    const ColourMap colours;
    const double columnsPerPixel =
        static_cast<double>(frames) / static_cast<double>(spectrogram.FramesPerColumn()) / area.width;
    const auto width = static_cast<size_t>(area.width);
    const auto height = static_cast<size_t>(area.height);
    std::vector<double> powers(height);
    std::vector<uint32_t> pixels(width * height);
    for (size_t x = 0; x < width; ++x) {
        const auto column = static_cast<double>(x);
        MeanOfColumns(spectrogram, column * columnsPerPixel, (column + 1) * columnsPerPixel, powers);
        for (size_t row = 0; row < height; ++row) {
            const double level = std::clamp(1 - 10 * std::log10(powers[row]) / floor, 0.0, 1.0);
            const double shade = std::round(level * (shades - 1)) / (shades - 1);
            pixels[(height - 1 - row) * width + x] = colours.At(shade);
        }
    }
    return pixels;
}

}  // namespace w64
