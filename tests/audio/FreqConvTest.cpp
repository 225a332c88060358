#include "Formats.h"
#include "audio/fft/FFT.h"
#include "audio/resample/OverlapFreqConv.h"
#include "audio/resample/SpectralFreqConv.h"
#include "audio/resample/XAudioFreqConv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <numbers>
#include <numeric>
#include <tuple>

namespace w64 {

namespace {

constexpr double kAttenuation = 170;
constexpr double kLengthFactor = (kAttenuation - 7.95) / 14.36;

// One of the two filters as sums over all of its taps, on the common grid of its input and output.
struct PlainFilter {
    // Output `k`. The signal has a value at every `spacing`-th point of the grid.
    template <class Signal>
    double At(int64_t k, Signal signal) const {
        const int64_t spacing = rate / inRate;
        const int64_t half = std::ssize(taps) / 2;
        const int64_t end = k * (rate / outRate) + half;
        double sum = 0;
        for (int64_t i = (end - 2 * half) / spacing - 1; i * spacing <= end; ++i) {
            if (end - i * spacing <= 2 * half)
                sum += taps[static_cast<size_t>(end - i * spacing)] * signal(i);
        }
        return sum;
    }

    int64_t inRate;
    int64_t outRate;
    int64_t rate;
    Samples taps;
};

Samples Taps(int64_t length, double edge, int64_t rate, int64_t scale) {
    Samples taps;
    const double shape = resample::alpha(kAttenuation);
    for (int64_t i = -(length / 2); i <= length / 2; ++i) {
        const auto n = static_cast<double>(i);
        taps.push_back(resample::win(n, static_cast<double>(length), shape, resample::izero(shape)) *
                       resample::hn_lpf(n, edge, static_cast<double>(rate)) * static_cast<double>(scale));
    }
    return taps;
}

// The two filters one after the other, for single outputs.
class PlainForm {
public:
    PlainForm(int64_t src, int64_t dst, UpwardEdge edge) : up_(src < dst) {
        const int64_t common = std::gcd(src, dst);
        const int64_t ratio = (up_ ? src : dst) / common;
        const int64_t factor = ratio == 1 ? 1 : ratio % 2 == 0 ? 2 : 3;
        const int64_t between = (up_ ? dst : src) * factor;
        const auto fs = static_cast<double>(between);
        int64_t length = 16383;
        while (fs * kLengthFactor / static_cast<double>(length - 1) >= 100) length = 2 * length + 1;
        const double width = fs * kLengthFactor / static_cast<double>(length - 1);
        const auto below = static_cast<double>(up_ && edge == UpwardEdge::SourceHalf ? src : dst);
        long_ = {up_ ? between : src, up_ ? dst : between, between,
                 Taps(length, below / 2 - width / 2, between, up_ ? 1 : factor)};

        short_ = {between, dst, between, {1}};  // a single 1 at the intermediate rate
        if (!up_ && factor == 1) return;
        const int64_t fine = src / common * dst;
        const double df = fs / 2 - static_cast<double>(src) / 2;
        const auto taps = static_cast<int64_t>(static_cast<double>(fine) / df * kLengthFactor + 1);
        short_ = {up_ ? src : between, up_ ? between : dst, fine,
                  Taps(taps | 1, static_cast<double>(src) / 2 + df / 2, fine, fine / (up_ ? src : between))};
    }

