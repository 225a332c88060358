#include "host/plot/PlotPicture.h"

#include "base/XStr.h"
#include "host/plot/AxisTicks.h"
#include "host/plot/ColourMap.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#if defined(__SANITIZE_ADDRESS__)
// The font library caches lookups until the program ends, and stores pointers as offsets, which the leak check does
// not recognise.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libfontconfig"; }
#endif

namespace w64 {

namespace {

constexpr const char* kFont = "DejaVu Sans";  // or the system's substitute
constexpr double kLabelSize = 12.5;
constexpr double kTickLength = 5;

constexpr uint32_t kPaper = 0xFFFFFF;
constexpr uint32_t kInk = 0x24292F;
constexpr uint32_t kPaleInk = 0x5B646E;
constexpr uint32_t kFrame = 0xB4BBC3;
constexpr uint32_t kGrid = 0xE4E7EB;
constexpr uint32_t kFullScale = 0xD9534F;
constexpr uint32_t kPeaks = 0x8FB4E0;
constexpr uint32_t kPower = 0x2F67AE;

double Decibels(double power) { return 10 * std::log10(power); }
double Amplitude(int decibels) { return std::pow(10, decibels / 20.0); }

std::string LevelLabel(int decibels) { return (decibels > 0 ? "+" : "") + std::to_string(decibels); }

// Multiples of `step` from 0 to `end`.
template <class Action>
void ForEachTick(double end, double step, Action action) {
    const auto last = static_cast<int>(end / step * (1 + 1e-9));
    for (int i = 0; i <= last; ++i) action(i * step);
}

cairo_status_t WriteTo(void* file, const unsigned char* data, unsigned int size) {
    return static_cast<XFile*>(file)->Write(data, size) ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
}

void Require(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS)
        throw Failure(std::string("cannot draw: ") + cairo_status_to_string(status));
}

cairo_surface_t* NewImage(int width, int height) {
    return cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
}

// Access to the pixels of an image made by NewImage.
class Pixels {
public:
    explicit Pixels(cairo_surface_t* image)
        : image_(image), data_(cairo_image_surface_get_data(image)),
          stride_(cairo_image_surface_get_stride(image)) {
        Require(cairo_surface_status(image));
        cairo_surface_flush(image);
    }
    Pixels(const Pixels&) = delete;  // marks the image dirty once
    Pixels& operator=(const Pixels&) = delete;
    ~Pixels() { cairo_surface_mark_dirty(image_); }

    void Set(int x, int y, uint32_t colour) {
        reinterpret_cast<uint32_t*>(data_ + static_cast<ptrdiff_t>(y) * stride_)[x] = colour;
    }

private:
    cairo_surface_t* image_;
    unsigned char* data_;
    int stride_;
};

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

PlotPicture::PlotPicture(const PlotLayout& layout, PlotSubject subject)
    : layout_(layout), subject_(std::move(subject)),
      surface_(NewImage(layout.Size().width, layout.Size().height)), context_(cairo_create(surface_.get())) {
    SetColour(kPaper);
    cairo_paint(context_.get());
}

void PlotPicture::Draw(const Envelope& envelope, const Spectrogram& spectrogram) {
    DrawTitle();
    SetFont(kLabelSize, false);
    DrawTimeAxis();
    DrawWaveform(envelope);
    DrawSpectrogram(spectrogram, envelope.Frames());
    DrawFrequencyAxis();
    DrawColourScale();
    Require(cairo_status(context_.get()));
}

void PlotPicture::WritePNG(XFile& file) {
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface_.get(), WriteTo, &file);
    if (status == CAIRO_STATUS_WRITE_ERROR) throw SystemFailure("cannot write");
    Require(status);
}

void PlotPicture::DrawTitle() {
    const PictureArea& area = layout_.Waveform();
    const double y = layout_.Scaled(28);
    const double gap = layout_.Scaled(16);
    const double right = layout_.Size().width - gap;
    SetFont(14, false);
    const double detailsWidth = TextWidth(subject_.details);
    SetFont(18, true);
    SetColour(kInk);
    const std::string name = Fitting(subject_.name, right - area.left - gap - detailsWidth);
    const double nameWidth = TextWidth(name);
    Text(name, area.left, y, {0, 0.5});
    SetFont(14, false);
    SetColour(kPaleInk);
    Text(subject_.details, area.left + nameWidth + gap, y, {0, 0.5});
}

void PlotPicture::DrawTimeAxis() {
    const PictureArea& lanes = layout_.Waveform();
    const PictureArea& area = layout_.Spectrogram();
    const double step = TimeStep(subject_.seconds * layout_.Scaled(84) / area.width);
    const TimeLabels label(subject_.seconds, step);
    ForEachTick(subject_.seconds, step, [&](double time) {
        const double x = area.left + time / subject_.seconds * area.width;
        const double end = area.Bottom() + layout_.Scaled(kTickLength);
        SetColour(kGrid);
        Line(x, lanes.top, x, lanes.Bottom());
        SetColour(kFrame);
        Line(x, area.Bottom(), x, end);
        SetColour(kInk);
        Text(label(time), x, end + layout_.Scaled(4), {0.5, 0});
    });
    SetColour(kPaleInk);
    Text("Time (" + label.Unit() + ")", area.left + area.width / 2.0, area.Bottom() + layout_.Scaled(30),
         {0.5, 0});
}

