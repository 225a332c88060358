#pragma once

#include <benchmark/benchmark.h>
#include <map>
#include <optional>
#include <string>

namespace w64 {

// Two benchmarks of one run: ours may take at most `limit` times as long as the peer.
struct Ratio {
    const char* ours;
    const char* peer;
    double limit;
};

// Prints the usual table, then the ratios of the fastest repetitions, as other load on the machine only adds time.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override;

    // False if a ratio exceeds its limit. Pairs that were not both run are skipped.
    bool PrintRatios(std::initializer_list<Ratio> ratios) const;

    // How far work is from the least that it could take, for which there is no limit.
    struct Floor {
        const char* ours;
        const char* least;
    };
    void PrintFloors(std::initializer_list<Floor> floors) const;

private:
    std::optional<double> RatioOf(const char* ours, const char* peer) const;

    std::map<std::string, double> fastest_;  // seconds per iteration, by benchmark name
};

}  // namespace w64
