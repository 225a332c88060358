#include "host/commands/ConversionJobs.h"

#include "host/commandline/Arguments.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <map>
#include <thread>
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
                     "' should end in .wav, .flac, .aiff, .caf, .ogg, .opus, .mp3, .raw or .pcm, unless "
                     "--format says what to write");
}

void CheckOutput(const ConvertOptions& options) {
    const std::vector<std::string>& inputs = options.inputs;
    const std::string& output = options.output;
    if (options.force && options.skipExisting) {
        throw UsageError("--force replaces what exists, and --skip-existing keeps it");
    }
    if (inputs.size() > 1 && !output.empty() && !IsFolder(output)) {
        throw UsageError("several files need a folder to go into; '" + output + "' is not a folder");
    }
    if (output.ends_with('/') && !IsFolder(output)) throw UsageError("there is no folder '" + output + "'");
}

void CheckStream(const DecodeOptions& options) {
    if (options.output != kStandardOutput) return;
    if (::isatty(STDOUT_FILENO) == 1) {
        throw UsageError("standard output is a terminal, which does not play audio");
    }
    if (options.verify) throw UsageError("--verify reads a file back, and standard output is none");
}

void CheckRange(const DecodeOptions& options) {
    constexpr uint32_t kAnyRate = 1'000'000'000;
    if (!options.start || !options.end || options.start->IsTime() != options.end->IsTime()) return;
    if (options.start->Frame(kAnyRate) > options.end->Frame(kAnyRate))
        throw UsageError("--start is after --end");
}

// In a folder, next to the input, or where the output says.
fs::path PlaceOf(const std::string& input, const std::string& output, const std::string& ending) {
    fs::path besideInput = fs::path(input).replace_extension(ending);
    if (output.empty()) return besideInput;
    return IsFolder(output) ? output / besideInput.filename() : fs::path(output);
}

void RefuseEqualOutputs(const std::vector<ConversionJob>& jobs) {
    std::map<fs::path, std::string> inputOf;
    for (const auto& [input, output, type] : jobs) {
        const auto [first, isFree] = inputOf.emplace(output.lexically_normal(), input);
        if (!isFree) {
            throw UsageError("'" + first->second + "' and '" + input + "' would both become '" +
                             output.native() + "'");
        }
    }
}

ConversionJob PlanDecodeJob(const std::string& input, const DecodeOptions& options) {
    auto type = options.type.value_or(AudioFileType::Wav);
    if (options.output == kStandardOutput) return {input, kStandardOutput, type};
    const bool isNamed = !options.output.empty() && !IsFolder(options.output);
    if (isNamed && !options.type) type = TypeByName(options.output);
    if (options.verify && IsLossy(type)) {
        throw UsageError("--verify compares samples, and " + EndingOf(type) + " files do not keep them");
    }
    return {input, PlaceOf(input, options.output, EndingOf(type)), type};
}

}  // namespace

void AddConvertOptions(CLI::App* command, ConvertOptions& options) {
    AddConversion(command, options.conversion);
    command->add_flag("--no-tags", options.noTags, "Leave out tags and the broadcast extension");
    command->add_flag("--verify", options.verify,
                      "Read each output back and compare its audio before it\nappears under its name");
    AddForce(command, options.force);
    command->add_flag("--skip-existing", options.skipExisting, "Skip inputs whose output exists");
    options.jobs = std::max(std::thread::hardware_concurrency(), 1u);
    command->add_option("-j,--jobs", options.jobs, "Files to convert at the same time")
        ->check(CLI::Range(1u, 1024u).description(""))
        ->type_name("N")
        ->capture_default_str();
}

bool ConversionJob::IsToBeSkipped(const ConvertOptions& options) const {
    std::error_code error;
    return options.skipExisting && !IsStream() && fs::exists(output, error);
}

std::vector<ConversionJob> PlanDecodeJobs(const DecodeOptions& options) {
    CheckOutput(options);
    CheckStream(options);
    CheckRange(options);
    std::vector<ConversionJob> jobs;
    for (const std::string& input : options.inputs) jobs.push_back(PlanDecodeJob(input, options));
    RefuseEqualOutputs(jobs);
    return jobs;
}

std::vector<ConversionJob> PlanEncodeJobs(EncodeOptions options) {
    constexpr const char* kEnding = ".w64";
    std::vector<std::string>& inputs = options.inputs;
    if (options.output.empty() && inputs.size() == 2 && fs::path(inputs[1]).extension() == kEnding) {
        options.output = inputs[1];
        inputs.pop_back();
    }
    CheckOutput(options);
    const bool isNamed = !options.output.empty() && !IsFolder(options.output);
    if (isNamed && fs::path(options.output).extension() != kEnding) {
        throw UsageError("'" + options.output + "' should end in .w64");
    }
    std::vector<ConversionJob> jobs;
    for (const std::string& input : inputs) {
        jobs.push_back({input, PlaceOf(input, options.output, kEnding)});
        if (options.output.empty() && jobs.back().output == input) {
            throw UsageError("'" + input + "' would replace itself; -o says where to write");
        }
    }
    RefuseEqualOutputs(jobs);
    return jobs;
}

}  // namespace w64
