#pragma once

#include "host/commands/DecodeOptions.h"

#include <filesystem>
#include <string>
#include <vector>

namespace w64 {

// What `w64 decode` makes of one input.
struct DecodeJob {
    std::string input;
    std::filesystem::path output;  // "-" for standard output
    AudioFileType type;

    bool IsStream() const { return output == "-"; }
};

// One job per input.
// Errors: UsageError when the options contradict each other.
std::vector<DecodeJob> PlanDecodeJobs(const DecodeOptions& options);

}  // namespace w64
