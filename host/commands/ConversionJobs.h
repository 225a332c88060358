#pragma once

#include "host/convert/Conversion.h"
#include "host/formats/AudioSink.h"
#include "host/formats/Wave64Writer.h"
#include "host/terminal/TimePoint.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace w64 {

// What `w64 decode` and `w64 encode` have in common.
struct ConvertOptions {
    std::vector<std::string> inputs;
    std::string output;  // a file, an existing folder, or empty for a name next to each input
    ConversionOptions conversion;
    bool salvage = false;
    bool noTags = false;
    bool verify = false;
    bool force = false;
    bool skipExisting = false;
    unsigned jobs = 1;
};

struct DecodeOptions : ConvertOptions {  // the output can be "-", too
    std::optional<AudioFileType> type;
    std::optional<TimePoint> start;
    std::optional<TimePoint> end;
};

struct EncodeOptions : ConvertOptions {
    unsigned padding = kDefaultPadding;
};

// Whether the second of two arguments is the output.
bool EndsWithOutput(const EncodeOptions& options);

// All but the inputs, the output and --salvage.
void AddConvertOptions(CLI::App* command, ConvertOptions& options);

// What becomes of one input.
struct ConversionJob {
    std::string input;
    std::filesystem::path output;  // "-" for standard output
    AudioFileType type{};          // of a decoded file

    bool IsStream() const { return output == "-"; }

    // Whether the output is there already, and is not to be made again.
    bool IsToBeSkipped(const ConvertOptions& options) const;
};

// One job per input.
// Errors: UsageError when the options contradict each other.
std::vector<ConversionJob> PlanDecodeJobs(const DecodeOptions& options);
std::vector<ConversionJob> PlanEncodeJobs(EncodeOptions options);

}  // namespace w64