    // Sample `k` of interleaved ones.
    double At(const Samples& in, int channels, int64_t k) const {
        const PlainFilter& first = up_ ? short_ : long_;
        const PlainFilter& second = up_ ? long_ : short_;
        return second.At(k / channels, [&](int64_t m) {
            return first.At(m, [&](int64_t i) {
                const int64_t at = i * channels + k % channels;
                return i >= 0 && at < std::ssize(in) ? in[static_cast<size_t>(at)] : 0.0;
            });
        });
    }

private:
    bool up_;
    PlainFilter long_;
    PlainFilter short_;
};

XAudioWFX Doubles(int channels, int rate) { return Format(kTagFloat, channels, 64, rate); }

// Converts a whole stream in blocks of the given sizes in bytes, over and over; the last block is the
// remainder.
Bytes Convert(XAudioFreqConv& conv, XAudioBufferNew stream, const std::vector<int64_t>& blocks) {
    Bytes out;
    for (size_t i = 0; stream.PosLeftByte() > 0; ++i) {
        const int64_t size = std::min(blocks[i % blocks.size()], stream.PosLeftByte());
        XAudioBufferNew block(stream.BufferStart() + stream.GetPosByte(), size, stream, true);
        stream.SetPosByte(stream.GetPosByte() + size);
        EXPECT_TRUE(conv.ConvertData(block, false, stream.PosLeftByte() == 0));
        const Bytes converted = Used(conv);
        out.insert(out.end(), converted.begin(), converted.end());
    }
    return out;
}

Samples Convert(int rate, int targetRate, Samples in, UpwardEdge edge = UpwardEdge::SourceHalf,
                int channels = 1) {
    XAudioBufferNew block(in.data(), 8 * std::ssize(in), Doubles(channels, rate), true);
    XAudioFreqConv conv;
    EXPECT_TRUE(conv.CreateNewConverter(block, targetRate, nullptr, edge));
    EXPECT_TRUE(conv.ConvertData(block, false, true));
    const auto* out = reinterpret_cast<const double*>(conv.BufferStart());
    return {out, out + conv.GetUsedByte() / 8};
}

TEST(XAudioFreqConv, GivesWhatTheTwoFiltersAddUpTo) {
    const std::tuple<int, int, int, int, UpwardEdge> cases[] = {
        // rates, common divisor, channels
        {44100, 48000, 1, 3, UpwardEdge::TargetHalf},  {48000, 44100, 1, 2, UpwardEdge::TargetHalf},
        {44100, 48000, 1, 1, UpwardEdge::SourceHalf},  {44100, 192000, 2, 1, UpwardEdge::SourceHalf},
        {192000, 44100, 2, 1, UpwardEdge::TargetHalf}, {8000, 44100, 1, 2, UpwardEdge::SourceHalf},
        {96000, 48000, 1, 3, UpwardEdge::TargetHalf},  {22050, 44100, 1, 2, UpwardEdge::TargetHalf},
        {352800, 48000, 4, 1, UpwardEdge::TargetHalf}, {44100, 88200, 2, 1, UpwardEdge::TargetHalf},
        {11025, 8000, 1, 3, UpwardEdge::TargetHalf},   {6003, 12001, 1, 2, UpwardEdge::SourceHalf},
        {12001, 6003, 1, 3, UpwardEdge::TargetHalf},   {44000, 4000, 1, 2, UpwardEdge::TargetHalf},
    };
    for (const auto& [source, target, divisor, channels, edge] : cases) {
        SCOPED_TRACE(testing::Message() << source << " to " << target);
        const PlainForm plain(source / divisor, target / divisor, edge);
        constexpr int64_t kFrames = 35000;
        const Samples in = Random(static_cast<size_t>(kFrames * channels));
        const Samples out = Convert(source, target, in, edge, channels);
        ASSERT_EQ(std::ssize(out), (kFrames * target + source - 1) / source * channels);
        for (size_t k = 0; k < out.size(); k += k < 3 ? 1 : out.size() / 7) {
            ASSERT_NEAR(out[k], plain.At(in, channels, static_cast<int64_t>(k)), 1e-12) << k;
        }
        ASSERT_NEAR(out.back(), plain.At(in, channels, std::ssize(out) - 1), 1e-12);
    }
}

// At least `frames` frames of a pair of channels; after the input comes silence.
Samples Through(FreqConvEngine& engine, const Samples& in, int64_t frames) {
    Samples out;
    for (int64_t blocks = 0; engine.Produced(blocks) < frames; ++blocks) {
        const int64_t end = std::min(2 * engine.Needed(blocks + 1), std::ssize(in));
        const int64_t begin = std::min(2 * engine.Needed(blocks), end);
        double* const to = std::copy(in.begin() + begin, in.begin() + end, engine.Input());
        std::fill_n(to, 2 * (engine.Needed(blocks + 1) - engine.Needed(blocks)) - (end - begin), 0.0);
        const double* const from = engine.Process();
        out.insert(out.end(), from, from + 2 * (engine.Produced(blocks + 1) - engine.Produced(blocks)));
    }
    return out;
}

TEST(FreqConvEngine, BothKindsGiveTheSameToTheLastFrame) {
    const std::pair<int, int> rates[] = {{44100, 48000}, {48000, 44100},  {44100, 96000},  {96000, 44100},
                                         {8000, 44100},  {192000, 44100}, {44100, 192000}, {16000, 44100},
                                         {48000, 8000},  {96000, 48000},  {48000, 96000}};
    for (const auto& [source, target] : rates) {
        for (const UpwardEdge edge : {UpwardEdge::TargetHalf, UpwardEdge::SourceHalf}) {
            SCOPED_TRACE(testing::Message() << source << " to " << target);
            const auto design = FreqConvDesign::Create(source, target, edge);
            ASSERT_TRUE(design);
            const auto spectral = SpectralFreqConv::Create(*design, 2);
            ASSERT_TRUE(spectral);
            OverlapFreqConv overlap(*design, 2);
            const Samples in = Random(60000);
            const int64_t frames = (int64_t{30000} * target + source - 1) / source;
            const Samples out = Through(*spectral, in, frames);
            const Samples expected = Through(overlap, in, frames);
            double furthest = 0;
            for (size_t i = 0; i < static_cast<size_t>(2 * frames); ++i)
                furthest = std::max(furthest, std::abs(out[i] - expected[i]));
            EXPECT_LE(furthest, 1e-12);
        }
    }
}

// The accessor's bytes, whatever the block sizes.
TEST(XAudioFreqConv, BlocksOfAnySizesGiveTheSameBytes) {
    const std::pair<int, int> rates[] = {{44100, 48000}, {48000, 44100}, {96000, 48000}};
    for (const auto& [source, target] : rates) {
        const std::pair<XAudioWFX, const wchar_t*> formats[] = {{Doubles(3, source), nullptr},
                                                                {Format(kTagPCM, 2, 8, source), nullptr},
                                                                {Format(kTagPCM, 2, 16, source), L"dither=0"},
                                                                {Format(kTagPCM, 1, 24, source), nullptr}};
        for (const auto& [format, options] : formats) {
            SCOPED_TRACE(format.WFXToString());
            constexpr int64_t kFrames = 40001;
            XAudioBufferNew stream = Noise(kFrames, format);
            Samples in(static_cast<size_t>(kFrames * format.Channels()));
            XAudioRdWr(stream, 0, nullptr).GetDbls(0, std::ssize(in), in.data());
            const Samples out = Convert(source, target, in, UpwardEdge::TargetHalf, format.Channels());
            EXPECT_EQ(std::ssize(out), (kFrames * target + source - 1) / source * format.Channels());
            Bytes expected(out.size() * static_cast<size_t>(format.BytesPerSample()));
            XAudioRdWr(format, 0, 0, expected.data(), options).PutDbls(0, std::ssize(out), out.data());

            XAudioFreqConv conv;
            ASSERT_TRUE(conv.CreateNewConverter(format, target, options, UpwardEdge::TargetHalf));
            EXPECT_TRUE(Convert(conv, stream, {stream.GetUsedByte()}) == expected);
            EXPECT_TRUE(Convert(conv, stream, {int64_t{4096} * format.BlockAlign()}) == expected);
            EXPECT_TRUE(Convert(conv, stream, {format.BlockAlign()}) == expected);
            EXPECT_TRUE(Convert(conv, stream, {7, 0, 100001, 1}) == expected) << "within frames";
        }
    }
}

// What a tone becomes, in the middle of two seconds: the level at its own frequency, if the target has it,
// and the strongest level elsewhere.
struct Components {
    Components(int source, int target, double hertz) {
        Samples tone(static_cast<size_t>(2 * source));
        for (size_t i = 0; i < tone.size(); ++i)
            tone[i] =
                std::sin(2 * std::numbers::pi * std::fmod(static_cast<double>(i) * hertz / source, 1.0));
        Samples part = Convert(source, target, tone);
        part.erase(part.begin(), part.begin() + std::ssize(part) / 2 - kSize / 2);
        double weight = 0;
        for (size_t i = 0; i < kSize; ++i) {
            const double position = (static_cast<double>(i) + 0.5) / kSize * 2 - 1;
            const double window = std::exp(-24.5 * position * position);
            weight += window / 2;
            part[i] *= window;
        }
        Samples w(kSize / 2);
        int ip[2] = {};
        rdft(kSize, 1, part.data(), ip, w.data());
        const auto bin = static_cast<size_t>(2 * hertz < target ? std::round(hertz * kSize / target) : 0);
        for (size_t k = 1; k < kSize / 2; ++k) {
            const double level = 20 * std::log10(std::hypot(part[2 * k], part[2 * k + 1]) / weight);
            if (k == bin) own = level;
            if (k + 25 < bin || k > bin + 25) strongest = std::max(strongest, level);
        }
    }

