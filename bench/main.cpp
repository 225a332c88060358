#include "Ratios.h"

#include <cstdio>

namespace w64 {

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
        const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
        const auto [entry, first] = fastest_.emplace(run.run_name.function_name, seconds);
        if (!first) entry->second = std::min(entry->second, seconds);
    }
}

bool RatioReporter::PrintRatios(std::initializer_list<Ratio> ratios) const {
    bool allWithin = true;
    std::printf("\n%-32s %-32s %8s %8s\n", "ours", "peer", "ratio", "limit");
    for (const Ratio& ratio : ratios) {
        const auto value = RatioOf(ratio.ours, ratio.peer);
        if (!value) continue;
        const bool within = *value <= ratio.limit;
        std::printf("%-32s %-32s %8.3f %8.2f%s\n", ratio.ours, ratio.peer, *value, ratio.limit,
                    within ? "" : "  OVER");
        allWithin &= within;
    }
    return allWithin;
}

void RatioReporter::PrintFloors(std::initializer_list<Floor> floors) const {
    std::printf("\nWhere the limit is\n%-32s %-32s %8s\n", "ours", "least", "ratio");
    for (const Floor& floor : floors) {
        if (const auto value = RatioOf(floor.ours, floor.least))
            std::printf("%-32s %-32s %8.3f\n", floor.ours, floor.least, *value);
    }
}

std::optional<double> RatioReporter::RatioOf(const char* ours, const char* peer) const {
    const auto our = fastest_.find(ours);
    const auto their = fastest_.find(peer);
    if (our == fastest_.end() || their == fastest_.end()) return std::nullopt;
    return our->second / their->second;
}

}  // namespace w64

using namespace w64;

int main(int count, char** arguments) {
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintFloors({
        {"DecodeThroughThePlugin", "CopyGiBInMemory"},
        {"DecodeThroughThePlugin", "DecodeByBareReads"},
        {"CopyGiBByCommand", "DecodeByBareReads"},
        {"Resample44100To48000", "TransformTwice44100To48000"},
        {"Resample96000To44100", "TransformTwice96000To44100"},
    });
    return reporter.PrintRatios({
               {"DecodeThroughThePlugin", "DecodeByBareReads", 1.05},
               {"ScanChunks", "WalkHeaders", 1.5},
               {"MoveAudioByEdits", "MoveAudioByBareLoops", 1.2},
               {"Pack100kTags", "PackTenTimes10kTags", 1.2},
               {"Unpack100kTags", "UnpackTenTimes10kTags", 1.2},
               {"Merge100kTags", "MergeTenTimes10kTags", 1.2},
               {"Convert16To24", "Copy24", 1.1},
               {"Convert24ToFloat", "Copy32", 1.1},
               {"Convert24To16", "Copy16", 2.2},
               {"ConvertFloatTo24", "Copy24", 2.2},
               {"ConvertFloatTo16", "Copy16", 3.2},
               {"Dither24To16", "DitherSingleSamples", 0.35},
               {"Convert51ToStereo24", "Copy24", 6},
               {"ConvertMonoToStereo24", "Copy24", 4},
               {"Resample44100To48000", "Resample44100To48000BySoxr", 0.65},
               {"Resample48000To44100", "Resample48000To44100BySoxr", 0.65},
               {"Resample44100To96000", "Resample44100To96000BySoxr", 0.65},
               {"Resample96000To44100", "Resample96000To44100BySoxr", 0.8},
               {"Resample192000To44100", "Resample192000To44100BySoxr", 0.65},
               {"Resample44100To192000", "Resample44100To192000BySoxr", 0.65},
               {"Resample8000To44100", "Resample8000To44100BySoxr", 0.65},
               {"ResampleMono44100To48000", "ResampleMono44100To48000BySoxr", 0.75},
               {"ResampleMono48000To44100", "ResampleMono48000To44100BySoxr", 0.75},
               {"ResampleMono44100To96000", "ResampleMono44100To96000BySoxr", 0.75},
               {"ResampleMono96000To44100", "ResampleMono96000To44100BySoxr", 0.9},
               {"ResampleMono192000To44100", "ResampleMono192000To44100BySoxr", 0.75},
               {"ResampleMono44100To192000", "ResampleMono44100To192000BySoxr", 0.75},
               {"ResampleMono8000To44100", "ResampleMono8000To44100BySoxr", 0.75},
               {"Resample44100To48000", "Resample44100To48000BySampleRate", 1.0 / 15},
               {"Resample48000To44100", "Resample48000To44100BySampleRate", 1.0 / 15},
               {"Resample44100To96000", "Resample44100To96000BySampleRate", 1.0 / 15},
               {"Resample96000To44100", "Resample96000To44100BySampleRate", 1.0 / 15},
               {"Resample192000To44100", "Resample192000To44100BySampleRate", 1.0 / 15},
               {"Resample44100To192000", "Resample44100To192000BySampleRate", 1.0 / 15},
               {"Resample8000To44100", "Resample8000To44100BySampleRate", 1.0 / 15},
               {"Transform32768ByFFT", "Transform32768ByFFTW", 1.5},
               {"Transform65536ByFFT", "Transform65536ByFFTW", 1.5},
               {"DecodeMPEGInWave64", "DecodeMPEGByLibrary", 1.1},
               {"ParseAndPrintSettings", "ParseAndPrintNlohmann", 3.0},
               {"DecodeGiBToWav", "CopyGiBAndSync", 1.15},
               {"StatsOfLongFile", "StatsByLibrary", 1.3},
               {"MD5OfLongFile", "MD5ByLibrary", 1.3},
               {"InfoOnSmallFiles", "CheckSmallFiles", 1.8},
               {"PlotLongFile", "PlotBySox", 0.65},
               {"ConvertRateByTwoThreads", "ConvertRateByOneThread", 0.7},
           })
               ? 0
               : 1;
}
