#include "Formats.h"
#include "audio/samples/XAudioBitsConv.h"

#include <cmath>

namespace w64 {

namespace {

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
