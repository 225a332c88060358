#include "Formats.h"
#include "audio/FFT.h"
#include "audio/XAudioFreqConv.h"
#include "audio/XAudioRdWr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <numeric>
#include <random>
#include <tuple>

namespace {

using Samples = std::vector<double>;

constexpr double kAttenuation = 170;
constexpr double kLengthFactor = (kAttenuation - 7.95) / 14.36;

// The two filters one after the other as sums over all of their taps, for single outputs of a mono stream.
class PlainForm {
public:
    PlainForm(int64_t src, int64_t dst, UpwardEdge edge) : up_(src < dst), src_(src), dst_(dst), fine_(src) {
        const int64_t common = std::gcd(src, dst);
        const int64_t ratio = (up_ ? src : dst) / common;
        const int64_t factor = ratio == 1 ? 1 : ratio % 2 == 0 ? 2 : 3;
        between_ = (up_ ? dst : src) * factor;
        const auto fs = static_cast<double>(between_);
        int64_t length = 16383;
        while (fs * kLengthFactor / static_cast<double>(length - 1) >= 100) length = 2 * length + 1;
        const double width = fs * kLengthFactor / static_cast<double>(length - 1);
        const auto below = static_cast<double>(up_ && edge == UpwardEdge::SourceHalf ? src : dst);
        long_ = Taps(length, below / 2 - width / 2, between_, up_ ? 1 : factor);

        if (!up_ && factor == 1) return;  // a single 1 on the grid of the long filter
        fine_ = src / common * dst;
        const double df = fs / 2 - static_cast<double>(src) / 2;
        const auto taps = static_cast<int64_t>(static_cast<double>(fine_) / df * kLengthFactor + 1);
        short_ = Taps(taps | 1, static_cast<double>(src) / 2 + df / 2, fine_, fine_ / (up_ ? src : between_));
    }

    double At(const Samples& in, int64_t k) const {
        const auto input = [&](int64_t i) {
            return i >= 0 && i < static_cast<int64_t>(in.size()) ? in[static_cast<size_t>(i)] : 0.0;
        };
        if (up_) {
            return Sum(long_, k * (between_ / dst_), 1,
                       [&](int64_t m) { return Sum(short_, m * (fine_ / between_), fine_ / src_, input); });
        }
        const int64_t fine = short_.size() == 1 ? between_ : fine_;
        return Sum(short_, k * (fine / dst_), fine / between_,
                   [&](int64_t m) { return Sum(long_, m, between_ / src_, input); });
    }

private:
    static Samples Taps(int64_t length, double edge, int64_t rate, int64_t scale) {
        Samples taps;
        const double shape = alpha(kAttenuation);
        for (int64_t i = -(length / 2); i <= length / 2; ++i) {
            const auto n = static_cast<double>(i);
            taps.push_back(win(n, static_cast<double>(length), shape, izero(shape)) *
                           hn_lpf(n, edge, static_cast<double>(rate)) * static_cast<double>(scale));
        }
        return taps;
    }

    // Centred on a position, over a signal that has one value in `spacing` positions.
    template <class Signal>
    static double Sum(const Samples& taps, int64_t position, int64_t spacing, Signal signal) {
        const auto half = static_cast<int64_t>(taps.size() / 2);
        double sum = 0;
        auto index = static_cast<int64_t>(
            std::ceil(static_cast<double>(position - half) / static_cast<double>(spacing)));
        for (; index * spacing <= position + half; ++index) {
            sum += taps[static_cast<size_t>(position - index * spacing + half)] * signal(index);
        }
        return sum;
    }