    // The nearest frequency below that is exactly a bin.
    static double Whole(double hertz, int target) {
        return std::floor(hertz * kSize / target) * target / kSize;
    }

    static constexpr int kSize = 65536;
    double own = -HUGE_VAL;
    double strongest = -HUGE_VAL;
};

TEST(XAudioFreqConv, KeepsTonesAndLeavesNothingElse) {
    const std::tuple<int, int, double> cases[] = {
        {44100, 48000, -176}, {48000, 44100, -176}, {44100, 192000, -170}};
    for (const auto& [source, target, limit] : cases) {
        for (const double hertz : {1000.0, 19800.0, 23000.0}) {
            SCOPED_TRACE(testing::Message() << source << " to " << target << " at " << hertz);
            if (2 * hertz > source) continue;
            const Components components(source, target, Components::Whole(hertz, target));
            EXPECT_LE(components.strongest, limit);
            EXPECT_TRUE(2 * hertz > target || std::abs(components.own) < 1e-5) << components.own;
        }
    }
}

// The image above the lower Nyquist frequency of a tone just below it, or, downwards, the alias below of a
// tone above.
TEST(XAudioFreqConv, IsSteepAtTheLowerNyquistFrequency) {
    const std::tuple<int, int, double, double> cases[] = {{44100, 48000, 0.997, -169},
                                                          {96000, 44100, 0.997, -169},
                                                          {192000, 44100, 0.99, -140},
                                                          {8000, 44100, 0.99, -169}};
    for (const auto& [source, target, passBand, limitAt10] : cases) {
        SCOPED_TRACE(testing::Message() << source << " to " << target);
        const double nyquist = std::min(source, target) / 2.0;
        const int beyond = source < target ? -1 : 1;
        EXPECT_LE(Components(source, target, nyquist + 10 * beyond).strongest, limitAt10);
        EXPECT_LE(Components(source, target, nyquist + 100 * beyond).strongest, -176);
        EXPECT_GE(Components(source, target, Components::Whole(passBand * nyquist + 1, target)).own, -3);
    }
}

TEST(XAudioFreqConv, HoldsBackLittle) {
    const std::pair<int, int> rates[] = {{44100, 48000}, {48000, 44100}, {44100, 88200}, {96000, 48000},
                                         {44100, 8000},  {48000, 8000},  {48000, 24000}, {47952, 48000}};
    for (const auto& [source, target] : rates) {
        const XAudioWFX format = Format(kTagPCM, 1, 16, source);
        XAudioFreqConv conv;
        ASSERT_TRUE(conv.CreateNewConverter(format, target, nullptr));
        XAudioBufferNew block = Noise(100, format);
        double produced = 0;
        for (double given = 100; given < source; given += 100) {
            ASSERT_LE(given / source - produced / target, 0.4 + 100.0 / source) << source << " to " << target;
            ASSERT_TRUE(conv.ConvertData(block, false, false));
            produced += static_cast<double>(conv.GetUsedSample());
        }
    }
}

TEST(XAudioFreqConv, RefusesWhatItCannotConvert) {
    const std::tuple<XAudioWFX, int, bool> cases[] = {
        {Format(1, 2, 16, 44100), 48000, true},     {Format(1, 0, 16, 44100), 48000, false},
        {Format(1, 2, 20, 44100), 48000, false},    {Format(3, 2, 16, 44100), 48000, false},
        {Format(1, 2, 16, 5000), 8000, false},      {Format(1, 2, 16, 0), 48000, false},
        {Format(1, 2, 16, 44100), 0, false},        {Format(1, 2, 16, 44100), -1, false},
        {Format(1, 2, 16, 44100), INT_MAX, false},  {Format(1, 2, 16, INT_MAX), 44100, false},
        {Format(1, 2, 16, INT_MAX), INT_MAX, true}, {Format(1, 2, 16, 9000000), 100, false},
        {Format(1, 2, 16, 48000), 99, false},       {Format(1, 2, 16, 1), 10000000, false},
    };
    XAudioBufferNew none;
    for (const auto& [format, target, accepted] : cases) {
        XAudioFreqConv conv;
        EXPECT_EQ(conv.CreateNewConverter(format, target, nullptr), accepted)
            << format.WFXToString() << target;
        XAudioBufferNew input = Noise(10, XAudioWFX(1, 7000, 8));
        EXPECT_FALSE(conv.ConvertData(input, false, true)) << "of another format";
        conv.Destroy();
        EXPECT_FALSE(conv.ConvertData(none, false, true));
    }
}

TEST(XAudioFreqConv, EmptyBlocksEndAStreamAndBeginAnother) {
    const XAudioWFX format = Format(kTagPCM, 1, 8);
    XAudioFreqConv conv;
    ASSERT_TRUE(conv.CreateNewConverter(format, 48000, nullptr));
    XAudioBufferNew none;  // without a format
    XAudioBufferNew silence(441, format, true);
    silence.SetUsedSample(441);
    for (int stream = 0; stream < 2; ++stream) {
        ASSERT_TRUE(conv.ConvertData(none, false, false) && conv.ConvertData(silence, false, false));
        EXPECT_EQ(conv.GetUsedByte(), 0);
        ASSERT_TRUE(conv.ConvertData(none, false, true));
        EXPECT_EQ(Used(conv), Bytes(480, 0x80));
        EXPECT_EQ(conv.SamplesPerSec(), 48000U);
    }
    ASSERT_TRUE(conv.CreateNewConverter(format, 44100, nullptr));
    EXPECT_TRUE(conv.ConvertData(none, true, true)) << "equal rates";
}

}  // namespace

}  // namespace w64
