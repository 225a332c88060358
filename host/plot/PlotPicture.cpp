#include "host/plot/PlotPicture.h"

#include "base/XStr.h"
#include "base/threads/Crew.h"
#include "host/plot/AudioDrawing.h"
#include "host/plot/AxisTicks.h"
#include "host/plot/ColourMap.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace w64 {

namespace {

constexpr const char* kFont = "DejaVu Sans";  // or the system's substitute
constexpr double kLabelSize = 12.5;
constexpr double kTickLength = 5;

constexpr uint32_t kInk = 0x24292F;
constexpr uint32_t kPaleInk = 0x5B646E;
constexpr uint32_t kFrame = 0xB4BBC3;
constexpr uint32_t kGrid = 0xE4E7EB;
constexpr uint32_t kFullScale = 0xD9534F;

double Decibels(double power) { return 10 * std::log10(power); }
double Amplitude(int decibels) { return std::pow(10, decibels / 20.0); }

std::string LevelLabel(int decibels) { return (decibels > 0 ? "+" : "") + std::to_string(decibels); }

// Multiples of `step` from `start` to `end`.
template <class Action>
void ForEachTick(double start, double end, double step, Action action) {
    const auto last = std::floor(end / step * (1 + 1e-9));
    for (double i = std::ceil(start / step * (1 - 1e-9)); i <= last; ++i) action(i * step);
}

}  // namespace

PlotPicture::PlotPicture(const PlotLayout& layout, PlotSubject subject)
    : layout_(layout), subject_(std::move(subject)), canvas_(layout.Size()), context_(canvas_.Context()) {}

void PlotPicture::Draw(const Envelope& envelope, const Spectrogram& spectrogram, unsigned threads) {
    const PictureArea& area = layout_.Spectrogram();
    std::vector<uint32_t> pixels;
    Crew crew(threads, 1, [&](size_t /*thread*/, size_t /*job*/) {
        pixels = SpectrogramPixels(area, spectrogram, envelope.Frames(), subject_.floor, kAllShades);
    });
    crew.Start(0);
    DrawTitle();
    SetFont(kLabelSize, false);
    DrawTimeAxis();
    DrawWaveform(envelope);
    crew.Finish(0);
    canvas_.PaintPixels(area, pixels);
    Frame(area);
    DrawFrequencyAxis();
    DrawColourScale();
}

void PlotPicture::WritePNG(XFile& file) {
    const std::vector<uint8_t> bytes = canvas_.PNG();
    if (!file.Write(bytes.data(), bytes.size())) throw SystemFailure("cannot write");
}

void PlotPicture::DrawTitle() {
    const PictureArea& area = layout_.Waveform();
    const double y = layout_.Scaled(28);
    const double gap = layout_.Scaled(16);
    const double right = layout_.Size().width - gap;
    SetFont(14, false);
    const double detailsWidth = TextWidth(subject_.details);
    SetFont(18, true);
    canvas_.SetColour(kInk);
    const std::string name = Fitting(subject_.name, right - area.left - gap - detailsWidth);
    const double nameWidth = TextWidth(name);
    Text(name, area.left, y, {0, 0.5});
    SetFont(14, false);
    canvas_.SetColour(kPaleInk);
    Text(subject_.details, area.left + nameWidth + gap, y, {0, 0.5});
}

void PlotPicture::DrawTimeAxis() {
    const PictureArea& lanes = layout_.Waveform();
    const PictureArea& area = layout_.Spectrogram();
    const double step = TimeStep(subject_.seconds * layout_.Scaled(84) / area.width);
    const double endTime = subject_.start + subject_.seconds;
    const TimeLabels label(endTime, step);
    ForEachTick(subject_.start, endTime, step, [&](double time) {
        const double x = area.left + (time - subject_.start) / subject_.seconds * area.width;
        const double end = area.Bottom() + layout_.Scaled(kTickLength);
        canvas_.SetColour(kGrid);
        Line(x, lanes.top, x, lanes.Bottom());
        canvas_.SetColour(kFrame);
        Line(x, area.Bottom(), x, end);
        canvas_.SetColour(kInk);
        Text(label(time), x, end + layout_.Scaled(4), {0.5, 0});
    });
    canvas_.SetColour(kPaleInk);
    Text("Time (" + label.Unit() + ")", area.left + area.width / 2.0, area.Bottom() + layout_.Scaled(30),
         {0.5, 0});
}

// The axis is linear and labelled in dBFS. It ends at full scale, or at the highest peak if that is higher.
void PlotPicture::DrawWaveform(const Envelope& envelope) {
    const double top = std::max(envelope.Peak(), 1.0);
    for (size_t lane = 0; lane < layout_.Lanes(); ++lane) {
        const PictureArea area = layout_.Lane(lane);
        DrawLevelAxis(area, top);
        DrawOutline(canvas_, area, envelope, lane, top, layout_.Scaled(1.2));
        if (top > 1) DrawLevel(area, 1 / top, kFullScale);
        Frame(area);
        canvas_.SetColour(kInk);
        const double x = area.Right() + layout_.Scaled(10);
        const double room = layout_.Size().width - x - layout_.Scaled(4);
        Text(Fitting(subject_.lanes[lane], room), x, area.Middle(), {0, 0.5});
    }
    canvas_.SetColour(kPaleInk);
    TextUpwards("Level (dBFS)", layout_.Scaled(22), layout_.Waveform().Middle());
}

