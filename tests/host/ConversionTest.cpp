#include "host/convert/Conversion.h"
#include "HostWorkshop.h"
#include "SoundFile.h"
#include "audio/pipeline/XAudioConv.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace w64 {

namespace {

using ConversionTest = HostTest;

XAudioWFX Format(int tag, int channels, int bits, int rate) {
    XAudioWFX format(channels, rate, bits);
    format.SetFormatTag(tag);
    return format;
}

constexpr std::nullopt_t kSame = std::nullopt;

ConversionOptions To(std::optional<unsigned> rate, std::optional<unsigned> channels = kSame,
                     std::optional<unsigned> bits = kSame, bool isFloat = false, bool dither = false) {
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

}  // namespace

TEST_F(ConversionTest, BothWaysGiveWhatThePipelineGives) {
    const Bytes audio = Pattern(12 * 70001);
    const XAudioWFX source = Format(1, 6, 16, 44100);
    const XAudioWFX target = Format(1, 2, 24, 48000);
    const std::string options = " --rate 48000 --channels 2 --bits 24";
    shop.Write("a.w64", Wave64Bytes().Fmt(1, 6, 44100, 16).Data(audio).File());
    shop.Do("w64 decode a.w64 -o a.wav && w64 decode a.w64 -o b.wav" + options +
            " && w64 encode a.wav b.w64" + options + " && w64 decode b.w64 -o c.wav");
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
    for (const std::string input : {"a.w64 --start 100f --end 0:00:01", "cut.w64 --salvage"}) {
        SCOPED_TRACE(input);
        shop.Do("w64 decode -fo part.raw " + input + " && w64 decode -fo part.wav " + input + options +
                " && w64 decode -o - " + input + options + " | cat >pipe.wav");
        EXPECT_TRUE(SoundFile(shop.Path() / "part.wav").ReadRaw() ==
                    Piped(shop.Read("part.raw"), source, target));
        EXPECT_TRUE(shop.Read("pipe.wav") == shop.Read("part.wav"));
    }
}

TEST_F(ConversionTest, BlocksMayEndAnywhere) {
    const std::pair<XAudioWFX, ConversionOptions> cases[] = {
        {Format(1, 2, 24, 48000), To(44100, 1, 16, false, true)},
        {Format(1, 1, 8, 1000), To(48000, 2)},
        {Format(3, 3, 32, 192000), To(11025, kSame, 24)},
        {Format(1, 2, 32, 44100), To(96000, kSame, 64, true)},
        {Format(3, 1, 64, 44100), To(kSame, 2, kSame, true)},
    };
    for (const auto& [source, options] : cases) {
        SCOPED_TRACE(DescribeFormat(source));
        const Bytes audio = Pattern(static_cast<size_t>(source.BlockAlign()) * 3000);
        const Bytes whole = Converted(audio, source, options, audio.size());
        EXPECT_TRUE(Converted(audio, source, options, 1001) == whole);
        EXPECT_TRUE(Converted({}, source, options, 1).empty());
        const Bytes more = Resized(audio, audio.size() + static_cast<size_t>(source.BlockAlign()) - 1);
        EXPECT_TRUE(Converted(more, source, options, 999) == whole) << "a part of a frame at the end";
    }
    const Conversion faster(Format(1, 1, 8, 44100), To(96000));
    EXPECT_EQ(faster.ExpectedBytes(INT64_MAX), INT64_MAX);
}

TEST_F(ConversionTest, OnlyWhatIsAskedForChanges) {
    const struct {
        uint16_t tag, channels, bits, valid;
        uint32_t mask;
        ConversionOptions options;
        std::string format;
        uint32_t newMask;
    } cases[] = {
        {1, 6, 16, 16, 0x60F, To(kSame, kSame, 24), "PCM, 24-bit, 6 channels, 48000 Hz", 0x60F},
        {3, 6, 32, 32, 0x60F, To(44100), "float, 32-bit, 6 channels, 44100 Hz", 0x60F},
        {3, 6, 32, 32, 0x60F, To(kSame, kSame, 32), "PCM, 32-bit, 6 channels, 48000 Hz", 0x60F},
        {1, 6, 16, 16, 0x60F, To(kSame, 4), "PCM, 16-bit, 4 channels, 48000 Hz", 0x33},
        {1, 4, 24, 20, 0x33, To(48000, kSame, 24), "PCM, 20-bit in 24, 4 channels, 48000 Hz", 0x33},
        {1, 4, 24, 20, 0x33, To(44100), "PCM, 24-bit, 4 channels, 44100 Hz", 0x33},
        {1, 4, 24, 24, 0x33, To(kSame, kSame, kSame, true), "float, 32-bit, 4 channels, 48000 Hz", 0x33},
    };
    for (const auto& c : cases) {
        Bytes record = Wave64Bytes::ExtensibleBody(c.tag, c.channels, 48000, c.bits, c.mask);
        base::Store(record.data() + 18, c.valid);
        const Conversion conversion({record.data(), static_cast<unsigned>(record.size())}, c.options);
        EXPECT_EQ(DescribeFormat(conversion.Target()), c.format);
        EXPECT_EQ(conversion.Target().wfxex()->dwChannelMask, c.newMask) << c.format;
    }
    // Nothing is lost, so no noise comes; nothing is to change, so not even a part of a frame goes.
    const XAudioWFX format = Format(1, 4, 16, 48000);
    const Bytes audio = Pattern(2403);
    const auto converted = [&](unsigned bits, bool dither) {
        return Converted(audio, format, To(kSame, kSame, bits, false, dither), 1000);
    };
    EXPECT_EQ(converted(24, true), converted(24, false));
    EXPECT_EQ(converted(16, true), audio);
    const auto rounded = [](bool dither) {
        return Converted(Pattern(6000), Format(1, 2, 24, 48000), To(kSame, kSame, 16, false, dither), 1000);
    };
    EXPECT_NE(rounded(true), rounded(false));
}

TEST_F(ConversionTest, MixesBeforeBitsAreLostAndAfterTheyAreWon) {
    for (const auto& [from, to] : {std::pair(24, 16), {16, 24}, {24, 8}}) {
        SCOPED_TRACE(testing::Message() << from << " bits to " << to);
        const Bytes audio = Pattern(static_cast<size_t>(from) / 8 * 2 * 5000);
        shop.Write("a.w64", Wave64Bytes().Fmt(1, 2, 48000, static_cast<uint16_t>(from)).Data(audio).File());
        shop.Do("w64 decode a.w64 -f --channels 1 --bits " + std::to_string(to));
        const auto mixed = SoundFile(shop.Path() / "a.wav").ReadSamples();
        ASSERT_EQ(mixed.size(), 5000u);
        Bytes stored = audio;
        const XAudioRdWr source(kTagPCM, from, 2, 0, 0, stored.data(), nullptr);
        for (int64_t i = 0; i < std::ssize(mixed); ++i) {
            const double sum = 0.44 * std::numbers::sqrt2 * (source.GetDbl(2 * i) + source.GetDbl(2 * i + 1));
            const double steps =
                std::ldexp(std::clamp(sum, -1.0, 1.0) - mixed[static_cast<size_t>(i)], to - 1);
            ASSERT_TRUE(steps > -0.51 && steps < 1.01) << i << ": " << steps;
        }
    }
}

TEST_F(ConversionTest, FloatsOfAnyWidthAreTheSameNumbers) {
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

TEST_F(ConversionTest, WhatCannotBeDoneIsTold) {
    shop.ExpectRefused({{"decode a.w64 --rate 2147483647", 2, "--rate: Value 2147483647 not in range"},
                        {"decode a.w64 --channels 9", 2, "--channels: Value 9 not in range"},
                        {"decode a.w64 --bits 12", 2, "--bits: 12 not in"}});
    const std::tuple<XAudioWFX, ConversionOptions, const char*> cases[] = {
        {Format(1, 1, 16, 48000), To(99), "the nearest rates that work are 96 Hz and 100 Hz"},
        {Format(1, 1, 16, 48000), To(1), "the nearest rate that works is 75 Hz"},
        {Format(1, 2, 64, 48000), To(44100), "this is PCM, 64-bit, stereo, 48000 Hz"},
        {Format(3, 2, 16, 48000), To(kSame, kSame, 16), "this is float, 16-bit, stereo, 48000 Hz"},
        {Format(1, 10, 16, 48000), To(kSame, 2),
         "cannot mix 10 channels to 2; 1 to 8 can be mixed to 1 to 8"},
        {Format(1, 20000, 8, 48000), To(44100), "in 20000 channels, only in up to 64"},
        {Format(1, 20000, 8, 48000), To(kSame, kSame, 32),
         "up to 65535 bytes; this is PCM, 32-bit, 20000 channels"},
        {Format(1, 8, 16, 9600000), To(48000), "to 48000 Hz in 8 channels, only in up to 2"},
    };
    for (const auto& [source, options, message] : cases) {
        try {
            const Conversion conversion(source, options);
            ADD_FAILURE() << message;
        } catch (const Failure& failure) {
            EXPECT_HAS(message, failure.what());
        }
    }
}

}  // namespace w64
