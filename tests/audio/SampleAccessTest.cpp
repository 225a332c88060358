#include "Formats.h"
#include "audio/XAudioRdWr.h"
#include "audio/XAudioSampleAccess.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

using Bytes = std::vector<uint8_t>;

XAudioRdWr Access(int tag, int bits, Bytes& data, const wchar_t* options = nullptr) {
    const auto size = static_cast<int64_t>(data.size());
    return {tag, bits, 1, size, size, data.data(), options};
}

TEST(XAudioRdWr, ReadsStoredSamples) {
    const struct {
        int tag, bits;
        Bytes stored;
        int32_t raw, left;
        double scaled;
    } cases[] = {
        {1, 8, {0x00}, -128, INT32_MIN, -1.0},
        {1, 8, {0x80}, 0, 0, 0.0},
        {1, 8, {0xFF}, 127, 127 << 24, 127 / 128.0},
        {1, 16, {0x00, 0x80}, -32768, INT32_MIN, -1.0},
        {1, 16, {0xFF, 0x7F}, 32767, 0x7FFF0000, 32767 / 32768.0},
        {1, 24, {0x00, 0x00, 0x80}, -8388608, INT32_MIN, -1.0},
        {1, 24, {0xFF, 0xFF, 0xFF}, -1, -256, -1 / 8388608.0},
        {1, 24, {0x01, 0x02, 0x03}, 0x030201, 0x03020100, 0x030201 / 8388608.0},
        {1, 32, {0xFF, 0xFF, 0xFF, 0x7F}, INT32_MAX, INT32_MAX, 2147483647 / 2147483648.0},
        {3, 32, {0x00, 0x00, 0xC0, 0x3F}, INT32_MAX, INT32_MAX, 1.5},
        {3, 32, {0x00, 0x00, 0x00, 0xBF}, -1073741824, -1073741824, -0.5},
        {3, 64, {0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, 1073741824, 1073741824, 0.5},
        {1, 20, {0x11, 0x22, 0x33}, 0, 0, 0.0},
    };
    for (const auto& c : cases) {
        Bytes data(c.stored);
        data.insert(data.end(), c.stored.begin(), c.stored.end());
        XAudioRdWr samples = Access(c.tag, c.bits, data);
        EXPECT_EQ(samples.GetIntRaw(1), c.raw) << c.tag << "/" << c.bits;
        EXPECT_EQ(samples.GetInt(1), c.left) << c.tag << "/" << c.bits;
        EXPECT_EQ(samples.GetDbl(1), c.scaled) << c.tag << "/" << c.bits;
        std::fill(data.begin(), data.end(), uint8_t{0x55});
        const bool stored = c.bits != 20;
        samples.PutDbl(0, c.scaled);
        EXPECT_EQ(std::equal(c.stored.begin(), c.stored.end(), data.begin()), stored)
            << c.tag << "/" << c.bits;
        EXPECT_EQ(data.back(), 0x55) << "the neighbour";
    }
}

TEST(XAudioRdWr, RoundsAndClipsDoubles) {
    const struct {
        double value;
        int32_t at8, at16, at24, at32, dithered16;
    } cases[] = {
        {1.0, 127, 32767, 8388607, INT32_MAX, 32767},
        {-1.0, -128, -32768, -8388608, INT32_MIN, -32768},
        {0.00001, 0, 0, 84, 21475, 0},
        {-0.5 / 32768, 0, -1, -128, -32768, -1},
        {0.5 / 32768, 0, 1, 128, 32768, 0},
        {-0.25 / 2147483648, 0, 0, 0, 0, 0},
        {-0.75 / 2147483648, 0, 0, 0, -1, -1},
        {1e300, 127, 32767, 8388607, INT32_MAX, 32767},
        {-kInf, -128, -32768, -8388608, INT32_MIN, -32768},
        {kNaN, 0, 0, 0, 0, 0},
    };
    for (const auto& c : cases) {
        const auto written = [&](int bits, const wchar_t* options) {
            Bytes data(4);
            XAudioRdWr samples = Access(1, bits, data, options);
            samples.PutDbl(0, c.value);
            return samples.GetIntRaw(0);
        };
        EXPECT_EQ(written(8, nullptr), c.at8) << c.value;
        EXPECT_EQ(written(16, nullptr), c.at16) << c.value;
        EXPECT_EQ(written(24, nullptr), c.at24) << c.value;
        EXPECT_EQ(written(32, L"dither=1"), c.at32) << c.value;
        EXPECT_EQ(written(16, L"x"), c.dithered16) << c.value;
    }
    EXPECT_EQ(_DBLToINT32(0.75 / 2147483648), 0);
    EXPECT_EQ(_DBLToINT32(-1.5 / 2147483648), -1);
    EXPECT_EQ(_DBLToINT32(kNaN), 0);
    EXPECT_EQ(_DBLToINT32(-1e300), INT32_MIN);
}

TEST(XAudioRdWr, FloatsAreNotClippedAndRawValuesKeepTheirLowBits) {
    Bytes data(8);
    XAudioRdWr floats = Access(3, 32, data);
    floats.PutDbl(0, -3.5);
    EXPECT_EQ(floats.GetDbl(0), -3.5);
    floats.PutDbl(0, 1e300);
    EXPECT_EQ(floats.GetDbl(0), kInf);
    floats.PutIntRaw(0, INT32_MIN);
    EXPECT_EQ(floats.GetDbl(0), -1.0);
    Access(1, 8, data).PutIntRaw(0, INT32_MAX);
    EXPECT_EQ(data[0], 127);
    Access(1, 24, data, L"dither=1").PutIntRaw(0, 0x12345678);
    EXPECT_EQ((Bytes(data.begin(), data.begin() + 3)), (Bytes{0x78, 0x56, 0x34}));
}

TEST(XAudioRdWr, StartsWhereTold) {
    int16_t frames[] = {10, 11, 20, 21, 30, 31};
    XAudioBufferNew buffer(frames, sizeof frames, Extensible(KSDATAFORMAT_SUBTYPE_PCM, 2, 16), true);
    XAudioRdWr samples(buffer, 3, nullptr);
    EXPECT_EQ(samples.GetIntRaw(0), 21);
    samples.SetBeginData_RAW(buffer, 1);
    EXPECT_EQ(samples.GetIntRaw(0), 11);
    samples.SetBeginData_DivChan(buffer, 2);
    EXPECT_EQ(samples.GetIntRaw(1), 31);
    EXPECT_EQ(XAudioRdWr(buffer.wfx(), 12, 12, frames, nullptr).GetIntRaw(2), 20);
}

TEST(NOneChannelDither, ReadsTheLevelFromTheOptions) {
    const struct {
        const wchar_t* options;
        int32_t level;
    } cases[] = {
        {nullptr, 0},        {L"", 0},
        {L"dither=3", 3},    {L"x=1; dither = -7 ,y=2", -7},
        {L"Dither=3", 0},    {L"a=b\r\ndither=4\r\n", 4},
        {L"dither", 0},      {L"dither=loud", 0},
        {L"=;;dither=2", 2}, {L"dither=99999999999999999999", INT32_MAX},
    };
    for (const auto& c : cases) {
        NOneChannelDither dither;
        dither.Create(16, c.options);
        EXPECT_EQ(dither.Level(), c.level) << c.level;
        EXPECT_EQ(dither.Dither(-1), -1);
        EXPECT_EQ(dither.Dither(0x7FFFFFFF), 32767);
        dither.Create(24, c.options);
        EXPECT_EQ(dither.Dither(0x7FFFFFFF), 0x7FFFFF);
    }
}

}  // namespace
