#include "Formats.h"
#include "audio/XAudioBitsConv.h"
#include "audio/XAudioRdWr.h"
#include "audio/XAudioSampleAccess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>

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
        {1, 20, {0x55, 0x55, 0x55}, 0, 0, 0.0},  // no known layout
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

// Every 16-bit value, edges and random bits, in an odd number.
Bytes Samples(const XAudioWFX& layout) {
    std::mt19937_64 random(7);
    Bytes bytes;
    const auto append = [&](auto value) {
        const auto* stored = reinterpret_cast<const uint8_t*>(&value);
        bytes.insert(bytes.end(), stored, stored + layout.BytesPerSample());
    };
    const auto appendFloat = [&](double value) {
        return layout.BitsPerSample() == 64 ? append(value) : append(static_cast<float>(value));
    };
    if (layout.FormatTag() == kTagFloat) {
        for (const auto edge : std::initializer_list<double>{0.0, 1.0, 0.75 / 32768, 0x1.fffffffp-1, 0x1p31,
                                                             0x1p32, 1e-40, 1e300, INFINITY, NAN}) {
            appendFloat(edge), appendFloat(-edge);
        }
        for (int i = 0; i < 5000; ++i) appendFloat(static_cast<double>(random()) * 0x1p-63 - 1);
    } else {
        for (uint64_t value = 0; value < 65536; ++value) append(value);
        for (int bit = 16; bit < 32; ++bit) append((uint64_t{1} << bit) - 1), append(uint64_t{1} << bit);
    }
    for (int i = 0; i < 10001; ++i) append(uint64_t{random()});
    return bytes;
}

void ExpectConverts(const XAudioWFX& source, const XAudioWFX& target, bool inPlace, const wchar_t* options) {
    SCOPED_TRACE(source.WFXToString() + L" to " + target.WFXToString());
    const Bytes stored = Samples(source);
    Bytes memory = stored;
    XAudioBufferNew buffer(memory.data(), static_cast<int64_t>(memory.size()), source, true);
    const int64_t samples = buffer.GetUsedSample();
    const XAudioRdWr reader(buffer, 0, nullptr);
    Bytes expected(static_cast<size_t>(target.SamplesToBytes_RAW(samples)));
    XAudioRdWr writer(target, 0, 0, expected.data(), options);
    for (int64_t i = 0; i < samples; ++i) writer.PutInt(i, reader.GetInt(i));

    XAudioBitsConv conv;
    const bool supported = target.BitsPerSample() != 64 || source.FormatTag() == kTagFloat;
    ASSERT_EQ(conv.ConvertData(buffer, target, inPlace, options), supported);
    if (!supported) return;
    EXPECT_TRUE(Used(conv) == (source.WFXToString() == target.WFXToString() ? stored : expected));
    EXPECT_EQ(conv.WFXToString(), target.WFXToString());
    EXPECT_EQ(conv.BufferStart() == memory.data(), inPlace && target.BlockAlign() <= source.BlockAlign());
    EXPECT_TRUE(inPlace || memory == stored) << "the source has changed";
}

TEST(XAudioBitsConv, EveryPairOfLayoutsAsTheAccessorDefinesIt) {
    const XAudioWFX layouts[] = {Format(kTagPCM, 1, 8),  Format(kTagPCM, 1, 16),   Format(kTagPCM, 1, 24),
                                 Format(kTagPCM, 1, 32), Format(kTagFloat, 1, 32), Format(kTagFloat, 1, 64)};
    for (const XAudioWFX& source : layouts) {
        for (const XAudioWFX& target : layouts) {
            ExpectConverts(source, target, false, nullptr);
            ExpectConverts(source, target, true, nullptr);
            ExpectConverts(source, target, true, L"dither=1");
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
    ASSERT_TRUE(conv.ConvertData(conv, 8, true, nullptr, false));  // its own result, once more
    EXPECT_EQ(Used(conv), (Bytes{255, 127, 0, 128}));
}

TEST(XAudioBitsConv, RefusesWhatItsLayoutsCannotHold) {
    const std::tuple<int, int, int, bool> cases[] = {
        {1, 20, 20, true}, {1, 16, 16, true},  {1, 16, 20, false}, {1, 32, 24, true}, {3, 16, 16, false},
        {3, 24, 32, true}, {3, 64, 64, false}, {3, 32, 64, false}, {6, 8, 16, false}, {2, 0, 0, false},
    };
    for (const auto& [tag, from, to, toFloat] : cases) {
        XAudioBufferNew source(3, Format(tag, 1, from), true);
        EXPECT_FALSE(XAudioBitsConv().ConvertData(source, to, false, nullptr, toFloat))
            << tag << "/" << from << " to " << to;
    }
    XAudioBufferNew unknown(3, Format(1, 1, 12), true);
    unknown.SetUsedSample(3);
    std::fill_n(unknown.BufferStart(), unknown.GetUsedByte(), uint8_t{0x55});
    XAudioBitsConv silence;
    ASSERT_TRUE(silence.ConvertData(unknown, 16, false, nullptr, false));
    EXPECT_EQ(std::vector<uint8_t>(silence.BufferStart(), silence.BufferStart() + silence.GetUsedByte()),
              std::vector<uint8_t>(6));
}

}  // namespace
