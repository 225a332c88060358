#include "SoundFile.h"
#include "Workshop.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace {

// Every bit pattern is a sample, NaNs among them; an odd number of frames asks for padding.
Bytes Audio(int channels, size_t sampleBytes) {
    return Pattern(1237 * static_cast<size_t>(channels) * sampleBytes);
}

}  // namespace

TEST(RoundTrip, EveryLinearFormatComesBackBitForBit) {
    for (const auto& [kind, sampleBytes] : kLinearKinds) {
        for (const int channels : {1, 2, 3, 8}) {
            SCOPED_TRACE(testing::Message() << "kind " << kind << ", channels " << channels);
            const Workshop shop;
            const Bytes audio = Audio(channels, sampleBytes);
            SoundFile(shop.Path() / "in.wav", SF_FORMAT_WAV | kind, channels).WriteRaw(audio);

            ASSERT_EQ(shop.Run("w64 encode in.wav a.w64").status, 0);
            SoundFile encoded(shop.Path() / "a.w64");
            EXPECT_EQ(encoded.Info().format, SF_FORMAT_W64 | kind);
            EXPECT_EQ(Slice(encoded.ReadRaw(), 0, audio.size()), audio);  // it takes padding for audio
            EXPECT_EQ(shop.Read("a.w64").size() % 8, 0u);

            ASSERT_EQ(shop.Run("w64 decode a.w64 && w64 decode a.w64 -o a.raw").status, 0);
            SoundFile decoded(shop.Path() / "a.wav");
            EXPECT_EQ(decoded.Kind(), kind);
            EXPECT_EQ(decoded.Info().channels, channels);
            EXPECT_EQ(decoded.Info().samplerate, 44100);
            EXPECT_EQ(decoded.ReadRaw(), audio);
            EXPECT_EQ(shop.Read("a.raw"), audio);
        }
    }
}

