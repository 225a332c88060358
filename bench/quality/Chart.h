#pragma once

#include <filesystem>
#include <string>
#include <vector>

// Curves in one or two panels side by side, with what they have in common around them.
struct Chart {
    struct Axis {
        std::string label;
        double from;
        double to;
        double step;  // between the lines of the grid
    };
    struct Point {
        double x;
        double y;
    };
    using Curve = std::vector<Point>;
    struct Panel {
        Axis x;
        Axis y;
        std::vector<Curve> curves;  // one for each name, drawn from the last to the first
    };

    std::string title;
    std::vector<std::string> names;
    std::vector<Panel> panels;

    // A PNG of 1200 x 700. Throws std::runtime_error when it cannot be written.
    void Draw(const std::filesystem::path& path) const;
};
