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
constexpr int64_t kMostPoints = 98304;    // keeps a converter within a few MiB
constexpr int64_t kTile = 32;             // frequencies
constexpr double kStopped = 1e-7;         // of the pass band
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
    Numbers work(numbers.size());
    grid.Forward(numbers.data(), numbers.data(), work.data());
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
        return std::max<int64_t>(256, static_cast<int64_t>(std::bit_ceil(samples)));
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
        constexpr int kBefore = kSamples / 2 - 1;
        const double position = static_cast<double>(frequency) * samplesPerFrequency_;
        const auto first = static_cast<int64_t>(position) - kBefore;
        const double* samples = samples_.data() + first + kReach;
        double distance[kSamples];
        double leading[kSamples];
        double product = 1;
        for (int i = 0; i < kSamples; ++i) {
            distance[i] = position - static_cast<double>(first + i);
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

}  // namespace

// The short filter's response at the corners of tiles, worked out when it is asked for.
class TileCorners {
public:
    TileCorners(const LowPass& filter, double scale, int64_t finePoints)
        : response_(filter, scale, static_cast<double>(finePoints)), tiles_(finePoints / kTile),
          stopped_(filter.StopEdge() / static_cast<double>(filter.rate) * static_cast<double>(tiles_)),
          corners_(static_cast<size_t>(tiles_ / 2 + 1), std::numeric_limits<double>::quiet_NaN()) {}

    const SmoothResponse& Response() const { return response_; }

    double At(int64_t tile) {
        const int64_t folded = Folded(tile);
        double& corner = corners_[static_cast<size_t>(folded)];
        if (std::isnan(corner)) corner = response_.At<6>(folded * kTile);
        return corner;
    }

    bool IsStopped(int64_t tile) const {
        return static_cast<double>(std::min(Folded(tile), Folded(tile + 1))) > stopped_;
    }

private:
    int64_t Folded(int64_t tile) const { return std::abs(tile > tiles_ / 2 ? tiles_ - tile : tile); }

    SmoothResponse response_;
    int64_t tiles_;
    double stopped_;  // tile from which on it is
    std::vector<double> corners_;
};

namespace {

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

struct Planes {
    const float* re;
    const float* im;
};

// A tile of frequencies.
struct Tile {
    Floats re[kTile / kFloats];
    Floats im[kTile / kFloats];

    // Adds those of a source times a response.
    template <class Response>
    W64_INLINE void Add(const Planes& source, int64_t from, Response response) {
        for (int64_t i = 0; i < kTile / kFloats; ++i) {
            const Floats by = response(kFloats * i);
            re[i] += by * LoadFloats(source.re + from + kFloats * i);
            im[i] += by * LoadFloats(source.im + from + kFloats * i);
        }
    }

    W64_INLINE void Multiply(const float* response) {
        for (int64_t i = 0; i < kTile / kFloats; ++i) {
            const Floats by = LoadFloats(response + kFloats * i);
            re[i] *= by;
            im[i] *= by;
        }
    }

    W64_INLINE Complex At(int64_t k) const {
        return {LoadAsDoubles(reinterpret_cast<const float*>(re) + k),
                LoadAsDoubles(reinterpret_cast<const float*>(im) + k)};
    }
};

struct SpectraView {
    int64_t inPoints;
    int64_t outPoints;
    const double* in;
    const double* passBand;
    double* out;
    float* inPlanes;
    float* outPlanes;  // where the images are of the output's pass band, or null
    const float* last;
    const SpectralTiles& tiles;

    // The input's frequency that belongs to one of the output, which is negative from half the points on.
    W64_INLINE int64_t InputOf(int64_t k) const {
        return (k < outPoints / 2 ? k : k + outPoints * (inPoints - 1)) % inPoints;
    }
};

W64_INLINE Complex InPassBand(const SpectraView& view, int64_t from, int64_t k) {
    const Vector by = LoadVector(view.passBand + k);
    const Complex value = LoadGroup(view.in + 2 * from);
    return {by * value.re, by * value.im};
}

W64_INLINE void StoreInPlanes(const Complex& value, float* planes, int64_t points, int64_t k) {
    StoreAsFloats(planes + k, value.re);
    StoreAsFloats(planes + points + k, value.im);
}

W64_VECTOR_CLONES void FillPlanes(const SpectraView& view) {
    for (int64_t k = 0; k < view.inPoints; k += kLanes) {
        StoreInPlanes(LoadGroup(view.in + 2 * k), view.inPlanes, view.inPoints, k);
    }
    if (!view.outPlanes) return;
    for (int64_t tile = 0; tile < view.outPoints; tile += kTile) {
        const int64_t from = view.InputOf(tile);
        for (int64_t k = 0; k < kTile; k += kLanes) {
            StoreInPlanes(InPassBand(view, from + k, tile + k), view.outPlanes, view.outPoints, tile + k);
        }
    }
}

// Eight frequencies' responses.
struct OnLine {
    float start;
    float slope;