    bool up_;
    int64_t src_;
    int64_t dst_;
    int64_t between_;  // rate between the filters
    int64_t fine_;     // rate that the short filter is designed at
    Samples long_;
    Samples short_{1.0};
};

Samples Random(size_t count) {
    std::mt19937_64 random(count);
    Samples samples(count);
    for (double& sample : samples) sample = static_cast<double>(random()) * 0x1p-63 - 1;
    return samples;
}

XAudioWFX Doubles(int channels, int rate) { return Format(kTagFloat, channels, 64, rate); }

// A whole stream in blocks of the given sizes in bytes, over and over; what is left is the last block.
Bytes Convert(XAudioFreqConv& conv, const XAudioWFX& format, Bytes bytes, const std::vector<size_t>& blocks) {
    Bytes out;
    size_t begin = 0;
    for (size_t i = 0; begin < bytes.size(); ++i) {
        const size_t size = std::min(blocks[i % blocks.size()], bytes.size() - begin);
        XAudioBufferNew buffer(bytes.data() + begin, static_cast<int64_t>(size), format, true);
        begin += size;
        EXPECT_TRUE(conv.ConvertData(buffer, false, begin == bytes.size()));
        const Bytes converted = Used(conv);
        out.insert(out.end(), converted.begin(), converted.end());
    }
    return out;
}

Samples Convert(XAudioFreqConv& conv, int channels, int rate, const Samples& in) {
    Bytes bytes(8 * in.size());
    std::memcpy(bytes.data(), in.data(), bytes.size());
    const Bytes out = Convert(conv, Doubles(channels, rate), bytes, {bytes.size()});
    Samples samples(out.size() / 8);
    std::memcpy(samples.data(), out.data(), out.size());
    return samples;
}

Samples Convert(int rate, int targetRate, const Samples& in, UpwardEdge edge = UpwardEdge::SourceHalf) {
    XAudioFreqConv conv;
    EXPECT_TRUE(conv.CreateNewConverter(Doubles(1, rate), targetRate, nullptr, edge));
    return Convert(conv, 1, rate, in);
}

TEST(XAudioFreqConv, GivesWhatTheTwoFiltersAddUpTo) {
    const std::tuple<int, int, int, UpwardEdge> cases[] = {
        // rates and what both are divided by
        {44100, 48000, 1, UpwardEdge::TargetHalf},  {48000, 44100, 1, UpwardEdge::TargetHalf},
        {44100, 48000, 1, UpwardEdge::SourceHalf},  {44100, 192000, 2, UpwardEdge::SourceHalf},
        {192000, 44100, 2, UpwardEdge::TargetHalf}, {8000, 44100, 1, UpwardEdge::SourceHalf},
        {96000, 48000, 1, UpwardEdge::TargetHalf},  {22050, 44100, 1, UpwardEdge::TargetHalf},
        {352800, 48000, 4, UpwardEdge::TargetHalf}, {44100, 88200, 2, UpwardEdge::TargetHalf},
        {11025, 8000, 1, UpwardEdge::TargetHalf},   {6003, 12001, 1, UpwardEdge::SourceHalf},
        {12001, 6003, 1, UpwardEdge::TargetHalf},   {44000, 4000, 1, UpwardEdge::TargetHalf},
    };
    for (const auto& [source, target, divisor, edge] : cases) {
        SCOPED_TRACE(testing::Message() << source << " to " << target);
        const PlainForm plain(source / divisor, target / divisor, edge);
        const Samples in = Random(35000);
        const Samples out = Convert(source, target, in, edge);
        ASSERT_EQ(out.size(), (in.size() * static_cast<size_t>(target) + static_cast<size_t>(source) - 1) /
                                  static_cast<size_t>(source));
        for (size_t k = 0; k < out.size(); k += k < 3 ? 1 : out.size() / 7) {
            ASSERT_NEAR(out[k], plain.At(in, static_cast<int64_t>(k)), 1e-12) << k;
        }
        ASSERT_NEAR(out.back(), plain.At(in, static_cast<int64_t>(out.size()) - 1), 1e-12);
    }
}

TEST(XAudioFreqConv, BlocksOfAnySizesGiveTheSameBytes) {
    const std::tuple<int, int> rates[] = {{44100, 48000}, {48000, 44100}, {96000, 48000}};
    for (const auto& [source, target] : rates) {
        for (const XAudioWFX& format :
             {Doubles(3, source), Format(kTagPCM, 2, 8, source), Format(kTagPCM, 1, 24, source)}) {
            SCOPED_TRACE(format.WFXToString());
            XAudioFreqConv conv;
            ASSERT_TRUE(conv.CreateNewConverter(format, target, nullptr));
            Bytes in(static_cast<size_t>(format.SamplesToBytes_DivChan(40001)));
            std::mt19937 random(1);
            for (uint8_t& byte : in) byte = static_cast<uint8_t>(random());
            const Bytes whole = Convert(conv, format, in, {in.size()});
            EXPECT_EQ(static_cast<int64_t>(whole.size()),
                      format.SamplesToBytes_DivChan((int64_t{40001} * target + source - 1) / source));
            const auto frame = static_cast<size_t>(format.BlockAlign());
            EXPECT_TRUE(Convert(conv, format, in, {4096 * frame}) == whole);
            EXPECT_TRUE(Convert(conv, format, in, {frame}) == whole);
            EXPECT_TRUE(Convert(conv, format, in, {7, 0, 100001, 1}) == whole) << "within frames";
        }
    }
}

TEST(XAudioFreqConv, ReadsAndWritesAsTheAccessorDoes) {
    const std::tuple<int, const wchar_t*> cases[] = {{16, nullptr}, {16, L"dither=0"}, {24, nullptr}};
    for (const auto& [bits, options] : cases) {
        const XAudioWFX format = Format(kTagPCM, 2, bits);
        Bytes in(static_cast<size_t>(format.SamplesToBytes_DivChan(9000)));
        std::mt19937 random(2);
        for (uint8_t& byte : in) byte = static_cast<uint8_t>(random());
        Samples read(2 * 9000);
        XAudioRdWr(format, 0, 0, in.data(), nullptr)
            .GetDbls(0, static_cast<int64_t>(read.size()), read.data());

        XAudioFreqConv doubles;
        ASSERT_TRUE(doubles.CreateNewConverter(Doubles(2, 44100), 48000, nullptr));
        const Samples out = Convert(doubles, 2, 44100, read);
        Bytes expected(static_cast<size_t>(bits / 8) * out.size());
        XAudioRdWr writer(format, 0, 0, expected.data(), options);
        writer.PutDbls(0, static_cast<int64_t>(out.size()), out.data());

        XAudioFreqConv conv;
        ASSERT_TRUE(conv.CreateNewConverter(format, 48000, options));
        EXPECT_TRUE(Convert(conv, format, in, {5000}) == expected);
        if (bits != 24) continue;
        for (size_t i = 0; i < out.size(); ++i) {
            const double clipped = std::clamp(out[i], -1.0, 1 - 0x1p-23);
            ASSERT_LE(std::abs(writer.GetDbl(static_cast<int64_t>(i)) - clipped), 0x1p-24) << i;
        }
    }
}

TEST(XAudioFreqConv, TakesWhatIsNoNumberForSilence) {
    Samples in = Random(3000);
    Samples silenced = in;
    silenced[100] = silenced[700] = silenced[701] = 0;
    in[100] = std::numeric_limits<double>::quiet_NaN();
    in[700] = std::numeric_limits<double>::infinity();
    in[701] = -in[700];
    EXPECT_EQ(Convert(44100, 48000, in), Convert(44100, 48000, silenced));
}

// The strongest component of a middle part of the samples that is not near one bin, and the one in that bin.
struct Components {
    Components(const Samples& samples, size_t bin) {
        Samples part(samples.begin() + static_cast<ptrdiff_t>((samples.size() - kSize) / 2), samples.end());
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
        for (size_t k = 1; k < kSize / 2; ++k) {
            const double level = 20 * std::log10(std::hypot(part[2 * k], part[2 * k + 1]) / weight);
            if (k == bin) wanted = level;
            if (k + 25 < bin || k > bin + 25) strongest = std::max(strongest, level);
        }
    }

