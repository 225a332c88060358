#include "audio/XAudioBitsConv.h"
#include "Formats.h"
#include "audio/XAudioRdWr.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

struct Layout {
    int tag, bits;
};

constexpr Layout kLayouts[] = {{1, 8}, {1, 16}, {1, 24}, {1, 32}, {3, 32}, {3, 64}};

using Bytes = std::vector<uint8_t>;

template <class T>
void Append(Bytes& bytes, T value, size_t size = sizeof(T)) {
    uint8_t stored[sizeof(T)];
    std::memcpy(stored, &value, sizeof value);
    bytes.insert(bytes.end(), stored, stored + size);
}

template <class Float>
void AppendFloats(Bytes& bytes, std::mt19937_64& random) {
    using Limits = std::numeric_limits<Float>;
    using Pattern = std::conditional_t<sizeof(Float) == 4, uint32_t, uint64_t>;
    const Float edges[] = {0,
                           1,
                           Float(1.5),
                           Float(0.75 / 32768),
                           Limits::denorm_min(),
                           Limits::min(),
                           Limits::max(),
                           Limits::infinity(),
                           Limits::quiet_NaN(),
                           Float(0x1p31),
                           Float(0x1p32),
                           Float(0x1p33),
                           Float(0x1.fffffffp-1)};
    for (const Float edge : edges) Append(bytes, edge), Append(bytes, -edge);
    std::uniform_real_distribution<Float> audible(Float(-1.1), Float(1.1));
    for (int i = 0; i < 5000; ++i) Append(bytes, audible(random));
    for (int i = 0; i < 5000; ++i) Append(bytes, std::bit_cast<Float>(static_cast<Pattern>(random())));
}

void AppendIntegers(Bytes& bytes, int width, std::mt19937_64& random) {
    const auto size = static_cast<size_t>(width / 8);
    if (width <= 16) {
        for (int value = 0; value < 1 << width; ++value) Append(bytes, value, size);
        return;
    }
    for (int bit = 0; bit < width; ++bit) {
        for (uint32_t near = 0; near < 3; ++near) Append(bytes, (1U << bit) + near - 1, size);
        Append(bytes, ~(1U << bit), size);
    }
    for (int i = 0; i < 10000; ++i) Append(bytes, static_cast<uint32_t>(random()), size);
}

// Every value of the short widths, edges and random values of the others, in an odd number.
Bytes Samples(Layout layout) {
    std::mt19937_64 random(7);
    Bytes bytes;
    if (layout.tag == kTagPCM)
        AppendIntegers(bytes, layout.bits, random);
    else if (layout.bits == 32)
        AppendFloats<float>(bytes, random);
    else
        AppendFloats<double>(bytes, random);
    const auto size = static_cast<size_t>(layout.bits / 8);
    if (bytes.size() / size % 2 == 0) bytes.resize(bytes.size() + size, 0x5A);
    return bytes;
}

Bytes ConvertedOneByOne(Bytes from, Layout source, Layout target, const wchar_t* options) {
    const int64_t samples = static_cast<int64_t>(from.size()) * 8 / source.bits;
    Bytes to(static_cast<size_t>(samples * target.bits / 8));
    const XAudioRdWr reader(source.tag, source.bits, 1, 0, 0, from.data(), nullptr);
    XAudioRdWr writer(target.tag, target.bits, 1, 0, 0, to.data(), options);
    for (int64_t i = 0; i < samples; ++i) writer.PutInt(i, reader.GetInt(i));
    return to;
}

void ExpectConverts(Layout source, Layout target, bool inPlace, const wchar_t* options) {
    SCOPED_TRACE(testing::Message() << source.tag << "/" << source.bits << " to " << target.tag << "/"
                                    << target.bits << (inPlace ? " in place" : ""));
    const Bytes stored = Samples(source);
    Bytes memory = stored;
    XAudioBufferNew buffer(memory.data(), static_cast<int64_t>(memory.size()),
                           Format(source.tag, 1, source.bits), true);
    XAudioBitsConv conv;
    const bool same = source.tag == target.tag && source.bits == target.bits;
    const bool supported = target.bits != 64 || source.tag == kTagFloat;
    ASSERT_EQ(conv.ConvertData(buffer, target.bits, inPlace, options, target.tag == kTagFloat), supported);
    if (!supported) return;
    const Bytes expected = same ? stored : ConvertedOneByOne(stored, source, target, options);
    const Bytes result(conv.BufferStart(), conv.BufferStart() + conv.GetUsedByte());
    EXPECT_EQ(result, expected);
    EXPECT_EQ(conv.WFXFormatTag(), target.tag);
    EXPECT_EQ(conv.BlockAlign(), target.bits / 8);
    EXPECT_EQ(conv.BufferStart() == memory.data(), inPlace && target.bits <= source.bits);
    EXPECT_TRUE(inPlace || memory == stored) << "the source has changed";
}

