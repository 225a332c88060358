#pragma once

#include "host/commands/Commands.h"

#include <filesystem>
#include <string>
#include <vector>

namespace w64 {

// What becomes of one input of `w64 decode`.
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
