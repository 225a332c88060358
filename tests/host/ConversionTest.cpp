#include "host/Conversion.h"
#include "SoundFile.h"
#include "Wave64Bytes.h"
#include "Workshop.h"
#include "audio/XAudioConv.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numbers>

namespace {

XAudioWFX Format(int tag, int channels, int bits, int rate) {
    XAudioWFX format(channels, rate, bits);
    format.SetFormatTag(tag);
    return format;
}

constexpr std::nullopt_t kSame = std::nullopt;

ConversionOptions To(std::optional<unsigned> rate, std::optional<unsigned> channels,
                     std::optional<unsigned> bits, bool isFloat = false, bool dither = false) {
    return {rate, channels, bits, isFloat, dither};
}

// All of the audio at once, by the pipeline alone.
Bytes Piped(Bytes audio, const XAudioWFX& from, const XAudioWFX& to) {
    XAudioBufferNew input(audio.data(), std::ssize(audio), from, true);
    XAudioConv conv;
    EXPECT_TRUE(conv.ConvertData(input, to, false, true, nullptr, true));
    return {conv.BufferStart(), conv.BufferStart() + conv.GetUsedByte()};
}

Bytes Converted(const Bytes& audio, const XAudioWFX& from, const ConversionOptions& options,
                size_t blockBytes) {
    Conversion conversion(from, options);
    Bytes out;
    const auto take = [&out](std::span<const uint8_t> frames) {
        out.insert(out.end(), frames.begin(), frames.end());
    };
    for (size_t at = 0; at < audio.size(); at += blockBytes) {
        const Bytes block = Slice(audio, at, at + blockBytes);
        conversion.Convert(block, take);
    }
    conversion.Finish(take);
    EXPECT_EQ(conversion.ExpectedBytes(std::ssize(audio)), std::ssize(out));
    return out;
}

template <class Number>
Bytes BytesOf(const std::vector<Number>& numbers) {
    Bytes bytes;
    for (const Number number : numbers) Append(bytes, number);
    return bytes;
}

double Power(const std::vector<double>& signal, double frequency, int rate) {
    std::complex<double> sum;
    for (size_t i = 0; i < signal.size(); ++i) {
        sum += signal[i] * std::polar(1.0, 2 * std::numbers::pi * frequency / rate * static_cast<double>(i));
    }
    return std::norm(sum) / static_cast<double>(signal.size());
}

}  // namespace

TEST(Conversion, BothWaysGiveWhatThePipelineGives) {
    const Workshop shop;
    const Bytes audio = Pattern(12 * 70001);
    const XAudioWFX source = Format(1, 6, 16, 44100);
    const XAudioWFX target = Format(1, 2, 24, 48000);
    const std::string options = " --rate 48000 --channels 2 --bits 24";
    shop.Write("a.w64", Wave64Bytes().Fmt(1, 6, 44100, 16).Data(audio).File());
    ASSERT_EQ(shop.Run("w64 decode a.w64 -o a.wav && w64 decode a.w64 -o b.wav" + options +
                       " && w64 encode a.wav b.w64" + options + " && w64 decode b.w64 -o c.wav")
                  .status,
              0);
    const Bytes expected = Piped(audio, source, target);
    EXPECT_EQ(expected.size(), 6u * 76192);  // 70001 * 48000 / 44100, rounded up
    for (const std::string name : {"b.wav", "c.wav"}) {
        SoundFile file(shop.Path() / name);
        EXPECT_EQ(file.Info().samplerate, 48000);
        EXPECT_EQ(file.Info().channels, 2);
        EXPECT_EQ(file.Kind(), SF_FORMAT_PCM_24);
        EXPECT_TRUE(file.ReadRaw() == expected) << name;
    }

    // Parts of it, a cut-off file, and a stream, whose header is written before the audio is there.
    shop.Write("cut.w64", Slice(shop.Read("a.w64"), 0, 90001));
    for (const std::string input : {"a.w64 --start 100 --end 0:00:01", "cut.w64 --salvage"}) {
        SCOPED_TRACE(input);
        ASSERT_EQ(shop.Run("w64 decode -fo part.raw " + input).status, 0);
        ASSERT_EQ(shop.Run("w64 decode -fo part.wav " + input + options).status, 0);
        EXPECT_TRUE(SoundFile(shop.Path() / "part.wav").ReadRaw() ==
                    Piped(shop.Read("part.raw"), source, target));
        ASSERT_EQ(shop.Run("w64 decode -o - " + input + options + " | cat >pipe.wav").status, 0);
        EXPECT_TRUE(shop.Read("pipe.wav") == shop.Read("part.wav"));
    }
}

