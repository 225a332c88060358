#pragma once

#include "host/convert/Conversion.h"
#include "host/formats/AudioSink.h"
#include "host/formats/Wave64Writer.h"
#include "host/terminal/Console.h"
#include "host/terminal/TimePoint.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <semaphore>
#include <span>
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
    unsigned threads = 1;          // that change its sample rate

    bool IsStream() const { return output == "-"; }

    // Whether the output is there already, and is not to be made again.
    bool IsToBeSkipped(const ConvertOptions& options) const;
};

// Of the threads that work on jobs, as many as --jobs says compute; the others wait for the disk.
class WorkSlots {
public:
    explicit WorkSlots(unsigned count) : free_(count) {}
    void lock() { free_.acquire(); }
    void unlock() { free_.release(); }

private:
    std::counting_semaphore<> free_;
};
using WorkSlot = std::unique_lock<WorkSlots>;

// Calls `work` with each job that is not to be skipped, and a slot that it gives back when it has computed all.
// Errors: as ForEachFile.
[[nodiscard]] bool ForEachJob(std::span<const ConversionJob> jobs, const ConvertOptions& options,
                              Console& console,
                              const std::function<void(const ConversionJob&, WorkSlot&)>& work);

// One job per input.
// Errors: UsageError when the options contradict each other.
std::vector<ConversionJob> PlanDecodeJobs(const DecodeOptions& options);
std::vector<ConversionJob> PlanEncodeJobs(EncodeOptions options);

}  // namespace w64
