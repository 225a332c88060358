#pragma once

#include "host/convert/Conversion.h"
#include "host/formats/AudioSink.h"
#include "host/terminal/TimePoint.h"

#include <optional>
#include <string>
#include <vector>

namespace w64 {

struct DecodeOptions {
    std::vector<std::string> inputs;
    std::string output;  // a file, an existing folder, "-", or empty for a name next to each input
    std::optional<AudioFileType> type;
    std::optional<TimePoint> start;
    std::optional<TimePoint> end;
    ConversionOptions conversion;
    bool salvage = false;
    bool force = false;
    unsigned jobs = 1;
};

}  // namespace w64