TEST(Conversion, BlocksMayEndAnywhere) {
    const struct {
        XAudioWFX source;
        ConversionOptions options;
    } cases[] = {
        {Format(1, 2, 24, 48000), To(44100, 1, 16, false, true)},
        {Format(1, 1, 8, 1000), To(48000, 2, kSame)},
        {Format(3, 3, 32, 192000), To(11025, kSame, 24)},
        {Format(1, 2, 32, 44100), To(96000, kSame, 64, true)},
        {Format(3, 1, 64, 44100), To(kSame, 2, kSame, true)},
        {Format(1, 2, 16, 44100), To(44100, 2, 16, false, true)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.source.WFXToString()));
        const Bytes audio = Pattern(static_cast<size_t>(c.source.BlockAlign()) * 3000);
        const Bytes whole = Converted(audio, c.source, c.options, audio.size());
        EXPECT_TRUE(Converted(audio, c.source, c.options, 1001) == whole);
        EXPECT_TRUE(Converted({}, c.source, c.options, 1).empty());
        Bytes more = audio;
        more.resize(audio.size() + static_cast<size_t>(c.source.BlockAlign()) - 1);
        if (!(Conversion(c.source, c.options).Target().WFXToString() == c.source.WFXToString())) {
            EXPECT_TRUE(Converted(more, c.source, c.options, 999) == whole) << "a part of a frame at the end";
        }
    }
    const ConversionOptions faster = To(96000, kSame, kSame);
    EXPECT_EQ(Conversion(Format(1, 1, 8, 44100), faster).ExpectedBytes(INT64_MAX), INT64_MAX);
}

TEST(Conversion, OnlyWhatIsAskedForChanges) {
    const Workshop shop;
    const Bytes audio = Pattern(24 * 100);
    const auto extensible = [&](uint16_t tag, uint16_t channels, uint16_t bits, uint16_t valid,
                                uint32_t mask) {
        Bytes body = Wave64Bytes::ExtensibleBody(tag, channels, 48000, bits, mask);
        Store(body.data() + 18, valid);
        return Wave64Bytes().Chunk("fmt ", body).Data(audio).File();
    };
    const std::vector<int> side51 = {SF_CHANNEL_MAP_LEFT,      SF_CHANNEL_MAP_RIGHT,
                                     SF_CHANNEL_MAP_CENTER,    SF_CHANNEL_MAP_LFE,
                                     SF_CHANNEL_MAP_SIDE_LEFT, SF_CHANNEL_MAP_SIDE_RIGHT};
    const std::vector<int> quad = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT, SF_CHANNEL_MAP_REAR_LEFT,
                                   SF_CHANNEL_MAP_REAR_RIGHT};
    const struct {
        Bytes file;
        std::string options;
        int kind;
        int rate;
        std::vector<int> map;
    } cases[] = {
        {extensible(1, 6, 16, 16, 0x60F), "--bits 24", SF_FORMAT_PCM_24, 48000, side51},
        {extensible(3, 6, 32, 32, 0x60F), "--rate 44100", SF_FORMAT_FLOAT, 44100, side51},
        {extensible(3, 6, 32, 32, 0x60F), "--bits 32", SF_FORMAT_PCM_32, 48000, side51},
        {extensible(1, 6, 16, 16, 0x60F), "--channels 4", SF_FORMAT_PCM_16, 48000, quad},
        {extensible(1, 4, 24, 20, 0x33), "--rate 44100", SF_FORMAT_PCM_24, 44100, quad},
        {extensible(1, 4, 24, 24, 0x33), "--float", SF_FORMAT_FLOAT, 48000, quad},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options);
        shop.Write("a.w64", c.file);
        ASSERT_EQ(shop.Run("w64 decode a.w64 -fo a.wav " + c.options).status, 0);
        SoundFile wav(shop.Path() / "a.wav");
        EXPECT_EQ(wav.Kind(), c.kind);
        EXPECT_EQ(wav.Info().samplerate, c.rate);
        std::vector<int> map;
        EXPECT_TRUE(wav.GetChannelMap(map));
        EXPECT_EQ(map, c.map);
    }
    // Nothing is lost, and no noise comes.
    shop.Write("b.w64", extensible(1, 4, 16, 16, 0x33));
    ASSERT_EQ(shop.Run("w64 decode b.w64 -o b.wav --bits 24 && w64 decode b.w64 -o c.wav --bits 24 --dither")
                  .status,
              0);
    EXPECT_TRUE(shop.Read("b.wav") == shop.Read("c.wav"));

    // Unused bits come into use when samples are computed.
    Bytes record = Wave64Bytes::ExtensibleBody(1, 4, 48000, 24, 0x33);
    Store<uint16_t>(record.data() + 18, 20);
    const XAudioWFX source(record.data(), static_cast<unsigned>(record.size()));
    const auto validBits = [&](const ConversionOptions& options) {
        return Conversion(source, options).Target().wfxex()->wValidBitsPerSample;
    };
    EXPECT_EQ(validBits(To(48000, 4, 24)), 20);
    EXPECT_EQ(validBits(To(44100, kSame, kSame)), 24);
}

