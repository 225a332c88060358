#include "audio/resample/SpectralBlock.h"

#include "audio/fft/ChannelGrid.h"
#include "audio/resample/SpectralTiles.h"

#include <cmath>
#include <numeric>
#include <span>

namespace w64 {

namespace {

constexpr double kUsualDelay = FreqConvLimits().maxDelay;  // seconds, of sources from kUsualRate up
constexpr double kMaxDelayAtLowRates = 1.0;
constexpr double kUsualRate = 44100;  // Hz

// Where more images fall onto a bin, they are left out if they may be; in narrow tiles they would take longer than the
// filters one after the other.
constexpr int64_t kMaxImages = 100;
constexpr int64_t kImagesLeft = 12;  // then, about

// In frames per second of playing time.
double SourceRate(const FreqConvDesign& design) {
    const auto rate = static_cast<double>(design.longRate);
    if (!design.shortFirst) return rate;
    return rate * static_cast<double>(design.step) / static_cast<double>(design.phases);
}

// Of the long filter, as a share of the higher rate.
double PassBandOf(const FreqConvDesign& design) {
    const double share = design.longFilter.StopEdge() / static_cast<double>(design.longFilter.rate);
    const auto longRate = static_cast<double>(design.longRate);
    return share * static_cast<double>(design.branches) * longRate / std::max(longRate, SourceRate(design));
}

// Of the long filter's pass band, in each bin, and the pass band itself.
int64_t ImagesOf(const FreqConvDesign& design) {
    return (design.shortFirst ? design.step : design.phases * design.branches) / design.branches;
}

// The half-band filters from a rate down to where the long filter's pass band, a share of that rate, just fits.
std::vector<HalfBand> HalfBandsAbove(double passBand, int64_t channels) {
    constexpr double kGuard = 1.1;  // keeps what is just past the pass band and not yet far down
    std::vector<HalfBand> halfBands;
    for (double edge = 2 * kGuard * passBand; edge <= HalfBand::kMaxEdge; edge *= 2) {
        halfBands.emplace_back(edge, channels);
    }
    return halfBands;
}

SpectralBlock BlockOfOnePeriod(const FreqConvDesign& design, int64_t channels,
                               std::span<const HalfBand> halfBands) {
    SpectralBlock block{};
    block.channels = channels;
    block.inPeriod = design.step;
    block.outPeriod = design.shortFirst ? design.phases : design.phases * design.branches;
    block.gridPeriod = block.inPeriod * block.outPeriod;
    block.halfBands.assign(halfBands.begin(), halfBands.end());
    const bool upward = block.inPeriod < block.outPeriod;
    const auto halvings = static_cast<int>(halfBands.size());
    (upward ? block.outHalvings : block.inHalvings) = halvings;

    const int64_t spacing = (design.shortFirst ? block.inPeriod : block.outPeriod) / design.branches;
    const int64_t reach = design.shortFilter.length / 2 + design.longFilter.length / 2 * spacing +
                          block.HalfBandReach() * std::min(block.inPeriod, block.outPeriod);
    block.margin = (reach + block.gridPeriod - 1) / block.gridPeriod;

    // Halved, the rate has a whole number of frames in a period, too.
    const int64_t unit = int64_t{1} << halvings;
    const int64_t longer = unit / std::gcd(unit, std::max(block.inPeriod, block.outPeriod));
    for (int64_t* each : {&block.inPeriod, &block.outPeriod, &block.gridPeriod}) *each *= longer;
    block.margin = (block.margin + longer - 1) / longer;
    return block;
}

double PeriodsPerSecond(const FreqConvDesign& design, const SpectralBlock& block) {
    return SourceRate(design) / static_cast<double>(block.inPeriod);
}

// A transform, and what is done to its points besides. A larger one waits for the third-level cache.
double WorkOfTransform(double points) {
    constexpr double kCachedPoints = 32768;  // that a second-level cache of 2 MiB holds
    return points * (10 + std::log2(points)) * std::clamp(points / kCachedPoints, 1.0, 1.8);
}

// For each image in a bin of the pass band, and, in narrow tiles, for each point.
double WorkOfTiles(const FreqConvDesign& design, const SpectralBlock& block, double passBand, double points) {
    const int64_t images = block.isExact ? ImagesOf(design) : std::min(ImagesOf(design), kImagesLeft);
    if (block.tile == kWideTile) return 0.9 * static_cast<double>(images) * passBand;
    return 1.4 * static_cast<double>(images) * passBand + 8 * points;
}

// For each frame at the lower rate.
double WorkOfHalfBands(const SpectralBlock& block) {
    double work = 0;
    auto numbers = static_cast<double>(std::max(block.InFrames(), block.OutFrames()) * block.channels);
    for (const HalfBand& halfBand : block.halfBands) {
        numbers /= 2;
        work += (1.5 + 0.35 * static_cast<double>(halfBand.Taps())) * numbers;
    }
    return work;
}

// About the time that a second of sound takes, in units of 0.1 ns, when twenty have to pay for the filters' design.
// Fitted to measurements.
double WorkOf(const FreqConvDesign& design, const SpectralBlock& block) {
    constexpr double kSecondsOfSound = 20;
    constexpr double kDesignWork = 45;  // per point of any spectrum
    const double in = static_cast<double>(block.InPoints() * block.channels) / 2;
    const double out = static_cast<double>(block.OutPoints() * block.channels) / 2;
    const auto inLong = static_cast<double>(block.LongPoints(design));
    const double work = WorkOfTransform(in) + WorkOfTransform(out) + WorkOfHalfBands(block) +
                        WorkOfTiles(design, block, std::min(in, out), in + out);
    return work * PeriodsPerSecond(design, block) / static_cast<double>(block.Hop()) +
           kDesignWork * (2 * (in + out) + inLong) / kSecondsOfSound;
}

bool GridsTake(const FreqConvDesign& design, const SpectralBlock& block) {
    return ChannelGrid::Takes(block.InPoints(), block.channels) &&
           ChannelGrid::Takes(block.OutPoints(), block.channels) &&
           ChannelGrid::Takes(block.LongPoints(design), 1);
}

using Best = std::optional<SpectralBlock>;

// Both spectra must consist of whole tiles, half of them at negative frequencies.
void ChooseSize(const FreqConvDesign& design, SpectralBlock block, double maxDelay, Best& best) {
    const double sourceRate = SourceRate(design);
    const double usual = std::clamp(kUsualDelay * kUsualRate / sourceRate, kUsualDelay, kMaxDelayAtLowRates);
    const auto delay = static_cast<int64_t>(std::max(usual, maxDelay) * PeriodsPerSecond(design, block));
    const auto isWithinLimits = [&] {
        return std::max(block.InFrames(), block.OutFrames()) <= FreqConvEngine::kMaxPoints &&
               block.FirstNeeded() <= delay;
    };
    const int64_t step = 2 * block.tile;
    for (block.periods = step; isWithinLimits(); block.periods += step) {
        if (block.Hop() <= 0) continue;
        block.work = WorkOf(design, block);
        if ((!best || block.work < best->work) && GridsTake(design, block)) best = block;
    }
}

Best ChooseFor(const FreqConvDesign& design, int64_t channels, double maxDelay, bool exact) {
    const bool hasFewImages = ImagesOf(design) <= kMaxImages;
    const std::vector<HalfBand> halfBands = HalfBandsAbove(PassBandOf(design), channels);
    Best best;
    for (size_t halvings = 0; halvings <= (exact ? 0 : halfBands.size()); ++halvings) {
        SpectralBlock block = BlockOfOnePeriod(design, channels, std::span(halfBands).first(halvings));
        block.isExact = exact || (halvings == 0 && hasFewImages);
        for (const int64_t tile : {kWideTile, kNarrowTile}) {
            if (exact && tile == kNarrowTile && !hasFewImages) continue;
            block.tile = tile;
            ChooseSize(design, block, maxDelay, best);
        }
    }
    return best;
}

}  // namespace

std::optional<SpectralBlock> SpectralBlock::Choose(const FreqConvDesign& design, int channels,
                                                   const FreqConvLimits& limits) {
    const double maxDelay =
        limits.maxDelay * 2 / std::max(channels, 2);  // more channels take the memory of two
    Best pair = ChooseFor(design, 2, maxDelay, limits.exact);
    if (channels % 2 == 0) return pair;
    Best single = ChooseFor(design, 1, maxDelay, limits.exact);
    if (!pair || !single) return pair ? pair : single;
    const int pairs = (channels + 1) / 2;
    return channels * single->work < pairs * pair->work ? single : pair;
}

int64_t SpectralBlock::HalfBandReach() const {
    int64_t reach = 0;
    for (size_t i = 0; i < halfBands.size(); ++i) reach += halfBands[i].Reach() << (i + 1);
    return reach;
}

}  // namespace w64
