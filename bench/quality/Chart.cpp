#include "Chart.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>
#include <stdexcept>

namespace w64 {

namespace {

constexpr int kWidth = 1200;
constexpr int kHeight = 700;
constexpr double kMargin = 28;
constexpr double kTop = 112;
constexpr double kBottom = kHeight - 72;
constexpr double kScale = 84;  // left of a panel, for its labels
constexpr double kTextSize = 15;

struct Colour {
    double red, green, blue;
};
constexpr Colour kPaper{1, 1, 1};
constexpr Colour kInk{0.16, 0.18, 0.21};
constexpr Colour kGrid{0.87, 0.88, 0.90};
constexpr Colour kCurves[] = {{0.08, 0.35, 0.80}, {0.93, 0.53, 0.08}, {0.18, 0.62, 0.32}, {0.74, 0.20, 0.45}};

// A panel's coordinates.
struct Plot {
    double X(double value) const { return left + (value - x.from) / (x.to - x.from) * (right - left); }
    double Y(double value) const { return kBottom - (value - y.from) / (y.to - y.from) * (kBottom - kTop); }

    const Chart::Axis& x;
    const Chart::Axis& y;
    double left, right;
};

void Use(cairo_t* cairo, const Colour& colour) {
    cairo_set_source_rgb(cairo, colour.red, colour.green, colour.blue);
}

void DrawLine(cairo_t* cairo, double x1, double y1, double x2, double y2) {
    cairo_move_to(cairo, x1, y1);
    cairo_line_to(cairo, x2, y2);
    cairo_stroke(cairo);
}

// Alignment 0: starts at x; 1: ends there.
void DrawText(cairo_t* cairo, double x, double y, const std::string& text, double alignment) {
    cairo_text_extents_t extents;
    cairo_text_extents(cairo, text.c_str(), &extents);
    cairo_move_to(cairo, x - alignment * extents.x_advance, y);
    cairo_show_text(cairo, text.c_str());
}

std::string Number(double value, double step) {
    const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, std::abs(value) < step / 2 ? 0.0 : value);
    return text;
}

void DrawGrid(cairo_t* cairo, const Plot& plot) {
    cairo_set_line_width(cairo, 1);
    const auto forEach = [](const Chart::Axis& axis, auto draw) {
        const double first = std::ceil(axis.from / axis.step - 1e-9);
        for (double i = first; i * axis.step <= axis.to + 1e-9 * axis.step; ++i) draw(i * axis.step);
    };
    forEach(plot.x, [&](double value) {
        Use(cairo, kGrid);
        DrawLine(cairo, plot.X(value), kTop, plot.X(value), kBottom);
        Use(cairo, kInk);
        DrawText(cairo, plot.X(value), kBottom + 22, Number(value, plot.x.step), 0.5);
    });
    forEach(plot.y, [&](double value) {
        Use(cairo, kGrid);
        DrawLine(cairo, plot.left, plot.Y(value), plot.right, plot.Y(value));
        Use(cairo, kInk);
        DrawText(cairo, plot.left - 8, plot.Y(value) + 5, Number(value, plot.y.step), 1);
    });
    DrawText(cairo, (plot.left + plot.right) / 2, kBottom + 48, plot.x.label, 0.5);
    DrawText(cairo, plot.left, kTop - 12, plot.y.label, 0);
}

void DrawCurve(cairo_t* cairo, const Plot& plot, const Chart::Curve& curve) {
    cairo_save(cairo);
    cairo_rectangle(cairo, plot.left, kTop, plot.right - plot.left, kBottom - kTop);
    cairo_clip(cairo);
    for (const auto& [x, y] : curve) cairo_line_to(cairo, plot.X(x), std::clamp(plot.Y(y), -1e4, 1e4));
    cairo_stroke(cairo);
    cairo_restore(cairo);
}

void DrawLegend(cairo_t* cairo, const std::vector<std::string>& names) {
    double x = kMargin;
    for (size_t i = 0; i < names.size(); ++i) {
        Use(cairo, kCurves[i]);
        cairo_set_line_width(cairo, 4);
        DrawLine(cairo, x, 66, x + 26, 66);
        Use(cairo, kInk);
        DrawText(cairo, x + 34, 71, names[i], 0);
        cairo_text_extents_t extents;
        cairo_text_extents(cairo, names[i].c_str(), &extents);
        x += 34 + extents.x_advance + 30;
    }
}

}  // namespace

void Chart::Draw(const std::filesystem::path& path) const {
    const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight), cairo_surface_destroy);
    const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> owner(cairo_create(surface.get()),
                                                                   cairo_destroy);
    cairo_t* const cairo = owner.get();
    Use(cairo, kPaper);
    cairo_paint(cairo);
    Use(cairo, kInk);
    cairo_select_font_face(cairo, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cairo, 20);
    DrawText(cairo, kMargin, 38, title, 0);
    cairo_select_font_face(cairo, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo, kTextSize);
    DrawLegend(cairo, names);

    const double pitch = (kWidth - 2 * kMargin) / static_cast<double>(panels.size());
    for (size_t i = 0; i < panels.size(); ++i) {
        const double left = kMargin + pitch * static_cast<double>(i) + kScale;
        const Plot plot{panels[i].x, panels[i].y, left, left + pitch - kScale};
        DrawGrid(cairo, plot);
        for (size_t curve = panels[i].curves.size(); curve-- > 0;) {
            cairo_set_line_width(cairo, 2 + 0.7 * static_cast<double>(curve));  // so that the lower ones show
            Use(cairo, kCurves[curve]);
            DrawCurve(cairo, plot, panels[i].curves[curve]);
        }
    }
    if (cairo_surface_write_to_png(surface.get(), path.c_str()) != CAIRO_STATUS_SUCCESS)
        throw std::runtime_error("cannot write " + path.string());
}

}  // namespace w64