    W64_INLINE Floats operator()(int64_t at) const {
        const Floats steps = {0, 1, 2, 3, 4, 5, 6, 7};
        return start + slope * (steps + static_cast<float>(at));
    }
};
struct InTable {
    const float* responses;

    W64_INLINE Floats operator()(int64_t at) const { return LoadFloats(responses + at); }
};

W64_VECTOR_CLONES void MultiplySpectra(const SpectraView& view) {
    const Planes in = {view.inPlanes, view.inPlanes + view.inPoints};
    const Planes images = view.outPlanes ? Planes{view.outPlanes, view.outPlanes + view.outPoints} : in;
    const SpectralImage* image = view.tiles.images.data();
    const int32_t* from = view.tiles.from.data();
    const float* responses = view.tiles.responses.data();
    int64_t tile = 0;
    for (const auto [imageCount, otherCount] : view.tiles.counts) {
        Tile sum = {};
        for (const SpectralImage* const end = image + imageCount; image != end; ++image) {
            sum.Add(images, image->from, OnLine{image->start, image->slope});
        }
        if (!view.outPlanes) sum.Multiply(view.last + tile);
        for (const int32_t* const end = from + otherCount; from != end; ++from, responses += kTile) {
            sum.Add(in, *from, InTable{responses});
        }
        const int64_t main = view.InputOf(tile);
        for (int64_t k = 0; k < kTile; k += kLanes) {
            StoreGroup(view.out + 2 * (tile + k), InPassBand(view, main + k, tile + k) + sum.At(k));
        }
        tile += kTile;
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
      imagesOfInput_(design.shortFirst) {
    Design(design);
    const auto inPoints = static_cast<size_t>(block.InPoints());
    const auto outPoints = static_cast<size_t>(block.OutPoints());
    in_.resize(2 * inPoints);
    out_.resize(2 * outPoints);
    work_.resize(std::max(in_.size(), out_.size()));
    inPlanes_.resize(2 * inPoints);
    if (!imagesOfInput_) outPlanes_.resize(2 * outPoints);
    Restart();
}

// On the finest common grid of both rates the filters' responses are periodic.
void SpectralFreqConv::Design(const FreqConvDesign& design) {
    const int64_t outPoints = block_.OutPoints();
    const double gain = design.longScale * static_cast<double>(design.phases) /
                        static_cast<double>(block_.inPeriod * outPoints);
    TileCorners corners(design.shortFilter, gain, block_.InPoints() * block_.outPeriod);
    const Numbers longResponse =
        ResponseOf(design.longFilter, 1, design.streams * (imagesOfInput_ ? outPoints : block_.InPoints()));

    passBand_.resize(static_cast<size_t>(outPoints));
    last_.resize(passBand_.size());
    for (int64_t k = 0; k <= outPoints / 2; ++k) {
        const double response = longResponse[static_cast<size_t>(k) % longResponse.size()];
        // What this one stops needs few digits of the other.
        const double other =
            std::abs(response) < kStopped ? corners.Response().At<6>(k) : corners.Response().At<16>(k);
        for (const int64_t either : {k, (outPoints - k) % outPoints}) {
            passBand_[static_cast<size_t>(either)] = response * other;
            last_[static_cast<size_t>(either)] = static_cast<float>(response);
        }
    }
    ListTiles(longResponse, corners, kLeastResponse * gain);
}

// An output frequency k is all frequencies k + i * (output points) of the fine grid, as many as the input
// period has frames. Those that the long filter lets pass are images, which the short filter stops.
void SpectralFreqConv::ListTiles(std::span<const double> longResponse, TileCorners& corners, double least) {
    const int64_t outTiles = block_.OutPoints() / kTile;
    const int64_t inTiles = block_.InPoints() / kTile;
    const int64_t fineTiles = outTiles * block_.inPeriod;
    const int64_t longTiles = static_cast<int64_t>(longResponse.size()) / kTile;
    std::vector<double> largest;
    for (size_t k = 0; k < longResponse.size(); k += kTile) {
        const auto [low, high] = std::minmax_element(&longResponse[k], &longResponse[k] + kTile);
        largest.push_back(std::max(-*low, *high));
    }
    // Images of the output come after the short filter's pass band.
    const double passed = imagesOfInput_ ? 1 : corners.At(0);
    for (int64_t tile = 0; tile < outTiles; ++tile) {
        const int64_t main = tile + (tile < outTiles / 2 ? 0 : fineTiles - outTiles);
        SpectralTiles::Counts counts{};
        int64_t inLong = tile % longTiles;
        for (int64_t at = tile; at < fineTiles; at += outTiles, inLong = (inLong + outTiles) % longTiles) {
            const bool isImage = inLong < outTiles / 2 || inLong >= longTiles - outTiles / 2;
            if (at == main || (!isImage && corners.IsStopped(at))) continue;
            const double start = corners.At(at);
            const double end = corners.At(at + 1);
            const double slope = (end - start) / kTile;
            const double response = std::max(std::abs(start), std::abs(end));
            if (response * largest[static_cast<size_t>(inLong)] < least) continue;
            if (isImage) {
                // As much below the curve as above it.
                const double bend = (corners.At(at - 1) - start - end + corners.At(at + 2)) / 2;
                const int64_t inOut = inLong < outTiles / 2 ? inLong : inLong - longTiles + outTiles;
                const int64_t from = imagesOfInput_ ? at % inTiles : inOut;
                tiles_.images.push_back({static_cast<int32_t>(from * kTile),
                                         static_cast<float>((start - bend / 12) / passed),
                                         static_cast<float>(slope / passed)});
                ++counts.images;
            } else {
                tiles_.from.push_back(static_cast<int32_t>(at % inTiles * kTile));
                const double* passes = &longResponse[static_cast<size_t>(inLong * kTile)];
                for (int64_t k = 0; k < kTile; ++k) {
                    tiles_.responses.push_back(
                        static_cast<float>((start + slope * static_cast<double>(k)) * passes[k]));
                }
                ++counts.others;
            }
        }
        tiles_.counts.push_back(counts);
    }
}

int64_t SpectralFreqConv::Needed(int64_t blocks) const {
    if (blocks == 0) return 0;
    return ((blocks - 1) * block_.Hop() + block_.periods - block_.margin) * block_.inPeriod;
}

int64_t SpectralFreqConv::Produced(int64_t blocks) const { return blocks * block_.Hop() * block_.outPeriod; }

void SpectralFreqConv::RestartPairs(size_t pairs) {
    kept_.assign(pairs, Numbers(static_cast<size_t>(2 * block_.margin * block_.inPeriod), 0.0));
}

double* SpectralFreqConv::InputOf(size_t pair, int64_t /*frames*/) {
    return std::copy(kept_[pair].begin(), kept_[pair].end(), in_.data());
}

const double* SpectralFreqConv::Convert(size_t pair, int64_t frames) {
    kept_[pair].assign(in_.end() - 4 * block_.margin * block_.inPeriod, in_.end());
    inGrid_.Forward(in_.data(), in_.data(), work_.data());
    const SpectraView view = {block_.InPoints(),
                              block_.OutPoints(),
                              in_.data(),
                              passBand_.data(),
                              out_.data(),
                              inPlanes_.data(),
                              imagesOfInput_ ? nullptr : outPlanes_.data(),
                              last_.data(),
                              tiles_};
    FillPlanes(view);
    MultiplySpectra(view);
    const int64_t first = block_.margin * block_.outPeriod;
    const int64_t aligned = first / kLanes * kLanes;
    const int64_t end = (first + frames + kLanes - 1) / kLanes * kLanes;
    outGrid_.Inverse(out_.data(), out_.data(), aligned, end, work_.data());
    return out_.data() + 2 * (first - aligned);
}