TEST(XAudioBitsConv, EveryPairOfLayoutsAsTheAccessorDefinesIt) {
    for (const Layout& source : kLayouts) {
        for (const Layout& target : kLayouts) {
            for (const bool inPlace : {false, true}) {
                ExpectConverts(source, target, inPlace, nullptr);
                ExpectConverts(source, target, inPlace, L"dither=1");
            }
        }
    }
}

TEST(XAudioBitsConv, TruncatesAndClips) {
    float floats[] = {1.5F, -0.75F / 32768, -1.0F, 0.99F / 32768};
    XAudioBufferNew source(floats, sizeof floats, Format(kTagFloat, 2, 32), true);
    XAudioBitsConv conv;
    ASSERT_TRUE(conv.ConvertData(source, XAudioWFX(2, 44100, 16), true, nullptr));
    const int16_t expected[] = {32767, -1, -32768, 0};
    ASSERT_EQ(conv.GetUsedSample(), 2);
    EXPECT_EQ(std::memcmp(conv.BufferStart(), expected, sizeof expected), 0);
    EXPECT_EQ(conv.BufferStart(), reinterpret_cast<uint8_t*>(floats));
    ASSERT_TRUE(conv.ConvertData(conv, 8, true, nullptr, false));  // its own result, once more
    EXPECT_EQ(Bytes(conv.BufferStart(), conv.BufferStart() + 4), (Bytes{255, 127, 0, 128}));
}

TEST(XAudioBitsConv, ExtensibleFormatsStayExtensible) {
    int16_t frames[] = {1, 2, 3, 4, 5};  // the last frame is cut short
    XAudioBufferNew source(frames, sizeof frames, Extensible(KSDATAFORMAT_SUBTYPE_PCM, 2, 16), true);
    XAudioBitsConv conv;
    ASSERT_TRUE(conv.ConvertData(source, 32, true, nullptr, true));
    EXPECT_EQ(conv.GetUsedByte(), 16);
    EXPECT_TRUE(conv.IsExtensibleGUID(&KSDATAFORMAT_SUBTYPE_IEEE_FLOAT));
    EXPECT_EQ(conv.wfxex()->wValidBitsPerSample, 32);
    EXPECT_EQ(conv.AvgBytesPerSec(), 352800U);
}

TEST(XAudioBitsConv, WidthsThatNoLayoutHas) {
    const struct {
        Layout source;
        int bits;
        bool toFloat, supported;
    } cases[] = {
        {{1, 12}, 12, false, true},  // passed through
        {{1, 12}, 16, false, false}, {{1, 20}, 20, true, false},  {{1, 16}, 16, true, false},
        {{1, 16}, 20, false, false}, {{1, 32}, 24, true, false},  {{3, 16}, 16, true, true},
        {{3, 16}, 16, false, false}, {{3, 24}, 32, true, false},  {{3, 48}, 16, false, false},
        {{3, 64}, 64, false, false}, {{3, 32}, 64, false, false}, {{1, 64}, 16, false, false},
        {{1, 0}, 16, false, false},  {{6, 8}, 16, false, false},  {{2, 0}, 0, false, false},
    };
    for (const auto& c : cases) {
        for (const bool inPlace : {false, true}) {
            Bytes memory(24);
            XAudioBufferNew source(memory.data(), 24, Format(c.source.tag, 1, c.source.bits), true);
            XAudioBitsConv conv;
            EXPECT_EQ(conv.ConvertData(source, c.bits, inPlace, nullptr, c.toFloat), c.supported)
                << c.source.tag << "/" << c.source.bits << " to " << c.bits;
        }
    }
}

}  // namespace
