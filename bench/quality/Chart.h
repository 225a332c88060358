#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace w64 {

// Curves in one or two panels side by side, under a common title and legend.
struct Chart {
    struct Axis {
        std::string label;
        double from;
        double to;
        double step;  // between grid lines
    };
    struct Point {
        double x;
        double y;
    };
    using Curve = std::vector<Point>;
    struct Panel {
        Axis x;
        Axis y;
        std::vector<Curve> curves;  // one per name, the first on top
    };

    std::string title;
    std::vector<std::string> names;
    std::vector<Panel> panels;

    // A PNG of 1200 x 700. Throws std::runtime_error when it cannot be written.
    void Draw(const std::filesystem::path& path) const;
};

}  // namespace w64
