#include "audio/SpectralFreqConv.h"

#include "audio/VectorComplex.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <span>

namespace {

constexpr double kLongestDelay = 0.4;     // seconds, from 44,100 Hz up
constexpr double kLongestLowDelay = 1.0;  // at the lowest rates
constexpr double kUsualRate = 44100;      // Hz
constexpr int64_t kMostPoints = 49152;    // keeps a converter within a few MiB
constexpr int64_t kTile = 32;             // frequencies
constexpr double kLeastResponse = 1e-15;  // what is below would not be seen in doubles

constexpr int64_t kSamplesPerTap = 20;  // of the short filter's response, for each tap of one half
constexpr int64_t kMostSamples = int64_t{1} << 16;

// The response of a symmetric filter at frequencies from 0 up to its sampling rate.
Numbers ResponseOf(const LowPass& filter, double scale, int64_t points) {
    FFTGrid grid(points);
    const std::vector<double> half = filter.HalfOfTaps();
    Numbers numbers(static_cast<size_t>(2 * points), 0.0);
    for (size_t i = 0; i < half.size(); ++i) {
        numbers[2 * i] = scale * half[i];
        numbers[(numbers.size() - 2 * i) % numbers.size()] = scale * half[i];
    }
    grid.Forward(numbers.data(), numbers.data());
    const auto count = static_cast<size_t>(points);
    for (size_t k = 0; k < count; ++k) numbers[k] = numbers[k / kLanes * kGroup + k % kLanes];
    numbers.resize(count);
    return numbers;
}

// The same at any place. It is so smooth between the frequencies of one transform of enough points that
// Lagrange's polynomial through the nearest of them gives it to the last digits.
class SmoothResponse {
public:
    static int64_t SamplesFor(const LowPass& filter) {
        const auto samples = static_cast<uint64_t>(filter.length / 2 * kSamplesPerTap);
        return std::max<int64_t>(64, static_cast<int64_t>(std::bit_ceil(samples)));
    }

    // Frequency `period` is the filter's sampling rate.
    SmoothResponse(const LowPass& filter, double scale, double period) {
        const int64_t count = SamplesFor(filter);
        const Numbers response = ResponseOf(filter, scale, count);
        samplesPerFrequency_ = static_cast<double>(count) / period;
        for (int64_t i = -kReach; i <= count / 2 + kReach; ++i) {
            samples_.push_back(response[static_cast<size_t>(std::abs(i) % count)]);
        }
    }

    // Up to half the period.
    template <int kSamples>
    double At(int64_t frequency) const {
        const double position = static_cast<double>(frequency) * samplesPerFrequency_;
        const auto before = static_cast<int64_t>(position);
        const double* samples = samples_.data() + before + kReach - (kSamples / 2 - 1);
        double distance[kSamples];
        double leading[kSamples];
        double product = 1;
        for (int i = 0; i < kSamples; ++i) {
            distance[i] = position - static_cast<double>(before) + (kSamples / 2 - 1) - i;
            leading[i] = product;
            product *= distance[i];
        }
        double sum = 0;
        product = 1;
        for (int i = kSamples - 1; i >= 0; --i) {
            sum += samples[i] * leading[i] * product * kWeights<kSamples>[static_cast<size_t>(i)];
            product *= distance[i];
        }
        return sum;
    }

private:
    static constexpr int64_t kReach = 8;

    // 1 / (i - j) for all other j.
    template <int kSamples>
    static constexpr std::array<double, kSamples> kWeights = [] {
        std::array<double, kSamples> weights{};
        for (int i = 0; i < kSamples; ++i) {
            double product = 1;
            for (int j = 0; j < kSamples; ++j) product *= i == j ? 1 : i - j;
            weights[static_cast<size_t>(i)] = 1 / product;
        }
        return weights;
    }();