    static constexpr size_t kSize = 65536;
    double wanted = -HUGE_VAL;
    double strongest = -HUGE_VAL;
};

// Two seconds.
Samples Tone(int rate, double hertz) {
    Samples samples(static_cast<size_t>(2 * rate));
    for (size_t i = 0; i < samples.size(); ++i) {
        samples[i] = std::sin(2 * std::numbers::pi * std::fmod(static_cast<double>(i) * hertz / rate, 1.0));
    }
    return samples;
}

TEST(XAudioFreqConv, KeepsTonesAndLeavesNothingElse) {
    const std::tuple<int, int, double> cases[] = {
        {44100, 48000, -176}, {48000, 44100, -176}, {44100, 192000, -170}};
    for (const auto& [source, target, limit] : cases) {
        for (const double wanted : {1000.0, 19800.0, 23000.0}) {
            SCOPED_TRACE(testing::Message() << source << " to " << target << " at " << wanted);
            if (2 * wanted > source) continue;
            const auto bin = static_cast<size_t>(wanted * Components::kSize / target);
            const Samples in = Tone(source, static_cast<double>(bin) * target / Components::kSize);
            const bool kept = 2 * wanted < target;
            const Components components(Convert(source, target, in), kept ? bin : 0);
            EXPECT_LE(components.strongest, limit);
            if (kept) {
                EXPECT_NEAR(components.wanted, 0, 1e-5);
            }
        }
    }
}

// The image that a tone just below the lower Nyquist frequency leaves above it, or the alias the other way round.
TEST(XAudioFreqConv, IsSteepAtTheLowerNyquistFrequency) {
    const std::tuple<int, int, double, double> cases[] = {{44100, 48000, 0.997, -169},
                                                          {96000, 44100, 0.997, -169},
                                                          {192000, 44100, 0.99, -140},
                                                          {8000, 44100, 0.99, -169}};
    for (const auto& [source, target, passBand, limitAt10] : cases) {
        const double nyquist = std::min(source, target) / 2.0;
        const double binHertz = static_cast<double>(target) / Components::kSize;
        for (const auto& [beyond, limit] : {std::pair{10.0, limitAt10}, {100.0, -176.0}}) {
            const bool upward = source < target;
            const double hertz = upward ? nyquist - beyond : nyquist + beyond;
            const auto bin = static_cast<size_t>(upward ? hertz / binHertz : 0);
            EXPECT_LE(Components(Convert(source, target, Tone(source, hertz)), bin).strongest, limit)
                << source << " to " << target << ", " << beyond << " Hz beyond";
        }
        const double bin = std::ceil(passBand * nyquist / binHertz);
        const Samples edge = Convert(source, target, Tone(source, bin * binHertz));
        EXPECT_GE(Components(edge, static_cast<size_t>(bin)).wanted, -3) << source << " to " << target;
    }
}

TEST(XAudioFreqConv, PutsAnImpulseWhereItBelongs) {
    const std::tuple<int, int> rates[] = {{44100, 48000}, {48000, 44100}, {192000, 44100}, {8000, 44100}};
    for (const auto& [source, target] : rates) {
        Samples in(static_cast<size_t>(source));
        in[in.size() / 2] = 1;
        const Samples out = Convert(source, target, in);
        const size_t centre = out.size() / 2;
        for (size_t i = 1; i < centre; ++i) ASSERT_NEAR(out[centre - i], out[centre + i], 1e-12) << i;
        EXPECT_EQ(std::max_element(out.begin(), out.end()) - out.begin(), static_cast<ptrdiff_t>(centre));
    }
}

TEST(XAudioFreqConv, HoldsBackLittle) {
    const std::tuple<int, int> rates[] = {{44100, 48000}, {48000, 44100}, {44100, 88200}, {96000, 48000}};
    for (const auto& [source, target] : rates) {
        const XAudioWFX format = Format(kTagPCM, 1, 16, source);
        XAudioFreqConv conv;
        ASSERT_TRUE(conv.CreateNewConverter(format, target, nullptr));
        XAudioBufferNew block(100, format, true);
        block.SetUsedSample(100);
        double produced = 0;
        for (double given = 100; given < source; given += 100) {
            ASSERT_LE(given / source - produced / target, 0.4 + 100.0 / source) << source << " to " << target;
            ASSERT_TRUE(conv.ConvertData(block, false, false));
            produced += static_cast<double>(conv.GetUsedSample());
        }
    }
}

TEST(XAudioFreqConv, RefusesWhatItCannotConvert) {
    constexpr int kHighest = std::numeric_limits<int>::max();
    const std::tuple<XAudioWFX, int, bool> cases[] = {
        {Format(kTagPCM, 2, 16, 44100), 48000, true},       {Format(kTagPCM, 0, 16, 44100), 48000, false},
        {Format(kTagPCM, 2, 0, 44100), 48000, false},       {Format(kTagPCM, 2, 20, 44100), 48000, false},
        {Format(kTagFloat, 2, 16, 44100), 48000, false},    {Format(kTagPCM, 2, 16, 5000), 8000, false},
        {Format(kTagPCM, 2, 16, 0), 48000, false},          {Format(kTagPCM, 2, 16, 44100), 0, false},
        {Format(kTagPCM, 2, 16, 44100), -1, false},         {Format(kTagPCM, 2, 16, 44100), kHighest, false},
        {Format(kTagPCM, 2, 16, kHighest), 44100, false},   {Format(kTagPCM, 2, 16, 1), kHighest, false},
        {Format(kTagPCM, 2, 16, kHighest), kHighest, true}, {Format(kTagPCM, 2, 16, 9000000), 100, false},
    };
    for (const auto& [format, target, accepted] : cases) {
        XAudioFreqConv conv;
        EXPECT_EQ(conv.CreateNewConverter(format, target, nullptr), accepted)
            << format.WFXToString() << target;
        XAudioBufferNew input(10, XAudioWFX(1, 7000, 8), true);
        input.SetUsedSample(10);
        EXPECT_FALSE(conv.ConvertData(input, false, true)) << "of another format";
    }
}

TEST(XAudioFreqConv, EmptyBlocksEndAStreamAndBeginAnother) {
    const XAudioWFX format = Format(kTagPCM, 1, 8);
    XAudioFreqConv conv;
    ASSERT_TRUE(conv.CreateNewConverter(format, 48000, nullptr));
    XAudioBufferNew none;
    XAudioBufferNew silence(441, format, true);
    silence.SetUsedSample(441);
    for (int stream = 0; stream < 2; ++stream) {
        ASSERT_TRUE(conv.ConvertData(none, false, true));
        EXPECT_EQ(conv.GetUsedByte(), 0);
        ASSERT_TRUE(conv.ConvertData(silence, false, false));
        EXPECT_EQ(conv.GetUsedByte(), 0);
        ASSERT_TRUE(conv.ConvertData(none, false, true));
        EXPECT_EQ(Used(conv), Bytes(480, 0x80));
        EXPECT_EQ(conv.SamplesPerSec(), 48000U);
    }

    ASSERT_TRUE(conv.CreateNewConverter(format, 44100, nullptr));
    ASSERT_TRUE(conv.ConvertData(silence, true, false));
    EXPECT_EQ(conv.BufferStart(), silence.BufferStart()) << "equal rates";
    conv.Destroy();
    EXPECT_FALSE(conv.ConvertData(none, false, true));
}

}  // namespace
