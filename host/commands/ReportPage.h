#pragma once

#include "host/layout/LayoutCheck.h"
#include "host/measure/AudioMeter.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace w64 {

// What a report says about one file. Texts may hold anything.
struct ReportRow {
    std::string name;
    bool isChecked = false;               // its layout, which only Wave64 files have
    std::vector<LayoutFinding> findings;  // by the check of its layout
    std::vector<std::string> errors;      // what kept it from being read, in part or at all
    std::string format;                   // empty if it cannot be read
    int64_t milliseconds = 0;
    AudioMeasures measures;  // without frames if there is no audio
    std::vector<std::pair<std::string, std::string>> tags;
    std::vector<uint8_t> picture;  // a PNG

    bool HasFaults() const;
};

// The whole HTML page, which needs nothing from elsewhere.
std::string ReportPage(const std::vector<ReportRow>& rows);

}  // namespace w64