    double samplesPerFrequency_;
    std::vector<double> samples_;
};

// Eight floats.
using Floats = float __attribute__((vector_size(32)));
using FloatsInMemory = float __attribute__((vector_size(32), aligned(4), may_alias));
using FourFloats = float __attribute__((vector_size(16)));
using FourFloatsInMemory = float __attribute__((vector_size(16), aligned(4), may_alias));
constexpr int64_t kFloats = 8;

W64_INLINE Floats LoadFloats(const float* from) { return *reinterpret_cast<const FloatsInMemory*>(from); }
W64_INLINE Vector LoadAsDoubles(const float* from) {
    return __builtin_convertvector(FourFloats(*reinterpret_cast<const FourFloatsInMemory*>(from)), Vector);
}
W64_INLINE void StoreAsFloats(float* to, const Vector& value) {
    *reinterpret_cast<FourFloatsInMemory*>(to) = __builtin_convertvector(value, FourFloats);
}

// A spectrum to two planes of floats.
W64_VECTOR_CLONES void Spread(const double* spectrum, int64_t points, float* re, float* im) {
    for (int64_t k = 0; k < points; k += kLanes) {
        const Complex value = LoadGroup(spectrum + 2 * k);
        StoreAsFloats(re + k, value.re);
        StoreAsFloats(im + k, value.im);
    }
}

W64_VECTOR_CLONES void SpreadTimes(const float* factor, const double* spectrum, int64_t points, float* re,
                                   float* im) {
    for (int64_t k = 0; k < points; k += kLanes) {
        const Complex value = LoadGroup(spectrum + 2 * k);
        const Vector by = LoadAsDoubles(factor + k);
        StoreAsFloats(re + k, by * value.re);
        StoreAsFloats(im + k, by * value.im);
    }
}

// The sum of a tile's terms.
struct TileSum {
    Floats re[kTile / kFloats];
    Floats im[kTile / kFloats];
};

W64_INLINE TileSum SumOf(std::span<const SpectralTerm> terms, const float* re, const float* im) {
    const Floats first = {0, 1, 2, 3, 4, 5, 6, 7};
    TileSum sum = {};
    for (const SpectralTerm& term : terms) {
        for (int64_t i = 0; i < kTile / kFloats; ++i) {
            const Floats response = term.start + term.slope * (first + static_cast<float>(kFloats * i));
            sum.re[i] += response * LoadFloats(re + term.from + kFloats * i);
            sum.im[i] += response * LoadFloats(im + term.from + kFloats * i);
        }
    }
    return sum;
}

// Adds a tile's sum of terms, times their response when there is one.
W64_INLINE void AddTile(const TileSum& sum, const float* outer, double* spectrum) {
    const auto* re = reinterpret_cast<const float*>(sum.re);
    const auto* im = reinterpret_cast<const float*>(sum.im);
    for (int64_t k = 0; k < kTile; k += kLanes, spectrum += kGroup) {
        const Vector by = outer ? LoadAsDoubles(outer + k) : Broadcast(1);
        const Complex value = LoadGroup(spectrum);
        StoreGroup(spectrum, {value.re + by * LoadAsDoubles(re + k), value.im + by * LoadAsDoubles(im + k)});
    }
}

W64_INLINE void MultiplyTile(const double* response, const double* from, double* to) {
    for (int64_t k = 0; k < kTile; k += kLanes) {
        const Vector by = LoadVector(response + k);
        const Complex value = LoadGroup(from + 2 * k);
        StoreGroup(to + 2 * k, {by * value.re, by * value.im});
    }
}

struct SpectraView {
    int64_t inPoints;
    int64_t outPoints;
    int64_t classes;
    const double* main;
    const double* in;
    double* out;
    const float* re;
    const float* im;
    const float* outer;  // for sums of terms, or null
    const SpectralTerm* terms;
    const int32_t* termsEnd;
};

W64_VECTOR_CLONES void CombineTiles(const SpectraView& view) {
    const int32_t* end = view.termsEnd;
    const SpectralTerm* term = view.terms;
    // Output frequencies of the upper half are negative, and input frequencies go round.
    int64_t from = 0;
    for (int64_t tile = 0; tile < view.outPoints; tile += kTile) {
        if (tile == view.outPoints / 2) {
            from = (view.inPoints - view.outPoints / 2 % view.inPoints) % view.inPoints;
        }
        double* const out = view.out + 2 * tile;
        MultiplyTile(view.main + tile, view.in + 2 * from, out);
        from = (from + kTile) % view.inPoints;
        for (int64_t i = 0; i < view.classes; ++i, ++end) {
            const SpectralTerm* const last = view.terms + *end;
            if (term == last) continue;
            const float* outer = view.outer ? view.outer + i * view.outPoints + tile : nullptr;
            AddTile(SumOf({term, last}, view.re, view.im), outer, out);
            term = last;
        }
    }
}

}  // namespace

