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
        const auto ours = fastest_.find(ratio.ours);
        const auto peer = fastest_.find(ratio.peer);
        if (ours == fastest_.end() || peer == fastest_.end()) continue;
        const double value = ours->second / peer->second;
        const bool within = value <= ratio.limit;
        std::printf("%-32s %-32s %8.3f %8.2f%s\n", ratio.ours, ratio.peer, value, ratio.limit,
                    within ? "" : "  OVER");
        allWithin &= within;
    }
    return allWithin;
}

}  // namespace w64

using namespace w64;

int main(int count, char** arguments) {
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.PrintRatios({
               {"DecodeThroughThePlugin", "DecodeByBareReads", 1.05},
               {"ScanChunks", "WalkHeaders", 1.5},
               {"MoveAudioByEdits", "MoveAudioByBareLoops", 1.2},
               {"Pack100kTags", "PackTenTimes10kTags", 1.2},
               {"Unpack100kTags", "UnpackTenTimes10kTags", 1.2},
               {"Merge100kTags", "MergeTenTimes10kTags", 1.2},
               {"Convert16To24", "Copy24", 1.1},
               {"Convert24ToFloat", "Copy32", 1.1},
               {"Convert24To16", "Copy16", 1.7},
               {"ConvertFloatTo24", "Copy24", 1.7},
               {"ConvertFloatTo16", "Copy16", 2.2},
               {"Dither24To16", "DitherSingleSamples", 0.35},
               {"Convert51ToStereo24", "Copy24", 4},
               {"ConvertMonoToStereo24", "Copy24", 4},
               {"Resample44100To48000", "Resample44100To48000BySoxr", 0.75},
               {"Resample48000To44100", "Resample48000To44100BySoxr", 0.75},
               {"Resample44100To96000", "Resample44100To96000BySoxr", 0.75},
               {"Resample96000To44100", "Resample96000To44100BySoxr", 0.75},
               {"Resample192000To44100", "Resample192000To44100BySoxr", 0.75},
               {"Resample44100To192000", "Resample44100To192000BySoxr", 0.75},
               {"Resample8000To44100", "Resample8000To44100BySoxr", 0.75},
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
           })
               ? 0
               : 1;
}