TEST(Conversion, FloatsOfAnyWidthAreTheSameNumbers) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    const float infinite = std::numeric_limits<float>::infinity();
    const Bytes narrow = BytesOf<float>({0, 1.5F, -3e20F, 1e-30F, none, infinite});
    const Bytes wide = BytesOf<double>({0, 1.5F, -3e20F, 1e-30F, none, infinite});
    const ConversionOptions toWide = To(kSame, kSame, 64, true);
    const ConversionOptions toNarrow = To(kSame, kSame, kSame, true);
    EXPECT_EQ(Converted(narrow, Format(3, 1, 32, 8000), toWide, 24), wide);
    EXPECT_EQ(Converted(wide, Format(3, 1, 64, 8000), toNarrow, 48), narrow);
    EXPECT_EQ(Converted(BytesOf<int32_t>({INT32_MAX, 1}), Format(1, 1, 32, 8000), toWide, 8),
              BytesOf<double>({1 - 0x1p-31, 0x1p-31}));
}

// A sine of a third of a step: without noise it becomes a square wave.
TEST(Conversion, DitherKeepsAQuietSineFreeOfHarmonics) {
    constexpr size_t kFrames = 48000;
    Bytes audio(3 * kFrames);
    XAudioRdWr samples(kTagPCM, 24, 1, 0, 0, audio.data(), nullptr);
    for (size_t i = 0; i < kFrames; ++i) {
        const double turn = 2 * std::numbers::pi / 48 * static_cast<double>(i);
        samples.PutDbl(static_cast<int64_t>(i), 1e-5 * std::sin(turn));
    }
    const Workshop shop;
    shop.Write("a.w64", Wave64Bytes().Fmt(1, 1, 48000, 24).Data(audio).File());
    const double noise = 0.25 * 0x1p-30;  // of one frequency, on average
    for (const int rate : {48000, 44100}) {
        SCOPED_TRACE(rate);
        const std::string options = " --bits 16 --rate " + std::to_string(rate);
        ASSERT_EQ(shop.Run("w64 decode a.w64 -fo cut.wav" + options).status, 0);
        ASSERT_EQ(shop.Run("w64 decode a.w64 -fo noisy.wav --dither" + options).status, 0);
        const auto cut = SoundFile(shop.Path() / "cut.wav").ReadSamples();
        const auto noisy = SoundFile(shop.Path() / "noisy.wav").ReadSamples();
        double strongest = 0;
        for (int harmonic = 2; harmonic <= 20; ++harmonic) {
            EXPECT_LT(Power(noisy, 1000 * harmonic, rate), 10 * noise) << harmonic;
            strongest = std::max(strongest, Power(cut, 1000 * harmonic, rate));
        }
        EXPECT_GT(strongest, 1000 * noise);
        EXPECT_NEAR(Power(noisy, 1000, rate), 1e-10 / 4 * rate, 1e-10 / 40 * rate) << "the sine itself";
    }
}

