// Measures the resampler and its peers; fails if the resampler does not keep its bounds.

#include "Measurement.h"
#include "OwnDesign.h"
#include "Pictures.h"
#include "Report.h"

#include <CLI/CLI.hpp>

#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <exception>
#include <functional>
#include <future>
#include <thread>
#include <vector>

namespace w64 {

namespace {

// Conversions with 192 kHz here are designed at half the rates, which doubles all distances from the lower
// Nyquist frequency. From 48 to 44.1 kHz two images of 19.8 kHz coincide.
const std::vector<Row> kRows = {
    {{44100, 48000}, {}},
    {{48000, 44100}, {.image = -175.8, .sweep = -175.8}},
    {{44100, 96000}, {}},
    {{96000, 44100}, {}},
    {{192000, 44100}, {.leakAt10 = -140, .passBandEnd = 0.99}, 120},
    {{44100, 192000}, {.image = -170, .sweep = -170, .leakAt10 = -140, .passBandEnd = 0.99}, 120},
    {{8000, 44100}, {.passBandEnd = 0.99}},
};

// The measurement's own errors at a rate, and its reading of an added tone of kLevel.
struct Floor {
    static constexpr double kLevel = -200;
    static constexpr double kDistance = 60;

    int rate;
    double tones = 0;
    double sweep = 0;
    double seen = 0;

    bool IsLow() const { return tones < kLevel && sweep < kLevel && std::abs(seen - kLevel) < 0.1; }
};

struct Leaks {
    RatePair pair;
    std::array<double, 2> distances;
    std::array<double, 2> levels{};
};

using Tasks = std::vector<std::function<void()>>;

void AddTasks(Measured& measured, Tasks& tasks) {
    for (Row& row : measured.rows) {
        tasks.emplace_back([&] { Measure(measured.resampler, measured.coincidentTones, row); });
    }
}

void AddTask(Floor& floor, Tasks& tasks) {
    tasks.emplace_back([&floor] {
        const RatePair pair{floor.rate, floor.rate};
        floor.tones = Measurement(kNone, pair).MeasureTones(Floor::kDistance, 0).image;
        floor.sweep = Measurement(kNone, pair).ImageOfSweep();
        floor.seen = Measurement(kAlmostNone, pair).MeasureTones(Floor::kDistance, 0).image;
    });
}

// On all processors.
void Run(const Tasks& tasks) {
    std::atomic<size_t> next = 0;
    const auto work = [&] {
        for (size_t i = next++; i < tasks.size(); i = next++) tasks[i]();
    };
    std::vector<std::future<void>> workers(std::max(1U, std::thread::hardware_concurrency()));
    for (std::future<void>& worker : workers) worker = std::async(std::launch::async, work);
    for (std::future<void>& worker : workers) worker.get();
}

bool PrintFloors(const std::vector<Floor>& floors) {
    std::printf("The measurement by itself\n\n"
                "| rate   | tones, dB | sweep, dB | a tone of %.0f dB reads |\n"
                "|-------:|----------:|----------:|-----------------------:|\n",
                Floor::kLevel);
    bool allLow = true;
    for (const Floor& floor : floors) {
        std::printf("| %6d | %9.1f | %9.1f | %22.1f |%s\n", floor.rate, floor.tones, floor.sweep, floor.seen,
                    floor.IsLow() ? "" : " FAILS");
        allLow &= floor.IsLow();
    }
    return allLow;
}

void PrintLeaks(const std::vector<Leaks>& leaks) {
    std::printf("\nXAudioFreqConv beyond the lower Nyquist frequency, and its long filter as designed\n\n"
                "| rates           | distance, Hz | measured, dB | designed, dB |\n"
                "|-----------------|-------------:|-------------:|-------------:|\n");
    for (const auto& [pair, distances, levels] : leaks) {
        for (size_t i = 0; i < 2; ++i) {
            std::printf("| %6d to %5d | %12.0f | %12.1f | %12.1f |\n", pair.source, pair.target, distances[i],
                        levels[i], DesignedLeak(pair, distances[i]));
        }
    }
}

// Runs each measurement as a task. False if a bound is not met.
bool MeasureAll() {
    constexpr int kAll = 1000;
    constexpr int kSome = 24;
    std::vector<Measured> all{
        {kOurs, kAll, kRows}, {kSampleRate, kSome, kRows}, {kSoxr, kSome, kRows}, {kSteepSoxr, kSome, kRows}};
    Measured otherEdge{kOursTargetHalf, kSome, {kRows.back()}};
    std::vector<Floor> floors{{44100}, {48000}, {96000}, {192000}};
    std::vector<Leaks> leaks;
    constexpr std::array<double, 2> kDistances[] = {{5, 10},  {12, 20},  {24, 30},
                                                    {40, 60}, {80, 100}, {120, 150}};
    for (const RatePair pair : {RatePair{44100, 48000}, {44100, 192000}, {8000, 44100}}) {
        for (const std::array<double, 2>& distances : kDistances) leaks.push_back({pair, distances});
    }

    Tasks tasks;
    for (Measured& measured : all) AddTasks(measured, tasks);
    AddTasks(otherEdge, tasks);
    for (Floor& floor : floors) AddTask(floor, tasks);
    for (Leaks& leak : leaks) {
        tasks.emplace_back(
            [&] { leak.levels = Measurement(kOurs, leak.pair).LeaksBeyondNyquist(leak.distances); });
    }
    Run(tasks);

    const bool low = PrintFloors(floors);
    const bool kept = PrintTable(all);
    PrintLeaks(leaks);
    std::printf("\nWith UpwardEdge::TargetHalf, images of tones from 8000 to 44100: %.1f dB\n",
                otherEdge.rows.front().figures.image);
    return low && kept;
}

}  // namespace

}  // namespace w64

using namespace w64;

int main(int argc, char** argv) try {
    CLI::App app(
        "Measures the resampler and its peers; exit code 1 if the resampler does not keep its bounds.");
    std::string pictures;
    std::string sweeps;
    app.add_option("--pictures", pictures, "Draw charts into this folder instead");
    app.add_option("--sweeps", sweeps, "Write converted sweeps into this folder instead");
    CLI11_PARSE(app, argc, argv);
    if (!pictures.empty()) DrawPictures(pictures);
    if (!sweeps.empty()) WriteSweeps(sweeps);
    if (!pictures.empty() || !sweeps.empty()) return 0;
    return MeasureAll() ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "w64_quality: %s\n", error.what());
    return 1;
}