// The axis is linear and labelled in dBFS. It ends at full scale, or at the highest peak if that is higher.
void PlotPicture::DrawWaveform(const Envelope& envelope) {
    const double top = std::max(envelope.Peak(), 1.0);
    for (size_t lane = 0; lane < layout_.Lanes(); ++lane) {
        const PictureArea area = layout_.Lane(lane);
        DrawLevelAxis(area, top);
        DrawOutline(area, envelope, lane, top);
        if (top > 1) DrawLevel(area, 1 / top, kFullScale);
        Frame(area);
        SetColour(kInk);
        const double x = area.Right() + layout_.Scaled(10);
        const double room = layout_.Size().width - x - layout_.Scaled(4);
        Text(Fitting(subject_.lanes[lane], room), x, area.Middle(), {0, 0.5});
    }
    SetColour(kPaleInk);
    TextUpwards("Level (dBFS)", layout_.Scaled(22), layout_.Waveform().Middle());
}

// The axis is symmetric about silence in the middle, so only the upper half is labelled.
void PlotPicture::DrawLevelAxis(PictureArea area, double top) {
    const double x = area.left - layout_.Scaled(8);
    const double lineHeight = layout_.Scaled(kLabelSize + 1);
    double lowest = area.top - lineHeight;
    SetColour(kInk);
    Text("-inf", x, area.Middle(), {1, 0.5});
    constexpr int kStep = 6;  // half the amplitude
    const int highest = static_cast<int>(Decibels(top * top) / kStep) * kStep;
    for (const int level : {highest, highest - kStep, highest - 2 * kStep}) {
        const double share = Amplitude(level) / top;
        DrawLevel(area, share, kGrid);
        const double y = area.Middle() - share * area.height / 2;
        if (y < lowest + lineHeight || y > area.Middle() - 1.25 * lineHeight) continue;
        SetColour(kInk);
        Text(LevelLabel(level), x, y, {1, 0.5});
        lowest = y;
    }
}

void PlotPicture::DrawLevel(PictureArea area, double share, uint32_t colour) {
    SetColour(colour);
    for (const double height : {share * area.height / 2, -share * area.height / 2}) {
        Line(area.left, area.Middle() - height, area.Right(), area.Middle() - height);
    }
}

// The peaks of the samples, and inside them their root mean square. If each column is a single frame this is a line
// from sample to sample.
void PlotPicture::DrawOutline(PictureArea area, const Envelope& envelope, size_t lane, double top) {
    const auto columns = envelope.Lane(lane);
    const double width =
        area.width * static_cast<double>(envelope.FramesPerColumn()) / static_cast<double>(envelope.Frames());
    const auto place = [&](size_t i, double value) {
        const double x = std::min(area.left + (static_cast<double>(i) + 0.5) * width, 1.0 * area.Right());
        cairo_line_to(context_.get(), x, area.Middle() - value / top * area.height / 2);
    };
    const auto outline = [&](auto low, auto high) {
        cairo_new_path(context_.get());
        for (size_t i = 0; i < columns.size(); ++i) place(i, high(columns[i]));
        for (size_t i = columns.size(); i-- > 0;) place(i, low(columns[i]));
        cairo_close_path(context_.get());
    };
    cairo_save(context_.get());
    cairo_rectangle(context_.get(), area.left, area.top, area.width, area.height);
    cairo_clip(context_.get());
    outline([](const auto& column) { return column.low; }, [](const auto& column) { return column.high; });
    SetColour(envelope.FramesPerColumn() == 1 ? kPower : kPeaks);
    cairo_fill_preserve(context_.get());
    cairo_set_line_width(context_.get(), layout_.Scaled(1.2));
    cairo_set_line_cap(context_.get(), CAIRO_LINE_CAP_ROUND);  // makes a single point visible
    cairo_stroke(context_.get());
    outline([](const auto& column) { return std::max(column.low, -column.RootMeanSquare()); },
            [](const auto& column) { return std::min(column.high, column.RootMeanSquare()); });
    SetColour(kPower);
    cairo_fill(context_.get());
    cairo_restore(context_.get());
}

