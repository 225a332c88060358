#pragma once

#include "host/convert/Conversion.h"
#include "host/terminal/TimePoint.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

namespace w64 {

// Arguments that several commands take.

void AddFiles(CLI::App* command, std::vector<std::string>& files);       // "FILE"
void AddAudioFiles(CLI::App* command, std::vector<std::string>& files);  // "FILE", of any kind
void AddJobs(CLI::App* command, unsigned& jobs,                          // default: one per processor core
             const std::string& help = "Files to work on at the same time");
void AddJSON(CLI::App* command, bool& json);
void AddForce(CLI::App* command, bool& force);
void AddPadding(CLI::App* command, unsigned& bytes);
CLI::Option* AddPlace(CLI::App* command, const char* name, std::optional<TimePoint>& place, const char* help);
void AddRange(CLI::App* command, std::optional<TimePoint>& start, std::optional<TimePoint>& end);
void AddConversion(CLI::App* command, ConversionOptions& options);

// Errors: CLI::ValidationError.
TimePoint ParsePlace(const std::string& text);

// The last lines of a command's help, after `text`.
void SetFooter(CLI::App* command, const std::string& text);

// How the places of --start and --end are written.
constexpr const char* kAboutPlaces =
    "START and END are times, in seconds (90) or with minutes and hours (1:30,\n"
    "1:02:03.5), or frames (12345f). END itself is not included.\n\n";

}  // namespace w64
