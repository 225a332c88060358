#include "SoundFile.h"
#include "W64Command.h"

#include <gtest/gtest.h>
#include <numeric>

namespace {

constexpr int kLinearKinds[] = {SF_FORMAT_PCM_U8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24,
                                SF_FORMAT_PCM_32, SF_FORMAT_FLOAT,  SF_FORMAT_DOUBLE};

// Every bit pattern is a sample, NaNs among them; an odd number of frames asks for padding.
Bytes Audio(int kind, int channels) {
    return Pattern(1237 * static_cast<size_t>(channels) * SoundFile::BytesOf(kind));
}

// It takes the zeros that pad the last chunk to 8 bytes for audio, as far as they make up a frame.
Bytes AsLibsndfileReads(Bytes audio, size_t frameBytes) {
    const size_t padded = (audio.size() + 7) / 8 * 8;
    audio.resize(padded / frameBytes * frameBytes);
    return audio;
}

std::vector<int> Ramp(int channels) {
    std::vector<int> samples(static_cast<size_t>(1000 * channels));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<int>(static_cast<uint32_t>(i) * 2654435761u);
    return samples;
}

}  // namespace

TEST(RoundTrip, EveryLinearFormatComesBackBitForBit) {
    for (const int kind : kLinearKinds) {
        for (const int channels : {1, 2, 3, 8}) {
            SCOPED_TRACE(testing::Message() << "kind " << kind << ", channels " << channels);
            const Workshop shop;
            const Bytes audio = Audio(kind, channels);
            SoundFile(shop.Path() / "in.wav", SF_FORMAT_WAV | kind, channels).WriteRaw(audio);

            ASSERT_EQ(shop.W64({"encode", "in.wav", "a.w64"}).status, 0);
            SoundFile encoded(shop.Path() / "a.w64");
            EXPECT_EQ(encoded.Container(), SF_FORMAT_W64);
            EXPECT_EQ(encoded.Kind(), kind);
            EXPECT_EQ(encoded.ReadRaw(),
                      AsLibsndfileReads(audio, static_cast<size_t>(channels) * SoundFile::BytesOf(kind)));
            EXPECT_EQ(shop.Read("a.w64").size() % 8, 0u);

            ASSERT_EQ(shop.W64({"decode", "a.w64"}).status, 0);
            ASSERT_EQ(shop.W64({"decode", "a.w64", "-o", "a.raw"}).status, 0);
            SoundFile decoded(shop.Path() / "a.wav");
            EXPECT_EQ(decoded.Kind(), kind);
            EXPECT_EQ(decoded.Info().channels, channels);
            EXPECT_EQ(decoded.Info().samplerate, 44100);
            EXPECT_EQ(decoded.ReadRaw(), audio);
            EXPECT_EQ(shop.Read("a.raw"), audio);
        }
    }
}

TEST(RoundTrip, OtherSourcesKeepTheirSamples) {
    const struct {
        int format;
        const char* name;
        int kind;
    } cases[] = {
        {SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, "a.aiff", SF_FORMAT_PCM_U8},
        {SF_FORMAT_AIFF | SF_FORMAT_PCM_24, "b.aiff", SF_FORMAT_PCM_24},
        {SF_FORMAT_FLAC | SF_FORMAT_PCM_S8, "c.flac", SF_FORMAT_PCM_U8},
        {SF_FORMAT_FLAC | SF_FORMAT_PCM_16, "d.flac", SF_FORMAT_PCM_16},
        {SF_FORMAT_CAF | SF_FORMAT_PCM_32, "e.caf", SF_FORMAT_PCM_32},
        {SF_FORMAT_CAF | SF_FORMAT_ALAC_24, "f.caf", SF_FORMAT_PCM_24},
        {SF_FORMAT_RF64 | SF_FORMAT_PCM_16, "g.rf64", SF_FORMAT_PCM_16},
        {SF_FORMAT_W64 | SF_FORMAT_PCM_24, "h.w64", SF_FORMAT_PCM_24},
        {SF_FORMAT_AU | SF_FORMAT_ULAW, "i.au", SF_FORMAT_PCM_16},
        {SF_FORMAT_WAV | SF_FORMAT_MS_ADPCM, "j.wav", SF_FORMAT_PCM_16},
        {SF_FORMAT_OGG | SF_FORMAT_VORBIS, "k.ogg", SF_FORMAT_FLOAT},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Workshop shop;
        SoundFile(shop.Path() / c.name, c.format, 2).WriteInts(Ramp(2));
        ASSERT_EQ(shop.W64({"encode", c.name, "out.w64"}).status, 0);
        SoundFile source(shop.Path() / c.name);
        SoundFile encoded(shop.Path() / "out.w64");
        EXPECT_EQ(encoded.Kind(), c.kind);
        EXPECT_EQ(encoded.Info().frames, source.Info().frames);
        EXPECT_EQ(encoded.ReadSamples(), source.ReadSamples());
    }
}

