#pragma once

#include <benchmark/benchmark.h>
#include <map>
#include <string>

namespace w64 {

// Two benchmarks of one run whose times are compared: ours may take at most `limit` times as long as the
// peer.
struct Ratio {
    const char* ours;
    const char* peer;
    double limit;
};

// Prints the usual table, then every ratio of the fastest repetitions: what else the machine was doing only
// ever adds time.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override;

    // False when a ratio is past its limit. A pair of which one was not run is passed over.
    bool PrintRatios(std::initializer_list<Ratio> ratios) const;

private:
    std::map<std::string, double> fastest_;  // seconds per iteration, by benchmark name
};

}  // namespace w64
