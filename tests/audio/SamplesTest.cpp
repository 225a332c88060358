#include "Formats.h"
#include "audio/samples/SampleKernels.h"
#include "audio/samples/XAudioBitsConv.h"

#include <cmath>
#include <tuple>

namespace w64 {

namespace {

TEST(XAudioRdWr, ReadsAndWritesStoredSamples) {
    const std::tuple<int, int, Bytes, int32_t, int32_t, double> cases[] = {
        {1, 8, {0x00}, -128, INT32_MIN, -1.0},
        {1, 8, {0xFF}, 127, 127 << 24, 127 / 128.0},
        {1, 16, {0x00, 0x80}, -32768, INT32_MIN, -1.0},
        {1, 24, {0xFF, 0xFF, 0xFF}, -1, -256, -1 / 8388608.0},
        {1, 24, {0x01, 0x02, 0x03}, 0x030201, 0x03020100, 0x030201 / 8388608.0},
        {1, 32, {0xFF, 0xFF, 0xFF, 0x7F}, INT32_MAX, INT32_MAX, 2147483647 / 2147483648.0},
        {3, 32, {0x00, 0x00, 0x60, 0xC0}, INT32_MIN, INT32_MIN, -3.5},  // floats are not clipped
        {3, 32, {0x00, 0x00, 0x80, 0x7F}, INT32_MAX, INT32_MAX, INFINITY},
        {3, 64, {0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, 1073741824, 1073741824, 0.5},
        {1, 20, {0x55, 0x55, 0x55}, 0, 0, 0.0},  // unknown layout
    };
    for (const auto& [tag, bits, stored, raw, left, scaled] : cases) {
        SCOPED_TRACE(testing::Message() << tag << "/" << bits);
        Bytes data(stored);
        data.insert(data.end(), stored.begin(), stored.end());
        XAudioRdWr samples(tag, bits, 1, 0, 0, data.data(), nullptr);
        EXPECT_EQ(samples.GetIntRaw(1), raw);
        EXPECT_EQ(samples.GetInt(1), left);
        EXPECT_EQ(samples.GetDbl(1), scaled);
        std::fill(data.begin(), data.end(), uint8_t{0x55});
        samples.PutDbl(0, scaled);
        EXPECT_TRUE(std::equal(stored.begin(), stored.end(), data.begin()));
        EXPECT_EQ(data[stored.size()], 0x55) << "the neighbour";
    }
}

TEST(XAudioRdWr, RoundsAndClipsDoubles) {
    const std::tuple<double, int32_t, int32_t, int32_t> cases[] = {
        {-0.5 / 32768, -1, -1, -32768},
        {0.5 / 32768, 1, 0, 32768},
        {-0.25 / 2147483648, 0, 0, 0},
        {-0.75 / 2147483648, 0, -1, -1},
        {1e300, 32767, 32767, INT32_MAX},
        {-INFINITY, -32768, -32768, INT32_MIN},
        {NAN, 0, 0, 0},
    };
    for (const auto& [value, plain, dithered, at32] : cases) {
        const auto written = [scaled = value](int bits, const wchar_t* options) {
            Bytes data(4);
            XAudioRdWr samples(kTagPCM, bits, 1, 4, 4, data.data(), options);
            samples.PutDbl(0, scaled);
            return samples.GetIntRaw(0);
        };
        EXPECT_EQ(written(16, nullptr), plain) << value;
        EXPECT_EQ(written(16, L"x"), dithered) << value;
        EXPECT_EQ(written(32, L"dither=1"), at32) << value;
    }
    EXPECT_EQ(_DBLToINT32(-1.5 / 2147483648), -1);  // truncated
    EXPECT_EQ(_DBLToINT32(NAN), 0);
}

constexpr int64_t kValues = 500;

// Around every step and half step where rounding, clipping and casts may go wrong, and random values.
Samples Values() {
    Samples values{0.0, NAN, INFINITY, 1e300, 1e-310};
    for (const double step : {0x1p-7, 0x1p-15, 0x1p-23, 0x1p-31}) {
        for (const double steps : {0.25, 0.5, 1.0, 1.5, 1 / step - 1, 1 / step - 0.5, 1 / step, 2 / step}) {
            for (const double toward : {0.0, 4.0}) values.push_back(std::nextafter(steps * step, toward));
            values.push_back(steps * step);
        }
    }
    std::mt19937_64 random(3);
    while (std::ssize(values) < kValues / 2)
        values.push_back(std::ldexp(static_cast<double>(random()), -64 - static_cast<int>(random() % 34)));
    const Samples positive = values;
    for (const double value : positive) values.push_back(-value);
    std::shuffle(values.begin(), values.end(), random);
    return values;
}

int64_t BytesOf(SampleMode mode, int64_t count) {
    return count * WithLayout(mode, [](auto layout) { return int64_t{layout.kBits} / 8; });
}

// Random bits, at an odd address; for floats every other sample is one of the values above.
Bytes Stored(SampleMode mode, int64_t count) {
    std::mt19937_64 random(5);
    Bytes bytes(static_cast<size_t>(1 + BytesOf(mode, count)));
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
    if (mode != SampleMode::Float32 && mode != SampleMode::Float64) return bytes;
    const Samples values = Values();
    for (int64_t i = 0; i < count; i += 2)
        WithLayout(mode,
                   [&](auto layout) { layout.PutDbl(bytes.data() + 1, i, values[static_cast<size_t>(i)]); });
    return bytes;
}

void ExpectConverts(const SampleKernels& kernels, SampleMode from, SampleMode to, int64_t count) {
    SCOPED_TRACE(testing::Message() << int(from) << " to " << int(to) << ", " << count << " samples");
    Bytes stored = Stored(from, count);
    Bytes expected(static_cast<size_t>(1 + BytesOf(to, count)));
    Bytes target = expected;
    for (int64_t i = 0; i < count; ++i) {
        const int32_t value =
            WithLayout(from, [&](auto layout) { return layout.GetInt(stored.data() + 1, i); });
        WithLayout(to, [&](auto layout) { layout.PutInt(expected.data() + 1, i, value); });
    }
    kernels.convert(from, stored.data() + 1, to, target.data() + 1, count);
    EXPECT_EQ(target, expected);
    if (from == to || expected.size() > stored.size()) return;
    kernels.convert(from, stored.data() + 1, to, stored.data() + 1, count);
    EXPECT_TRUE(std::equal(expected.begin() + 1, expected.end(), stored.begin() + 1)) << "in place";
}

void ExpectRounds(const SampleKernels& kernels, SampleMode to, int64_t count) {
    const Samples values = Values();
    Bytes expected(static_cast<size_t>(1 + BytesOf(to, count)));
    Bytes target = expected;
    for (int64_t i = 0; i < count; ++i)
        WithLayout(
            to, [&](auto layout) { layout.PutDbl(expected.data() + 1, i, values[static_cast<size_t>(i)]); });
    kernels.round(values.data(), to, target.data() + 1, count);
    EXPECT_EQ(target, expected) << int(to) << ", " << count << " samples";
}

TEST(SampleKernels, ConvertAndRoundAsSingleSamplesDo) {
    constexpr SampleMode kModes[] = {SampleMode::Int8,  SampleMode::Int16,   SampleMode::Int24,
                                     SampleMode::Int32, SampleMode::Float32, SampleMode::Float64,
                                     SampleMode::None};
    for (const SampleKernels* kernels : {&PortableKernels(), VectorKernels()}) {
        if (!kernels) continue;
        for (const SampleMode to : kModes) {
            for (const int64_t count : {int64_t{0}, int64_t{1}, int64_t{8}, int64_t{10}, int64_t{11},
                                        int64_t{12}, int64_t{18}, int64_t{19}, int64_t{20}, kValues}) {
                for (const SampleMode from : kModes) ExpectConverts(*kernels, from, to, count);
                ExpectRounds(*kernels, to, count);
            }
        }
    }
}

void ExpectConverts(const XAudioWFX& source, const XAudioWFX& target, bool inPlace, const wchar_t* options) {
    SCOPED_TRACE(source.WFXToString() + L" to " + target.WFXToString());
    constexpr int64_t kFrames = 501;
    XAudioBufferNew buffer = Noise(kFrames, source);
    const Bytes before = Used(buffer);
    const int64_t samples = kFrames * source.Channels();  // more than a block of dithers
    const XAudioRdWr reader(buffer, 0, nullptr);
    XAudioBufferNew expected(kFrames, target, true);
    expected.SetUsedSample(kFrames);
    XAudioRdWr writer(expected, 0, options);
    for (int64_t i = 0; i < samples; ++i) writer.PutInt(i, reader.GetInt(i));

    std::vector<int32_t> values(static_cast<size_t>(samples));
    reader.GetInts(0, samples, values.data());
    XAudioBufferNew atOnce(kFrames, target, true);
    atOnce.SetUsedSample(kFrames);
    XAudioRdWr(atOnce, 0, options).PutInts(0, samples, values.data());
    EXPECT_TRUE(Used(atOnce) == Used(expected));

    if (source.WFXToString() == target.WFXToString()) expected = buffer;

    XAudioBitsConv conv;
    const bool supported = target.BitsPerSample() != 64 || source.FormatTag() == kTagFloat;
    ASSERT_EQ(conv.ConvertData(buffer, target, inPlace, options), supported);
    if (!supported) return;
    EXPECT_TRUE(Used(conv) == Used(expected));
    EXPECT_EQ(conv.WFXToString(), target.WFXToString());
    EXPECT_EQ(conv.BufferStart() == buffer.BufferStart(),
              inPlace && target.BlockAlign() <= source.BlockAlign());
    EXPECT_TRUE(inPlace || Used(buffer) == before) << "the source has changed";
}

TEST(XAudioBitsConv, EveryPairOfLayoutsAsTheAccessorDefinesIt) {
    const XAudioWFX layouts[] = {Format(kTagPCM, 3, 8),  Format(kTagPCM, 3, 16),   Format(kTagPCM, 3, 24),
                                 Format(kTagPCM, 3, 32), Format(kTagFloat, 3, 32), Format(kTagFloat, 3, 64)};
    for (const XAudioWFX& source : layouts) {
        for (const XAudioWFX& target : layouts) {
            ExpectConverts(source, target, false, nullptr);
            ExpectConverts(source, target, true, nullptr);
            ExpectConverts(source, target, true, L"dither=1");
            ExpectConverts(source, target, false, L"dither=1;noise=tpdf");
        }
    }
}

TEST(XAudioBitsConv, TruncatesAndClips) {
    float floats[] = {1.5F, -0.75F / 32768, -1.0F, 0.99F / 32768, 0.0F};  // the last frame is cut short
    XAudioBufferNew source(floats, sizeof floats, Extensible(KSDATAFORMAT_SUBTYPE_IEEE_FLOAT, 2, 32), true);
    XAudioBitsConv conv;
    ASSERT_TRUE(conv.ConvertData(source, XAudioWFX(2, 44100, 16), true, nullptr));
    EXPECT_TRUE(conv.IsExtensibleGUID(&KSDATAFORMAT_SUBTYPE_PCM));
    EXPECT_EQ(Used(conv), (Bytes{0xFF, 0x7F, 0xFF, 0xFF, 0x00, 0x80, 0x00, 0x00}));
    ASSERT_TRUE(conv.ConvertData(conv, 8, true, nullptr, false));  // its own result again
    EXPECT_EQ(Used(conv), (Bytes{255, 127, 0, 128}));
}

constexpr wchar_t kNoise[] = L"dither=1; noise=tpdf";

TEST(NOneChannelDither, ReadsItsOptions) {
    NOneChannelDither dither;
    for (const auto& [options, level] :
         {std::pair(L"dither=3", 3), {L" x=1, dither = -2 ;noise=", -2}, {L"dither", 0}}) {
        dither.Create(16, options);
        EXPECT_EQ(dither.Level(), level);
        for (const int32_t value : {65535, -1, INT32_MAX}) EXPECT_EQ(dither.Dither(value), value >> 16);
    }
    for (const int bits : {16, 24}) {
        dither.Create(bits, kNoise);
        for (int i = 0; i < 100; ++i) {
            EXPECT_LT(dither.Dither(INT32_MAX), 1 << (bits - 1));
            EXPECT_GE(dither.Dither(INT32_MIN), -(1 << (bits - 1)));
        }
    }
}

// With triangular noise the rounding error has the same mean and power wherever the signal is between two
// steps, so it has no harmonics, and is at most one and a half steps. It is uncorrelated between channels and
// in time.
TEST(NOneChannelDither, ErrorDoesNotDependOnTheSignal) {
    constexpr int64_t kFrames = 100000;
    XAudioBufferNew source(kFrames, Format(kTagPCM, 2, 32), false);
    source.SetUsedSample(kFrames);
    for (const int bits : {16, 24}) {
        for (const double fraction : {0.0, 0.25, 0.5, 0.9375}) {
            SCOPED_TRACE(testing::Message() << bits << " bits, " << fraction);
            XAudioRdWr signal(source, 0, nullptr);
            const auto value = static_cast<int32_t>(std::ldexp(1000 + fraction, 32 - bits));
            for (int64_t i = 0; i < 2 * kFrames; ++i) signal.PutInt(i, value);
            XAudioBitsConv conv;
            ASSERT_TRUE(conv.ConvertData(source, bits, false, kNoise, false));
            const XAudioRdWr rounded(conv, 0, nullptr);
            const auto error = [&](int64_t i) { return rounded.GetIntRaw(i) - (1000 + fraction); };
            double sum = 0;
            double squares = 0;
            double acrossChannels = 0;
            double inTime = 0;
            for (int64_t i = 2; i < 2 * kFrames; i += 2) {
                ASSERT_LE(std::abs(error(i)), 1.5);
                sum += error(i);
                squares += error(i) * error(i);
                acrossChannels += error(i) * error(i + 1);
                inTime += error(i) * error(i - 2);
            }
            EXPECT_NEAR(sum / kFrames, 0, 0.01);
            EXPECT_NEAR(squares / kFrames, 0.25, 0.005);
            EXPECT_NEAR(acrossChannels / kFrames, 0, 0.005);
            EXPECT_NEAR(inTime / kFrames, 0, 0.005);
        }
    }
}

}  // namespace

}  // namespace w64
