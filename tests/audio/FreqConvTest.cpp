#include "Formats.h"
#include "audio/fft/FFT.h"
#include "audio/resample/XAudioFreqConv.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <numbers>
#include <numeric>
#include <tuple>

namespace w64 {

namespace {

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
                int channels = 1, const FreqConvLimits& limits = {}) {
    XAudioBufferNew block(in.data(), 8 * std::ssize(in), Doubles(channels, rate), true);
    XAudioFreqConv conv;
    EXPECT_TRUE(conv.CreateNewConverter(block, targetRate, nullptr, edge, limits));
    EXPECT_TRUE(conv.ConvertData(block, false, true));
    const auto* out = reinterpret_cast<const double*>(conv.BufferStart());
    return {out, out + conv.GetUsedByte() / 8};
}

// The sum of all output samples, weighted by noise, stands for them.
TEST(XAudioFreqConv, GivesWhatTheTwoFiltersAddUpTo) {
    using enum UpwardEdge;
    const std::tuple<int, int, int, UpwardEdge, double> cases[] = {
        {44100, 48000, 3, TargetHalf, 29.0408545123},   {48000, 44100, 2, TargetHalf, -49.1392579924},
        {44100, 48000, 1, SourceHalf, 102.2558443331},  {44100, 192000, 1, SourceHalf, -186.1042740382},
        {192000, 44100, 1, TargetHalf, 17.7522070394},  {8000, 44100, 2, SourceHalf, -284.4119274291},
        {96000, 48000, 3, TargetHalf, -9.0300660380},   {22050, 44100, 2, TargetHalf, 90.9833864523},
        {352800, 48000, 1, TargetHalf, -12.3178325132}, {44100, 88200, 1, TargetHalf, 189.9237610507},
        {11025, 8000, 3, TargetHalf, 17.4863237501},    {6003, 12001, 2, SourceHalf, 57.8104831452},
        {12001, 6003, 3, TargetHalf, -27.8272999549},   {44000, 4000, 2, TargetHalf, -1.0219219395},
        {44100, 8000, 2, SourceHalf, -18.4432128283},   {11025, 192000, 1, SourceHalf, 383.7530350605},
        {48000, 16000, 2, SourceHalf, -9.9168962583},
    };
    for (const auto& [source, target, channels, edge, expected] : cases) {
        constexpr int64_t kFrames = 35000;
        const Samples in = Random(static_cast<size_t>(kFrames * channels));
        const Samples out = Convert(source, target, in, edge, channels);
        ASSERT_EQ(std::ssize(out), (kFrames * target + source - 1) / source * channels);
        const Samples noise = Random(out.size());
        EXPECT_NEAR(std::inner_product(out.begin(), out.end(), noise.begin(), 0.0), expected, 1e-8)
            << source << " to " << target;
    }
}

// Rates far apart, a period that has to be longer to be halved, a whole ratio, and many images.
TEST(XAudioFreqConv, LeavesLittleOutWhereItNeedNotBeExact) {
    const std::tuple<int, int, int> cases[] = {{192000, 11025, 2}, {11025, 192000, 2}, {88200, 8000, 1},
                                               {48000, 8000, 3},   {8000, 44100, 2},   {192000, 44100, 1},
                                               {11025, 16000, 2},  {32000, 11025, 1},  {44100, 32000, 2}};
    for (const auto& [source, target, channels] : cases) {
        SCOPED_TRACE(testing::Message() << source << " to " << target);
        const Samples in = Random(static_cast<size_t>(source * channels));
        const Samples exact = Convert(source, target, in, UpwardEdge::SourceHalf, channels);
        const Samples other =
            Convert(source, target, in, UpwardEdge::SourceHalf, channels, FreqConvLimits::ForFiles(1));
        ASSERT_EQ(other.size(), exact.size());
        double difference = 0;
        for (size_t i = 0; i < exact.size(); ++i) {
            difference = std::max(difference, std::abs(exact[i] - other[i]));
        }
        EXPECT_LE(difference, 3e-9);
        EXPECT_GT(difference, 1e-12);
    }
}

// Of three and four channels, where a block may be a fraction of a frame, need no new ones, or be halved.
TEST(XAudioFreqConv, KeepsChannelsApart) {
    const std::tuple<int, int, FreqConvLimits> cases[] = {{6, 1000, {}},
                                                          {44100, 48000, {}},
                                                          {11025, 8000, {}},
                                                          {96000, 8000, FreqConvLimits::ForFiles(1)},
                                                          {8000, 96000, FreqConvLimits::ForFiles(1)}};
    for (const auto& [source, target, limits] : cases) {
        for (const int channels : {3, 4}) {
            SCOPED_TRACE(testing::Message() << channels << " channels from " << source << " to " << target);
            const auto width = static_cast<size_t>(channels);
            const Samples in = Random(width * static_cast<size_t>(source));
            const Samples all = Convert(source, target, in, UpwardEdge::SourceHalf, channels, limits);
            for (size_t channel = 0; channel < width; ++channel) {
                Samples alone;
                for (size_t i = channel; i < in.size(); i += width) alone.push_back(in[i]);
                alone = Convert(source, target, alone, UpwardEdge::SourceHalf, 1, limits);
                ASSERT_EQ(alone.size() * width, all.size());
                double difference = 0;
                for (size_t i = 0; i < alone.size(); ++i) {
                    difference = std::max(difference, std::abs(alone[i] - all[i * width + channel]));
                }
                EXPECT_LE(difference, 1e-9);
            }
        }
    }
}

// The accessor's bytes, whatever the block sizes.
TEST(XAudioFreqConv, BlocksOfAnySizesGiveTheSameBytes) {
    const std::tuple<int, XAudioWFX, const wchar_t*> cases[] = {
        {48000, Doubles(3, 44100), nullptr},
        {48000, Format(kTagPCM, 2, 8, 96000), nullptr},
        {44100, Format(kTagPCM, 2, 16, 48000), L"dither=0"},
        {48000, Format(kTagPCM, 1, 24, 44100), nullptr}};
    for (const auto& [target, format, options] : cases) {
        const auto source = static_cast<int>(format.SamplesPerSec());
        SCOPED_TRACE(format.WFXToString());
        constexpr int64_t kFrames = 20001;
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

// What a tone becomes, in the middle of two seconds: the level at its own frequency, if the target has it,
// and the strongest level elsewhere.
struct Components {
    Components(int source, int target, double hertz) {
        Samples tone(static_cast<size_t>(2 * source));
        for (size_t i = 0; i < tone.size(); ++i)
            tone[i] = std::sin(2 * std::numbers::pi * std::fmod(double(i) * hertz / source, 1.0));
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

// Also steep: what is left is the image above the lower Nyquist frequency of a tone just below it, or, downwards, the
// alias below of a tone above.
TEST(XAudioFreqConv, KeepsTonesAndLeavesNothingElse) {
    const std::tuple<int, int, double, double, double> cases[] = {{44100, 48000, -176, 0.997, -169},
                                                                  {96000, 44100, -176, 0.997, -169},
                                                                  {192000, 44100, -176, 0.99, -140},
                                                                  {44100, 192000, -170, 0.99, -169}};
    for (const auto& [source, target, limit, passBand, limitAt10] : cases) {
        SCOPED_TRACE(testing::Message() << source << " to " << target);
        const Components components(source, target, Components::Whole(19800, target));
        EXPECT_LE(components.strongest, limit);
        EXPECT_LE(std::abs(components.own), 1e-5);
        const double nyquist = std::min(source, target) / 2.0;
        const int beyond = source < target ? -1 : 1;
        EXPECT_LE(Components(source, target, nyquist + 10 * beyond).strongest, limitAt10);
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
