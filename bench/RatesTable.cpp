// Converts six seconds between all pairs of twelve rates, in mono and stereo, ours and by libsoxr, whose transition band
// is as wide as our long filter makes it, or 100 Hz. Prints the ratios of the times, each the best of five, and fails when
// their median or the largest is past its limit.

#include "Resampling.h"
#include "audio/resample/XAudioFreqConvDesign.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace w64 {

namespace {

constexpr int kRates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 88200, 96000, 192000};

struct Ratio {
    int source;
    int target;
    double value;
};

template <class Work>
double SecondsOf(Work work) {
    const auto start = std::chrono::steady_clock::now();
    const bool good = work();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    return good ? taken.count() : 0;
}

// 0 where either cannot convert.
double RatioOf(int channels, int source, int target) {
    constexpr int kSeconds = 6;
    const auto design = FreqConvDesign::Create(source, target, UpwardEdge::SourceHalf);
    if (!design) return 0;
    const double edges = design->longFilter.StopEdge() - design->longFilter.edge;
    const double transition = std::min(2 * edges, 100.0);
    std::vector<double> samples = Noise(channels, source, kSeconds);
    double ours = 1e9;
    double peer = 1e9;
    for (int i = 0; i < 5; ++i) {
        ours = std::min(
            ours, SecondsOf([&] { return ConvertByXAudioFreqConv(samples, channels, source, target); }));
        peer = std::min(
            peer, SecondsOf([&] { return ConvertBySoxr(samples, channels, source, target, transition); }));
    }
    return peer > 0 ? ours / peer : 0;
}

constexpr double kMaxMedian = 0.6;
constexpr double kMaxRatio = 1.1;

// True when the ratios are within their limits.
bool PrintTable(int channels) {
    std::vector<Ratio> ratios;
    std::printf("\n%s, from (down) to (across)\n%7s", channels == 1 ? "Mono" : "Stereo", "");
    for (const int target : kRates) std::printf("%7d", target);
    for (const int source : kRates) {
        std::printf("\n%7d", source);
        for (const int target : kRates) {
            const double value = source == target ? 0 : RatioOf(channels, source, target);
            std::printf(value > 0 ? "%7.2f" : "      -", value);
            std::fflush(stdout);
            if (value > 0) ratios.push_back({source, target, value});
        }
    }
    std::ranges::sort(ratios, {}, &Ratio::value);
    const double median = ratios[ratios.size() / 2].value;
    const Ratio& worst = ratios.back();
    std::printf("\n%zu pairs, median %.2f (limit %.2f), %td above 1, worst %.2f (%d to %d; limit %.2f)\n",
                ratios.size(), median, kMaxMedian,
                std::ranges::count_if(ratios, [](const Ratio& ratio) { return ratio.value > 1; }),
                worst.value, worst.source, worst.target, kMaxRatio);
    return median <= kMaxMedian && worst.value <= kMaxRatio;
}

}  // namespace

}  // namespace w64

int main() {
    const bool mono = w64::PrintTable(1);
    const bool stereo = w64::PrintTable(2);
    return mono && stereo ? 0 : 1;
}