std::optional<SpectralFreqConv::Block> SpectralFreqConv::ChooseBlock(const FreqConvDesign& design) {
    const LowPass& shortFilter = design.shortFilter;
    if (SmoothResponse::SamplesFor(shortFilter) > kMostSamples) return std::nullopt;
    Block block{design.step, design.shortFirst ? design.phases : design.phases * design.streams, 0, 0};
    const int64_t spacing = (design.shortFirst ? block.inPeriod : block.outPeriod) / design.streams;
    const int64_t reach = shortFilter.length / 2 + design.longFilter.length / 2 * spacing;
    const int64_t period = block.inPeriod * block.outPeriod;
    block.margin = (reach + period - 1) / period;

    const double periodsPerSecond = static_cast<double>(design.longRate) /
                                    static_cast<double>(design.shortFirst ? block.outPeriod : block.inPeriod);
    const double lowerRate =
        periodsPerSecond * static_cast<double>(std::min(block.inPeriod, block.outPeriod));
    const double delay = std::clamp(kLongestDelay * kUsualRate / lowerRate, kLongestDelay, kLongestLowDelay) *
                         periodsPerSecond;

    // Tiles have to fit halves of both spectra.
    const auto work = [](int64_t points) {
        return static_cast<double>(points) * (5 + std::log2(static_cast<double>(points)));
    };
    double least = std::numeric_limits<double>::infinity();
    const int64_t most = kMostPoints / std::max(block.inPeriod, block.outPeriod);
    const int64_t longest = std::min(most, block.margin + static_cast<int64_t>(delay));
    int64_t best = 0;
    for (block.periods = 2 * kTile; block.periods <= longest; block.periods += 2 * kTile) {
        if (block.Hop() <= 0 || !FFTGrid::Takes(block.InPoints()) || !FFTGrid::Takes(block.OutPoints()))
            continue;
        const double each =
            (work(block.InPoints()) + work(block.OutPoints())) / static_cast<double>(block.Hop());
        if (each >= least) continue;
        least = each;
        best = block.periods;
    }
    block.periods = best;
    if (best == 0) return std::nullopt;
    return block;
}

std::unique_ptr<SpectralFreqConv> SpectralFreqConv::Create(const FreqConvDesign& design, int channels) {
    const std::optional<Block> block = ChooseBlock(design);
    if (!block) return nullptr;
    return std::unique_ptr<SpectralFreqConv>(new SpectralFreqConv(design, *block, channels));
}

SpectralFreqConv::SpectralFreqConv(const FreqConvDesign& design, const Block& block, int channels)
    : FreqConvEngine(channels), block_(block), inGrid_(block.InPoints()), outGrid_(block.OutPoints()),
      outerIsLast_(design.shortFirst) {
    Design(design);
    in_.resize(static_cast<size_t>(2 * block.InPoints()));
    out_.resize(static_cast<size_t>(2 * block.OutPoints()));
    frames_.resize(static_cast<size_t>(2 * (block.Hop() * block.outPeriod + 2 * kLanes)));
    const size_t spread = outerIsLast_ ? static_cast<size_t>(block.InPoints()) : outer_.size();
    re_.resize(spread);
    im_.resize(spread);
    Restart();
}

// On the finest common grid of both rates the filters' responses are periodic.
void SpectralFreqConv::Design(const FreqConvDesign& design) {
    const int64_t outPoints = block_.OutPoints();
    const int64_t finePoints = block_.InPoints() * block_.outPeriod;
    const double gain = design.longScale * static_cast<double>(design.phases) /
                        static_cast<double>(block_.inPeriod * outPoints);
    const SmoothResponse shortResponse(design.shortFilter, gain, static_cast<double>(finePoints));
    const Numbers longResponse =
        ResponseOf(design.longFilter, 1, design.streams * (outerIsLast_ ? outPoints : block_.InPoints()));

    main_.resize(static_cast<size_t>(outPoints));
    for (int64_t k = 0; k <= outPoints / 2; ++k) {
        const double response =
            shortResponse.At<16>(k) * longResponse[static_cast<size_t>(k) % longResponse.size()];
        main_[static_cast<size_t>(k)] = response;
        main_[static_cast<size_t>((outPoints - k) % outPoints)] = response;
    }
    outer_.resize(longResponse.size());
    std::transform(longResponse.begin(), longResponse.end(), outer_.begin(),
                   [](double response) { return static_cast<float>(response); });

    std::vector<double> corners;
    for (int64_t at = 0; at <= finePoints / 2 + 2 * kTile; at += kTile) {
        corners.push_back(shortResponse.At<6>(std::min(at, finePoints - at)));
    }
    ListTerms(corners, longResponse, kLeastResponse * gain);
}

