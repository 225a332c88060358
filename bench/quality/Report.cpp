#include "Report.h"

#include "IntegerOutput.h"
#include "Measurement.h"

#include <cmath>
#include <cstdio>
#include <span>
#include <string>

namespace w64 {

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

constexpr int kColumnWidth = 16;
constexpr int kNameWidth = 36;

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

// The figure, followed by its bound in brackets if that is not the default.
std::string BoundedText(const Column& column, const Row& row) {
    const double bound = row.bounds.*column.figure;
    std::string text = Text(column.format, row.figures.*column.figure);
    if (bound != Figures().*column.figure) text += " (" + Text(column.format, bound) + ")";
    return Holds(column, row) ? text : text + " FAILS";
}

void PrintLead(const std::string& rates, const char* name) {
    std::printf("\n| %-*s | %-*s |", kColumnWidth, rates.c_str(), kNameWidth, name);
}
void PrintCell(const std::string& text) { std::printf(" %*s |", kColumnWidth, text.c_str()); }

bool PrintBoundedRow(const Row& row) {
    bool allHold = true;
    for (const Column& column : kColumns) {
        PrintCell(BoundedText(column, row));
        allHold &= Holds(column, row);
    }
    return allHold;
}

void PrintRow(const Row& row) {
    for (const Column& column : kColumns) {
        const double figure = row.figures.*column.figure;
        PrintCell(std::isnan(figure) ? "" : Text(column.format, figure));
    }
}

}  // namespace

void Measure(const Resampler& resampler, int coincidentTones, Row& row) {
    const Measurement measurement(resampler, row.pair);
    const auto [image, ripple] = measurement.MeasureTones(row.nearest, coincidentTones);
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

bool PrintTable(const std::vector<Measured>& all) {
    PrintLead("rates", "");
    for (const Column& column : kColumns) PrintCell(column.heading);
    std::printf("\n|%s|%s|", std::string(kColumnWidth + 2, '-').c_str(),
                std::string(kNameWidth + 2, '-').c_str());
    for (size_t i = 0; i < std::size(kColumns); ++i)
        std::printf("%s:|", std::string(kColumnWidth + 1, '-').c_str());
    PrintLead("", "default bound");
    for (const Column& column : kColumns) PrintCell(Text(column.format, Figures().*column.figure));
    bool allHold = true;
    for (size_t i = 0; i < all.front().rows.size(); ++i) {
        const RatePair pair = all.front().rows[i].pair;
        PrintLead(std::to_string(pair.source) + " to " + std::to_string(pair.target),
                  all.front().resampler.name);
        allHold &= PrintBoundedRow(all.front().rows[i]);
        for (const Measured& peer : std::span(all).subspan(1)) {
            PrintLead("", peer.resampler.name);
            PrintRow(peer.rows[i]);
        }
    }
    std::printf("\n");
    return allHold;
}

}  // namespace w64