void PlotPicture::DrawSpectrogram(const Spectrogram& spectrogram, int64_t frames) {
    const PictureArea& area = layout_.Spectrogram();
    const ColourMap colours;
    const Surface image(NewImage(area.width, area.height));
    const double columnsPerPixel =
        static_cast<double>(frames) / static_cast<double>(spectrogram.FramesPerColumn()) / area.width;
    std::vector<double> powers(static_cast<size_t>(area.height));
    {
        Pixels pixels(image.get());
        for (int x = 0; x < area.width; ++x) {
            MeanOfColumns(spectrogram, x * columnsPerPixel, (x + 1) * columnsPerPixel, powers);
            for (int row = 0; row < area.height; ++row) {
                const double level = Decibels(powers[static_cast<size_t>(row)]);
                pixels.Set(x, area.height - 1 - row, colours.At(1 - level / subject_.floor));
            }
        }
    }
    Paint(image, area);
}

void PlotPicture::DrawFrequencyAxis() {
    const PictureArea& area = layout_.Spectrogram();
    const double step = RoundStep(subject_.hertz * layout_.Scaled(34) / area.height);
    ForEachTick(subject_.hertz, step, [&](double hertz) {
        const double y = area.Bottom() - hertz / subject_.hertz * area.height;
        const double end = area.left - layout_.Scaled(kTickLength);
        SetColour(kFrame);
        Line(area.left, y, end, y);
        SetColour(kInk);
        Text(FrequencyLabel(hertz), end - layout_.Scaled(3), y, {1, 0.5});
    });
    SetColour(kPaleInk);
    TextUpwards("Frequency (Hz)", layout_.Scaled(22), area.Middle());
}

void PlotPicture::DrawColourScale() {
    const PictureArea area = layout_.ColourScale();
    const ColourMap colours;
    const Surface image(NewImage(area.width, area.height));
    {
        Pixels pixels(image.get());
        for (int y = 0; y < area.height; ++y) {
            const uint32_t colour = colours.At(1 - (y + 0.5) / area.height);
            for (int x = 0; x < area.width; ++x) pixels.Set(x, y, colour);
        }
    }
    Paint(image, area);
    const double step = RoundStep(-subject_.floor * layout_.Scaled(28) / area.height);
    ForEachTick(-subject_.floor, step, [&](double decibels) {
        const double y = area.top - decibels / subject_.floor * area.height;
        const double end = area.Right() + layout_.Scaled(kTickLength);
        SetColour(kFrame);
        Line(area.Right(), y, end, y);
        SetColour(kInk);
        Text(LevelLabel(static_cast<int>(-decibels)), end + layout_.Scaled(3), y, {0, 0.5});
    });
    SetColour(kPaleInk);
    TextUpwards("Level (dBFS)", layout_.Size().width - layout_.Scaled(20), area.Middle());
}

void PlotPicture::SetColour(uint32_t colour) {
    const auto part = [colour](unsigned shift) { return (colour >> shift & 0xFF) / 255.0; };
    cairo_set_source_rgb(context_.get(), part(16), part(8), part(0));
}

void PlotPicture::SetFont(double size, bool bold) {
    cairo_select_font_face(context_.get(), kFont, CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context_.get(), layout_.Scaled(size));
}

// Runs through pixel centres, so that horizontal and vertical lines are sharp.
void PlotPicture::Line(double x1, double y1, double x2, double y2) {
    const auto middle = [](double place) { return std::floor(place) + 0.5; };
    cairo_set_line_width(context_.get(), std::round(layout_.Scaled(1)));
    cairo_move_to(context_.get(), middle(x1), middle(y1));
    cairo_line_to(context_.get(), middle(x2), middle(y2));
    cairo_stroke(context_.get());
}

void PlotPicture::Frame(PictureArea area) {
    SetColour(kFrame);
    cairo_set_line_width(context_.get(), 1);
    cairo_rectangle(context_.get(), area.left - 0.5, area.top - 0.5, area.width + 1, area.height + 1);
    cairo_stroke(context_.get());
}

void PlotPicture::Paint(const Surface& image, PictureArea area) {
    cairo_set_source_surface(context_.get(), image.get(), area.left, area.top);
    cairo_paint(context_.get());
    Frame(area);
}

double PlotPicture::TextWidth(const std::string& text) {
    cairo_text_extents_t extents;
    cairo_text_extents(context_.get(), text.c_str(), &extents);
    return extents.x_advance;
}

void PlotPicture::Text(const std::string& text, double x, double y, Anchor anchor) {
    cairo_font_extents_t font;
    cairo_font_extents(context_.get(), &font);
    const double left = x - anchor.x * TextWidth(text);
    const double baseline = y + font.ascent - anchor.y * (font.ascent + font.descent);
    cairo_move_to(context_.get(), std::round(left), std::round(baseline));
    cairo_show_text(context_.get(), text.c_str());
}

// Centred on the point.
void PlotPicture::TextUpwards(const std::string& text, double x, double y) {
    cairo_save(context_.get());
    cairo_translate(context_.get(), x, y);
    cairo_rotate(context_.get(), -std::numbers::pi / 2);
    Text(text, 0, 0, {0.5, 0.5});
    cairo_restore(context_.get());
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