TEST(RoundTrip, NoFramesStayNoFrames) {
    const Workshop shop;
    SoundFile(shop.Path() / "in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2).WriteRaw({});
    ASSERT_EQ(shop.Run("w64 encode in.wav a.w64 && w64 decode a.w64 && w64 decode a.w64 -o a.raw").status, 0);
    EXPECT_EQ(SoundFile(shop.Path() / "a.wav").Info().frames, 0);
    EXPECT_EQ(shop.Read("a.raw"), Bytes());
    EXPECT_EQ(shop.Run("w64 decode a.w64 -o a.flac").status, 1);  // which cannot be empty
}

TEST(RoundTrip, OtherSourcesKeepTheirSamples) {
    const struct {
        int format;
        std::string name;
        int kind;
    } cases[] = {
        {SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, "a.aiff", SF_FORMAT_PCM_U8},
        {SF_FORMAT_AIFF | SF_FORMAT_PCM_24, "b.aiff", SF_FORMAT_PCM_24},
        {SF_FORMAT_FLAC | SF_FORMAT_PCM_S8, "c.flac", SF_FORMAT_PCM_U8},
        {SF_FORMAT_CAF | SF_FORMAT_PCM_32, "d.caf", SF_FORMAT_PCM_32},
        {SF_FORMAT_CAF | SF_FORMAT_ALAC_24, "e.caf", SF_FORMAT_PCM_24},
        {SF_FORMAT_RF64 | SF_FORMAT_PCM_16, "f.rf64", SF_FORMAT_PCM_16},
        {SF_FORMAT_W64 | SF_FORMAT_PCM_24, "g.w64", SF_FORMAT_PCM_24},
        {SF_FORMAT_AU | SF_FORMAT_ULAW, "h.au", SF_FORMAT_PCM_16},
        {SF_FORMAT_OGG | SF_FORMAT_VORBIS, "i.ogg", SF_FORMAT_FLOAT},
    };
    std::vector<int> noise(2000);
    for (uint32_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<int>(i * 2654435761u);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Workshop shop;
        SoundFile(shop.Path() / c.name, c.format, 2).WriteInts(noise);
        ASSERT_EQ(shop.Run("w64 encode " + c.name + " out.w64").status, 0);
        SoundFile encoded(shop.Path() / "out.w64");
        EXPECT_EQ(encoded.Kind(), c.kind);
        EXPECT_EQ(encoded.ReadSamples(), SoundFile(shop.Path() / c.name).ReadSamples());
    }
}

TEST(RoundTrip, FilesOfOtherWritersDecode) {
    for (const auto& [kind, sampleBytes] : kLinearKinds) {
        SCOPED_TRACE(kind);
        const Workshop shop;
        const Bytes audio = Audio(3, sampleBytes);
        SoundFile(shop.Path() / "a.w64", SF_FORMAT_W64 | kind, 3).WriteRaw(audio);
        const Outcome flac = shop.Run("w64 decode a.w64 -o a.flac");
        if (sampleBytes <= 3) {
            EXPECT_EQ(SoundFile(shop.Path() / "a.flac").ReadSamples(),
                      SoundFile(shop.Path() / "a.w64").ReadSamples());
        } else {
            EXPECT_EQ(flac.status, 1);
            EXPECT_PRED_FORMAT2(testing::IsSubstring, "FLAC holds 8, 16 and 24-bit integers", flac.errors);
            EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
        }
        for (int channels = 1; channels <= 8; ++channels) {
            const Bytes samples = Audio(channels, sampleBytes);
            SoundFile(shop.Path() / "b.w64", SF_FORMAT_W64 | kind, channels).WriteRaw(samples);
            ASSERT_EQ(shop.Run("w64 decode b.w64 -f -o b.raw").status, 0);
            EXPECT_EQ(shop.Read("b.raw"), samples) << channels;
        }
    }
    const Workshop shop;
    for (const std::string kind : {"-b 8 -e unsigned", "-b 16 -e signed", "-b 24 -e signed",
                                   "-b 32 -e signed", "-b 32 -e float", "-b 64 -e float"}) {
        SCOPED_TRACE(kind);
        for (const std::string channels : {"1", "2", "3", "4", "5", "6", "7", "8"}) {
            const std::string make =
                "sox -D -n " + kind + " -c " + channels + " a.w64 synth 0.1 sine 440 noise";
            ASSERT_EQ(shop.Run(make + " && w64 decode a.w64 -fo a.raw").status, 0) << "needs SoX";
            Bytes audio = SoundFile(shop.Path() / "a.w64").ReadRaw();  // with padding
            const Bytes decoded = shop.Read("a.raw");
            EXPECT_LT(audio.size() - decoded.size(), 8u);
            audio.resize(decoded.size());
            EXPECT_TRUE(decoded == audio && !audio.empty()) << channels << " channels";
        }
    }
}

TEST(RoundTrip, ChannelMaskIsKept) {
    const std::vector<std::vector<int>> maps = {
        {SF_CHANNEL_MAP_CENTER},
        {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT},
        {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT, SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_RIGHT},
        {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT, SF_CHANNEL_MAP_CENTER, SF_CHANNEL_MAP_LFE,
         SF_CHANNEL_MAP_SIDE_LEFT, SF_CHANNEL_MAP_SIDE_RIGHT},
    };
    for (const auto& map : maps) {
        SCOPED_TRACE(map.size());
        const Workshop shop;
        const auto channels = static_cast<int>(map.size());
        {
            SoundFile source(shop.Path() / "in.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, channels);
            ASSERT_TRUE(source.SetChannelMap(map));
            source.WriteRaw(Audio(channels, 3));
        }
        ASSERT_EQ(shop.Run("w64 encode in.wav a.w64 && w64 decode a.w64").status, 0);
        std::vector<int> kept;
        ASSERT_TRUE(SoundFile(shop.Path() / "a.wav").GetChannelMap(kept));
        EXPECT_EQ(kept, map);
    }
}

TEST(RoundTrip, SampleIsTheSameEveryTimeAndDoesNotClip) {
    const Workshop shop;
    for (const std::string name : {"a.w64", "b.w64"})
        ASSERT_EQ(shop.Run("w64 sample " + name + " --channels 6 --bits 16 --seconds 3").status, 0);
    EXPECT_TRUE(shop.Read("a.w64") == shop.Read("b.w64"));
    const auto samples = SoundFile(shop.Path() / "a.w64").ReadSamples();
    ASSERT_EQ(samples.size(), 6u * 3 * 48000);
    std::array<double, 6> peaks{};
    for (size_t i = 0; i < samples.size(); ++i) peaks[i % 6] = std::max(peaks[i % 6], std::abs(samples[i]));
    for (const double peak : peaks) EXPECT_TRUE(peak > 0.05 && peak < 0.98) << peak;
}
