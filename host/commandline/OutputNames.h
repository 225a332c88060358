#pragma once

#include "host/terminal/TimePoint.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace w64 {

// The options of commands that make a file of each input or of a part of it.
// Errors: UsageError when they contradict each other.

constexpr const char* kWave64Ending = ".w64";

// The names of the outputs: `output`, if it is not a folder; else those of the inputs with another ending, in that
// folder or, if `output` is empty, next to the inputs.
std::vector<std::filesystem::path> OutputNames(std::span<const std::string> inputs, const std::string& output,
                                               std::string_view ending);

// Whether that is neither empty nor a folder.
bool NamesAFile(const std::string& output);

void RefuseReversed(const std::optional<TimePoint>& start, const std::optional<TimePoint>& end);

}  // namespace w64