TEST(RoundTrip, FilesOfOtherWritersDecode) {
    for (const int kind : kLinearKinds) {
        SCOPED_TRACE(kind);
        const Workshop shop;
        const Bytes audio = Audio(kind, 2);
        SoundFile(shop.Path() / "a.w64", SF_FORMAT_W64 | kind, 2).WriteRaw(audio);
        ASSERT_EQ(shop.W64({"decode", "a.w64", "-o", "a.raw"}).status, 0);
        EXPECT_EQ(shop.Read("a.raw"), audio);
    }
    const Workshop shop;
    ASSERT_EQ(
        shop.Run({"sox", "-D", "-n", "-b", "24", "-c", "2", "sox.w64", "synth", "0.5", "sine", "440"}).status,
        0)
        << "these tests need SoX";
    ASSERT_EQ(shop.W64({"decode", "sox.w64"}).status, 0);
    const auto samples = SoundFile(shop.Path() / "sox.wav").ReadSamples();
    EXPECT_EQ(samples, SoundFile(shop.Path() / "sox.w64").ReadSamples());
    EXPECT_EQ(samples.size(), 48000u);
}

TEST(RoundTrip, FlacHoldsTheSameSamples) {
    for (const int kind : {SF_FORMAT_PCM_U8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24}) {
        SCOPED_TRACE(kind);
        const Workshop shop;
        SoundFile(shop.Path() / "a.w64", SF_FORMAT_W64 | kind, 3).WriteRaw(Audio(kind, 3));
        ASSERT_EQ(shop.W64({"decode", "a.w64", "-o", "a.flac"}).status, 0);
        EXPECT_EQ(SoundFile(shop.Path() / "a.flac").ReadSamples(),
                  SoundFile(shop.Path() / "a.w64").ReadSamples());
    }
    const Workshop shop;
    SoundFile(shop.Path() / "a.w64", SF_FORMAT_W64 | SF_FORMAT_FLOAT, 2).WriteRaw(Audio(SF_FORMAT_FLOAT, 2));
    const Outcome refused = shop.W64({"decode", "a.w64", "-o", "a.flac"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.errors.find("w64: a.w64: FLAC holds 8, 16 and 24-bit integers"), std::string::npos);
    EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
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
            source.SetChannelMap(map);
            source.WriteRaw(Audio(SF_FORMAT_PCM_24, channels));
        }
        ASSERT_EQ(shop.W64({"encode", "in.wav", "a.w64"}).status, 0);
        ASSERT_EQ(shop.W64({"decode", "a.w64"}).status, 0);
        EXPECT_EQ(SoundFile(shop.Path() / "a.wav").ChannelMap(), map);
    }
}

TEST(RoundTrip, SampleIsTheSameEveryTimeAndDoesNotClip) {
    const Workshop shop;
    for (const char* name : {"a.w64", "b.w64"}) {
        ASSERT_EQ(shop.W64({"sample", name, "--channels", "6", "--bits", "16", "--seconds", "3"}).status, 0);
    }
    EXPECT_EQ(shop.Read("a.w64"), shop.Read("b.w64"));
    SoundFile file(shop.Path() / "a.w64");
    EXPECT_EQ(file.Info().frames, 3 * 48000);
    const auto samples = file.ReadSamples();
    for (size_t channel = 0; channel < 6; ++channel) {
        double loudest = 0;
        for (size_t i = channel; i < samples.size(); i += 6)
            loudest = std::max(loudest, std::abs(samples[i]));
        EXPECT_GT(loudest, 0.05) << "channel " << channel;
        EXPECT_LT(loudest, 0.98) << "channel " << channel;
    }
}
