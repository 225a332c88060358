#include "Report.h"

#include "IntegerOutput.h"
#include "Measurement.h"

#include <cmath>
#include <cstdio>
#include <string>

namespace {

struct Column {
    const char* heading;
    const char* format;
    double Figures::*figure;
    bool atLeast = false;
};

constexpr Column kColumns[] = {
    {"image, tones", "%.1f", &Figures::image},    {"image, sweep", "%.1f", &Figures::sweep},
    {"10 Hz beyond", "%.1f", &Figures::leakAt10}, {"100 Hz beyond", "%.1f", &Figures::leakAt100},
    {"ripple", "%.1e", &Figures::ripple},         {"-3 dB at", "%.4f", &Figures::passBandEnd, true},
    {"impulse off by", "%.1e", &Figures::delay},  {"error, 24 bits", "%.4f", &Figures::error24},
};

constexpr int kWidth = 16;

std::string Text(const char* format, double value) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

bool Holds(const Column& column, const Row& row) {
    const double figure = row.figures.*column.figure;
    const double bound = row.bounds.*column.figure;
    if (column.atLeast) return figure >= bound;
    return (bound > 0 ? std::abs(figure) : figure) <= bound;
}

// The figure, with a bound of its own in brackets.
std::string CellText(const Column& column, const Row& row, bool withBounds) {
    const double figure = row.figures.*column.figure;
    const double bound = row.bounds.*column.figure;
    std::string text = std::isnan(figure) ? "" : Text(column.format, figure);
    if (!withBounds) return text;
    if (bound != Figures().*column.figure) text += " (" + Text(column.format, bound) + ")";
    return Holds(column, row) ? text : text + " FAILS";
}

void PrintCell(const std::string& text) { std::printf(" %*s |", kWidth, text.c_str()); }

}  // namespace

void Measure(const Resampler& resampler, int meetings, Row& row) {
    const Measurement measurement(resampler, row.pair);
    const auto [image, ripple] = measurement.MeasureTones(row.nearest, meetings);
    const auto [leakAt10, leakAt100] = measurement.LeaksBeyondNyquist({10, 100});
    row.figures = {.image = image,
                   .sweep = measurement.ImageOfSweep(),
                   .leakAt10 = leakAt10,
                   .leakAt100 = leakAt100,
                   .ripple = ripple,
                   .passBandEnd = measurement.PassBandEnd(),
                   .delay = measurement.ImpulseDelay(),
                   .error24 = &resampler == &kOurs ? WorstErrorIn24Bits(row.pair) : NAN};
}

bool PrintTable(const char* name, const std::vector<Row>& rows, bool withBounds) {
    std::printf("\n%s\n\n| %-*s |", name, kWidth, "rates");
    for (const Column& column : kColumns) PrintCell(column.heading);
    std::printf("\n|%s|", std::string(kWidth + 2, '-').c_str());
    for (size_t i = 0; i < std::size(kColumns); ++i)
        std::printf("%s:|", std::string(kWidth + 1, '-').c_str());
    if (withBounds) {
        std::printf("\n| %-*s |", kWidth, "bound");
        for (const Column& column : kColumns) PrintCell(Text(column.format, Figures().*column.figure));
    }
    bool allHold = true;
    for (const Row& row : rows) {
        std::printf("\n| %6d to %6d |", row.pair.source, row.pair.target);
        for (const Column& column : kColumns) {
            PrintCell(CellText(column, row, withBounds));
            allHold &= Holds(column, row);
        }
    }
    std::printf("\n");
    return allHold;
}
