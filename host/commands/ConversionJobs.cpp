#include "host/commands/ConversionJobs.h"

#include "host/commandline/Arguments.h"
#include "host/commandline/OutputNames.h"
#include "host/files/JournalledEdit.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"

#include <algorithm>
#include <thread>
#include <unistd.h>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kStandardOutput = "-";

AudioFileType TypeByName(const std::string& output) {
    if (const auto type = AudioFileTypeOf(output)) return *type;
    throw UsageError("'" + output +
                     "' should end in .wav, .flac, .aiff, .caf, .ogg, .opus, .mp3, .raw or .pcm, unless "
                     "--format says what to write");
}

void CheckExisting(const ConvertOptions& options) {
    if (options.force && options.skipExisting) {
        throw UsageError("--force replaces what exists, and --skip-existing keeps it");
    }
}

void CheckStream(const DecodeOptions& options) {
    if (options.output != kStandardOutput) return;
    if (::isatty(STDOUT_FILENO) == 1) {
        throw UsageError("standard output is a terminal, which does not play audio");
    }
    if (options.verify) throw UsageError("--verify reads a file back, and standard output is none");
}

AudioFileType TypeOf(const DecodeOptions& options) {
    const bool isNamed = options.output != kStandardOutput && NamesAFile(options.output);
    const AudioFileType type = options.type ? *options.type
                               : isNamed    ? TypeByName(options.output)
                                            : AudioFileType::Wav;
    if (options.verify && IsLossy(type)) {
        throw UsageError("--verify compares samples, and " + EndingOf(type) + " files do not keep them");
    }
    return type;
}

// More than 8 would wait for reading and writing, which take about an eighth of the time.
void ShareThreads(std::vector<ConversionJob>& jobs, unsigned threads) {
    constexpr unsigned kMax = 8;
    const auto count = static_cast<unsigned>(std::max<size_t>(jobs.size(), 1));
    for (ConversionJob& job : jobs) job.threads = std::clamp(threads / count, 1u, kMax);
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
    command->add_option("-j,--jobs", options.jobs, "Threads: for several files, or for the new rate of one")
        ->check(CLI::Range(1u, 1024u).description(""))
        ->type_name("N")
        ->capture_default_str();
}

bool ConversionJob::IsToBeSkipped(const ConvertOptions& options) const {
    std::error_code error;
    return options.skipExisting && !IsStream() && fs::exists(output, error);
}

// The disk takes several files in about the time of one.
bool ForEachJob(std::span<const ConversionJob> jobs, const ConvertOptions& options, Console& console,
                const std::function<void(const ConversionJob&, WorkSlot&)>& work) {
    constexpr unsigned kWaiting = 16;  // threads
    WorkSlots slots(options.jobs);
    const auto inputs = std::span(options.inputs).first(jobs.size());
    return ForEachFile(inputs, options.jobs + kWaiting, console, [&](size_t i) {
        if (jobs[i].IsToBeSkipped(options)) return;
        WorkSlot slot(slots);
        NoteInterruptedEdit(inputs[i], console);
        work(jobs[i], slot);
    });
}

std::vector<ConversionJob> PlanDecodeJobs(const DecodeOptions& options) {
    CheckExisting(options);
    const auto outputs =
        OutputNames(options.inputs, options.output, EndingOf(options.type.value_or(AudioFileType::Wav)));
    CheckStream(options);
    RefuseReversed(options.start, options.end);
    const AudioFileType type = TypeOf(options);
    std::vector<ConversionJob> jobs;
    for (size_t i = 0; i < outputs.size(); ++i) jobs.push_back({options.inputs[i], outputs[i], type});
    ShareThreads(jobs, options.jobs);
    return jobs;
}

bool EndsWithOutput(const EncodeOptions& options) {
    return options.output.empty() && options.inputs.size() == 2 &&
           fs::path(options.inputs[1]).extension() == kWave64Ending;
}

std::vector<ConversionJob> PlanEncodeJobs(EncodeOptions options) {
    std::vector<std::string>& inputs = options.inputs;
    if (EndsWithOutput(options)) {
        options.output = inputs[1];
        inputs.pop_back();
    }
    CheckExisting(options);
    const auto outputs = OutputNames(inputs, options.output, kWave64Ending);
    if (NamesAFile(options.output) && fs::path(options.output).extension() != kWave64Ending) {
        throw UsageError("'" + options.output + "' should end in .w64");
    }
    std::vector<ConversionJob> jobs;
    for (size_t i = 0; i < outputs.size(); ++i) {
        if (options.output.empty() && outputs[i] == inputs[i]) {
            throw UsageError("'" + inputs[i] + "' would replace itself; -o says where to write");
        }
        jobs.push_back({inputs[i], outputs[i]});
    }
    ShareThreads(jobs, options.jobs);
    return jobs;
}

}  // namespace w64