TEST(Conversion, WhatCannotBeDoneIsTold) {
    const Workshop shop;
    const auto put = [&](const std::string& name, uint16_t tag, uint16_t channels, uint32_t rate,
                         uint16_t bits) {
        shop.Write(name, Wave64Bytes().Fmt(tag, channels, rate, bits).Data(Pattern(60000)).File());
    };
    put("a.w64", 1, 2, 44101, 16);
    put("bytes.w64", 1, 2, 44100, 8);
    put("12.w64", 1, 2, 48000, 12);
    put("64.w64", 1, 2, 48000, 64);
    put("half.w64", 3, 2, 48000, 16);
    put("ten.w64", 1, 10, 48000, 16);
    put("many.w64", 1, 20000, 48000, 8);
    put("fast.w64", 1, 8, 9600000, 16);
    put("slow.w64", 1, 1, 1, 16);
    const struct {
        std::string arguments;
        int status;
        const char* message;
    } cases[] = {
        {"a.w64 --rate 0", 2, "--rate: Value 0 not in range"},
        {"a.w64 --rate -48000", 2, "--rate: Value -48000 not in range"},
        {"a.w64 --rate 2147483647", 2, "--rate: Value 2147483647 not in range"},
        {"a.w64 --channels 9", 2, "--channels: Value 9 not in range"},
        {"a.w64 --bits 12", 2, "--bits: 12 not in"},
        {"a.w64 --float --bits 16", 2, "floating-point samples have 32 or 64 bits"},
        {"a.w64 --bits 64", 2, "64-bit samples need --float"},
        {"a.w64 --dither", 2, "--dither goes with --rate, --channels or --bits"},
        {"a.w64 --dither --float", 2, "--dither is for integers of 16 and 24 bits"},
        {"bytes.w64 --dither --rate 48000", 1, "--dither is for integers of 16 and 24 bits"},
        {"a.w64 --rate 48000", 1,
         "cannot convert 44101 Hz to 48000 Hz; the nearest rates that work are 44101 Hz and 88202 Hz"},
        {"slow.w64 --rate 48000", 1, "the nearest rate that works is 500 Hz"},
        {"12.w64 --bits 16", 1, "this is PCM, 12-bit, stereo, 48000 Hz"},
        {"64.w64 --rate 44100", 1, "this is PCM, 64-bit, stereo, 48000 Hz"},
        {"half.w64 --bits 16", 1, "this is float, 16-bit, stereo, 48000 Hz"},
        {"ten.w64 --channels 2", 1, "cannot mix 10 channels to 2; 1 to 8 can be mixed to 1 to 8"},
        {"many.w64 --rate 44100", 1, "in 20000 channels, only in up to 64"},
        {"many.w64 --bits 32", 1, "frames have up to 65535 bytes, this is PCM, 32-bit, 20000 channels"},
        {"fast.w64 --rate 48000", 1, "cannot convert 9600000 Hz to 48000 Hz in 8 channels, only in up to 2"},
        {"bytes.w64 --float -o a.flac", 1, "FLAC holds 8, 16 and 24-bit integers, this is float, 32-bit"},
    };
    const std::set<std::string> files = shop.Files();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arguments);
        const Outcome outcome = shop.Run("w64 decode " + c.arguments);
        EXPECT_EQ(outcome.status, c.status);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, c.message, outcome.errors);
        EXPECT_EQ(shop.Files(), files);
    }
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "64-bit samples need --float",
                        shop.Run("w64 encode a.w64 b.w64 --bits 64").errors);
}
