#include "host/commands/DecodeJobs.h"

#include "host/terminal/Failure.h"

#include <map>
#include <unistd.h>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kStandardOutput = "-";

bool IsFolder(const std::string& name) {
    std::error_code error;
    return fs::is_directory(name, error);
}

AudioFileType TypeByName(const std::string& output) {
    if (const auto type = AudioFileTypeOf(output)) return *type;
    throw UsageError("'" + output +
                     "' should end in .wav, .flac, .raw or .pcm, unless --format says what to write");
}

void CheckOutput(const DecodeOptions& options) {
    if (options.inputs.size() > 1 && !options.output.empty() && !IsFolder(options.output)) {
        throw UsageError("several files need a folder to go into; '" + options.output + "' is not a folder");
    }
    if (options.output.ends_with('/') && !IsFolder(options.output)) {
        throw UsageError("there is no folder '" + options.output + "'");
    }
    if (options.output == kStandardOutput && ::isatty(STDOUT_FILENO) == 1) {
        throw UsageError("standard output is a terminal, which does not play audio");
    }
}

void CheckRange(const DecodeOptions& options) {
    constexpr uint32_t kAnyRate = 1'000'000'000;
    if (!options.start || !options.end || options.start->IsTime() != options.end->IsTime()) return;
    if (options.start->Frame(kAnyRate) > options.end->Frame(kAnyRate))
        throw UsageError("--start is after --end");
}

DecodeJob PlanJob(const std::string& input, const DecodeOptions& options) {
    const auto type = options.type.value_or(AudioFileType::Wav);
    if (options.output == kStandardOutput) return {input, kStandardOutput, type};
    const fs::path besideInput = fs::path(input).replace_extension(EndingOf(type));
    if (options.output.empty()) return {input, besideInput, type};
    if (IsFolder(options.output)) return {input, options.output / besideInput.filename(), type};
    return {input, options.output, options.type ? type : TypeByName(options.output)};
}

}  // namespace

std::vector<DecodeJob> PlanDecodeJobs(const DecodeOptions& options) {
    CheckOutput(options);
    CheckRange(options);
    std::vector<DecodeJob> jobs;
    std::map<fs::path, std::string> inputOf;
    for (const std::string& input : options.inputs) {
        jobs.push_back(PlanJob(input, options));
        const fs::path& output = jobs.back().output;
        const auto [first, isFree] = inputOf.emplace(output.lexically_normal(), input);
        if (!isFree) {
            throw UsageError("'" + first->second + "' and '" + input + "' would both become '" +
                             output.native() + "'");
        }
    }
    return jobs;
}

}  // namespace w64