// An output frequency k is all frequencies k + i * (output points) of the fine grid, as many as the input
// period has frames.
void SpectralFreqConv::ListTerms(std::span<const double> corners, std::span<const double> longResponse,
                                 double least) {
    const int64_t outTiles = block_.OutPoints() / kTile;
    const int64_t fineTiles = outTiles * block_.inPeriod;
    const int64_t longTiles = static_cast<int64_t>(longResponse.size()) / kTile;
    const int64_t sourceTiles = outerIsLast_ ? block_.InPoints() / kTile : longTiles;
    const auto corner = [&](int64_t tile) {
        return corners[static_cast<size_t>(std::abs(tile > fineTiles / 2 ? fineTiles - tile : tile))];
    };
    std::vector<double> largest;
    for (size_t k = 0; k < longResponse.size(); k += kTile) {
        const auto [low, high] = std::minmax_element(&longResponse[k], &longResponse[k] + kTile);
        largest.push_back(std::max(-*low, *high));
    }

    classes_ = outerIsLast_ ? longTiles / outTiles : 1;
    const int64_t step = classes_ * outTiles;
    for (int64_t tile = 0; tile < outTiles; ++tile) {
        const int64_t main = tile + (tile < outTiles / 2 ? 0 : fineTiles - outTiles);
        for (int64_t first = tile; first < tile + step; first += outTiles) {
            int64_t inLong = first % longTiles;
            for (int64_t at = first; at < fineTiles; at += step, inLong = (inLong + step) % longTiles) {
                const double start = corner(at);
                const double end = corner(at + 1);
                const double response = std::max(std::abs(start), std::abs(end));
                if (at == main || response * largest[static_cast<size_t>(inLong)] < least) continue;
                // As much below the curve as above it.
                const double bend = (corner(at - 1) - start - end + corner(at + 2)) / 2;
                terms_.push_back({static_cast<int32_t>(at % sourceTiles * kTile),
                                  static_cast<float>(start - bend / 12),
                                  static_cast<float>((end - start) / kTile)});
            }
            termsEnd_.push_back(static_cast<int32_t>(terms_.size()));
        }
    }
}

int64_t SpectralFreqConv::Needed(int64_t blocks) const {
    if (blocks == 0) return 0;
    return ((blocks - 1) * block_.Hop() + block_.periods - block_.margin) * block_.inPeriod;
}

int64_t SpectralFreqConv::Produced(int64_t blocks) const { return blocks * block_.Hop() * block_.outPeriod; }

void SpectralFreqConv::RestartPairs(size_t pairs) {
    inputs_.assign(pairs, Numbers(static_cast<size_t>(2 * block_.InPoints()), 0.0));
}

double* SpectralFreqConv::InputOf(size_t pair, int64_t frames) {
    Numbers& input = inputs_[pair];
    const double* const kept = input.data() + 2 * frames;
    return std::copy(kept, static_cast<const double*>(input.data() + input.size()), input.data());
}

const double* SpectralFreqConv::Convert(size_t pair, int64_t frames) {
    inGrid_.Forward(inputs_[pair].data(), in_.data());
    SpreadInput();
    CombineTiles({block_.InPoints(), block_.OutPoints(), classes_, main_.data(), in_.data(), out_.data(),
                  re_.data(), im_.data(), outerIsLast_ ? outer_.data() : nullptr, terms_.data(),
                  termsEnd_.data()});
    const int64_t first = block_.margin * block_.outPeriod;
    const int64_t aligned = first / kLanes * kLanes;
    outGrid_.Inverse(out_.data(), frames_.data(), aligned, (first + frames + kLanes - 1) / kLanes * kLanes);
    return frames_.data() + 2 * (first - aligned);
}

void SpectralFreqConv::SpreadInput() {
    const int64_t points = block_.InPoints();
    if (outerIsLast_) return Spread(in_.data(), points, re_.data(), im_.data());
    for (int64_t at = 0; at < static_cast<int64_t>(outer_.size()); at += points) {
        SpreadTimes(outer_.data() + at, in_.data(), points, re_.data() + at, im_.data() + at);
    }
}