// The axis is symmetric about silence in the middle, so only the upper half is labelled.
void PlotPicture::DrawLevelAxis(PictureArea area, double top) {
    const double x = area.left - layout_.Scaled(8);
    const double lineHeight = layout_.Scaled(kLabelSize + 1);
    double lowest = area.top - lineHeight;
    canvas_.SetColour(kInk);
    Text("-inf", x, area.Middle(), {1, 0.5});
    constexpr int kStep = 6;  // half the amplitude
    const int highest = static_cast<int>(Decibels(top * top) / kStep) * kStep;
    for (const int level : {highest, highest - kStep, highest - 2 * kStep}) {
        const double share = Amplitude(level) / top;
        DrawLevel(area, share, kGrid);
        const double y = area.Middle() - share * area.height / 2;
        if (y < lowest + lineHeight || y > area.Middle() - 1.25 * lineHeight) continue;
        canvas_.SetColour(kInk);
        Text(LevelLabel(level), x, y, {1, 0.5});
        lowest = y;
    }
}

void PlotPicture::DrawLevel(PictureArea area, double share, uint32_t colour) {
    canvas_.SetColour(colour);
    for (const double height : {share * area.height / 2, -share * area.height / 2}) {
        Line(area.left, area.Middle() - height, area.Right(), area.Middle() - height);
    }
}

void PlotPicture::DrawFrequencyAxis() {
    const PictureArea& area = layout_.Spectrogram();
    for (const double hertz : subject_.frequencies.Ticks(layout_.Scaled(34) / area.height)) {
        const double y = area.Bottom() - subject_.frequencies.PlaceOf(hertz) * area.height;
        const double end = area.left - layout_.Scaled(kTickLength);
        canvas_.SetColour(kFrame);
        Line(area.left, y, end, y);
        canvas_.SetColour(kInk);
        Text(FrequencyLabel(hertz), end - layout_.Scaled(3), y, {1, 0.5});
    }
    canvas_.SetColour(kPaleInk);
    TextUpwards("Frequency (Hz)", layout_.Scaled(22), area.Middle());
}

void PlotPicture::DrawColourScale() {
    const PictureArea area = layout_.ColourScale();
    const ColourMap colours;
    std::vector<uint32_t> pixels;
    for (int y = 0; y < area.height; ++y) {
        pixels.insert(pixels.end(), static_cast<size_t>(area.width), colours.At(1 - (y + 0.5) / area.height));
    }
    canvas_.PaintPixels(area, pixels);
    Frame(area);
    const double step = RoundStep(-subject_.floor * layout_.Scaled(28) / area.height);
    ForEachTick(0, -subject_.floor, step, [&](double decibels) {
        const double y = area.top - decibels / subject_.floor * area.height;
        const double end = area.Right() + layout_.Scaled(kTickLength);
        canvas_.SetColour(kFrame);
        Line(area.Right(), y, end, y);
        canvas_.SetColour(kInk);
        Text(LevelLabel(static_cast<int>(-decibels)), end + layout_.Scaled(3), y, {0, 0.5});
    });
    canvas_.SetColour(kPaleInk);
    TextUpwards("Level (dBFS)", layout_.Size().width - layout_.Scaled(20), area.Middle());
}

void PlotPicture::SetFont(double size, bool bold) {
    cairo_select_font_face(context_, kFont, CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context_, layout_.Scaled(size));
}

// Runs through pixel centres, so that horizontal and vertical lines are sharp.
void PlotPicture::Line(double x1, double y1, double x2, double y2) {
    const auto middle = [](double place) { return std::floor(place) + 0.5; };
    cairo_set_line_width(context_, std::round(layout_.Scaled(1)));
    cairo_move_to(context_, middle(x1), middle(y1));
    cairo_line_to(context_, middle(x2), middle(y2));
    cairo_stroke(context_);
}

void PlotPicture::Frame(PictureArea area) {
    canvas_.SetColour(kFrame);
    cairo_set_line_width(context_, 1);
    cairo_rectangle(context_, area.left - 0.5, area.top - 0.5, area.width + 1, area.height + 1);
    cairo_stroke(context_);
}

double PlotPicture::TextWidth(const std::string& text) {
    cairo_text_extents_t extents;
    cairo_text_extents(context_, text.c_str(), &extents);
    return extents.x_advance;
}

void PlotPicture::Text(const std::string& text, double x, double y, Anchor anchor) {
    cairo_font_extents_t font;
    cairo_font_extents(context_, &font);
    const double left = x - anchor.x * TextWidth(text);
    const double baseline = y + font.ascent - anchor.y * (font.ascent + font.descent);
    cairo_move_to(context_, std::round(left), std::round(baseline));
    cairo_show_text(context_, text.c_str());
}

// Centred on the point.
void PlotPicture::TextUpwards(const std::string& text, double x, double y) {
    cairo_save(context_);
    cairo_translate(context_, x, y);
    cairo_rotate(context_, -std::numbers::pi / 2);
    Text(text, 0, 0, {0.5, 0.5});
    cairo_restore(context_);
}

// The text, or as much of its end as fits.
std::string PlotPicture::Fitting(const std::string& text, double width) {
    const XStr whole = FromUTF8(text);
    std::string fitting = text;
    for (size_t dropped = 1; dropped <= whole.size() && TextWidth(fitting) > width; ++dropped) {
        fitting = "..." + ToUTF8(whole.substr(dropped));
    }
    return fitting;
}

}  // namespace w64
