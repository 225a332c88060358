#include "HostWorkshop.h"
#include "SoundFile.h"
#include "Wave64Bytes.h"
#include "host/formats/SampleKind.h"
#include "host/formats/Speakers.h"
#include "host/formats/Wave64Writer.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace w64 {

namespace {

namespace fs = std::filesystem;
using RoundTrip = HostTest;

// Every bit pattern is a sample, NaNs among them; an odd number of frames asks for padding.
Bytes Audio(int channels, size_t sampleBytes) {
    return Pattern(1237 * static_cast<size_t>(channels) * sampleBytes);
}

}  // namespace

TEST_F(RoundTrip, EveryLinearFormatComesBackBitForBit) {
    for (const auto& [kind, sampleBytes] : kLinearKinds) {
        for (const int channels : {1, 2, 3, 8}) {
            SCOPED_TRACE(testing::Message() << "kind " << kind << ", channels " << channels);
            const Bytes audio = Audio(channels, sampleBytes);
            SoundFile(shop.Path() / "in.wav", SF_FORMAT_WAV | kind, channels).WriteRaw(audio);
            shop.Do("w64 encode in.wav -f a.w64 && w64 decode a.w64 -f && w64 decode a.w64 -fo a.raw");
            SoundFile encoded(shop.Path() / "a.w64");
            EXPECT_EQ(encoded.Info().format, SF_FORMAT_W64 | kind);
            EXPECT_EQ(Slice(encoded.ReadRaw(), 0, audio.size()), audio);  // it takes padding for audio
            EXPECT_EQ(shop.Read("a.w64").size() % 8, 0u);
            SoundFile decoded(shop.Path() / "a.wav");
            EXPECT_EQ(decoded.Kind(), kind);
            EXPECT_EQ(decoded.Info().channels, channels);
            EXPECT_EQ(decoded.Info().samplerate, 44100);
            EXPECT_EQ(decoded.ReadRaw(), audio);
            EXPECT_EQ(shop.Read("a.raw"), audio);
        }
    }
}

TEST_F(RoundTrip, NoFramesStayNoFrames) {
    SoundFile(shop.Path() / "in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2).WriteRaw({});
    shop.Do("w64 encode in.wav a.w64 && w64 decode a.w64 && w64 decode a.w64 -o a.raw");
    EXPECT_EQ(SoundFile(shop.Path() / "a.wav").Info().frames, 0);
    EXPECT_EQ(shop.Read("a.raw"), Bytes());
    EXPECT_EQ(shop.Run("w64 decode a.w64 -o a.flac").status, 1);  // which cannot be empty
}

TEST_F(RoundTrip, OtherSourcesKeepTheirSamples) {
    const std::tuple<int, std::string, int> cases[] = {
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
    for (const auto& [format, name, kind] : cases) {
        SCOPED_TRACE(name);
        SoundFile(shop.Path() / name, format, 2).WriteInts(noise);
        EXPECT_EQ(shop.Do("w64 encode -f " + name + " out.w64").errors, "");
        const std::vector<double> samples = SoundFile(shop.Path() / "out.w64").ReadSamples();
        EXPECT_EQ(SoundFile(shop.Path() / "out.w64").Kind(), kind);
        EXPECT_EQ(samples, SoundFile(shop.Path() / name).ReadSamples());

        const Bytes file = shop.Read(name);
        shop.Write(name, Resized(file, file.size() - 1496));
        shop.ExpectRefused({{"encode -f " + name + " out.w64", 1, ""}});
        if (format >> 16 > 3 && format >> 16 != 0x22)
            continue;  // libsndfile opens no others, or only their start
        const Outcome salvaged = shop.Do("w64 encode -f --salvage " + name + " out.w64");
        EXPECT_PRED_FORMAT2(IsSubstring, "the file is cut off, 1,496 bytes are missing", salvaged.errors);
        const std::vector<double> kept = SoundFile(shop.Path() / "out.w64").ReadSamples();
        EXPECT_TRUE(kept.size() > 200 && std::ranges::equal(kept, std::span(samples).first(kept.size())));
    }
}

// A program that writes to a pipe does not know the size of the audio beforehand.
TEST_F(RoundTrip, SourcesOfUnknownLengthAreTakenToTheirEnd) {
    for (const uint32_t size : {0xFFFF'FFFFu, 0x7FFF'F000u, 0u}) {
        SCOPED_TRACE(size);
        SoundFile(shop.Path() / "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2)
            .WriteInts(std::vector<int>(2000, -1));
        shop.Do("w64 encode -f a.wav a.w64");
        Bytes open = shop.Read("a.wav");
        base::Store(&open[40], size);
        shop.Write("a.wav", open);
        if (size == 0) {
            shop.ExpectRefused({{"encode a.wav b.w64", 1, "it has no audio, but 4,000 bytes follow"}});
            continue;
        }
        for (const std::string command :
             {"w64 encode -f a.wav b.w64", "cat a.wav | w64 encode -f /dev/stdin b.w64"}) {
            EXPECT_EQ(shop.Do(command).errors, "");
            EXPECT_TRUE(shop.Read("b.w64") == shop.Read("a.w64"));
        }
    }
}

TEST_F(RoundTrip, FilesOfOtherWritersDecode) {
    const auto file = [&](const std::string& name, const char* ending) {
        return shop.Path() / (name + ending);
    };
    std::map<std::string, Bytes> audio;  // by file
    for (const auto& [kind, sampleBytes] : kLinearKinds) {
        const std::string type = kind == SF_FORMAT_PCM_U8 ? "unsigned"
                                 : kind < SF_FORMAT_FLOAT ? "signed"
                                                          : "float";
        for (int channels = 1; channels <= 8; ++channels) {
            const std::string name = std::to_string(kind) + "-" + std::to_string(channels);
            audio[name] = Audio(channels, sampleBytes);
            SoundFile(file(name, ".w64"), SF_FORMAT_W64 | kind, channels).WriteRaw(audio[name]);

            const std::string sox = "SoX" + name;
            shop.Do("sox -D -n -e " + type + " -b " + std::to_string(8 * sampleBytes) + " -c " +
                    std::to_string(channels) + " " + sox + ".w64 synth 0.1 sine 440 noise");
            audio[sox] = SoundFile(file(sox, ".w64")).ReadRaw();
            EXPECT_EQ(audio[sox].size(), 4800 * static_cast<size_t>(channels) * sampleBytes);
        }
    }
    shop.Do("w64 decode -q *.w64 --format raw");
    for (const auto& [name, bytes] : audio) EXPECT_TRUE(shop.Read(name + ".raw") == bytes) << name;

    const Outcome flac = shop.Run("w64 decode -q SoX*-3.w64 --format flac");
    EXPECT_PRED_FORMAT2(IsSubstring, "FLAC holds 8, 16 and 24-bit integers", flac.errors);
    for (const auto& [kind, sampleBytes] : kLinearKinds) {
        const std::string name = "SoX" + std::to_string(kind) + "-3";
        ASSERT_EQ(fs::exists(file(name, ".flac")), sampleBytes <= 3);
        if (sampleBytes > 3) continue;
        EXPECT_EQ(SoundFile(file(name, ".flac")).ReadSamples(), SoundFile(file(name, ".w64")).ReadSamples());
    }
}

TEST_F(RoundTrip, ChannelMaskIsKept) {
    const std::pair<uint32_t, std::vector<int>> cases[] = {
        {0x4, {SF_CHANNEL_MAP_CENTER}},
        {0x33,
         {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT, SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_RIGHT}},
        {0x60F,
         {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT, SF_CHANNEL_MAP_CENTER, SF_CHANNEL_MAP_LFE,
          SF_CHANNEL_MAP_SIDE_LEFT, SF_CHANNEL_MAP_SIDE_RIGHT}},
    };
    for (const auto& [mask, map] : cases) {
        const auto channels = static_cast<uint16_t>(map.size());
        const Bytes format = Wave64Bytes::ExtensibleBody(1, channels, 48000, 24, mask);
        shop.Write("a.w64", Wave64Bytes().Chunk("fmt ", format).Data(Audio(channels, 3)).File());
        shop.Do("w64 decode a.w64 -f && w64 encode a.wav b.w64 -f");
        EXPECT_EQ(SoundFile(shop.Path() / "a.wav").ChannelMap(), map);
        EXPECT_EQ(shop.Read("b.w64"), shop.Read("a.w64"));
    }
}

TEST(ChannelMask, ComesFromSpeakersInTheirOrderOnly) {
    const auto mask = [](const std::vector<int>& map) { return ChannelMaskFromMap(map); };
    EXPECT_EQ(mask({SF_CHANNEL_MAP_FRONT_LEFT, SF_CHANNEL_MAP_FRONT_RIGHT, SF_CHANNEL_MAP_FRONT_CENTER}), 7u);
    EXPECT_EQ(mask({SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_TOP_REAR_RIGHT}), 0x20001u);
    EXPECT_EQ(mask({SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_CENTER, SF_CHANNEL_MAP_RIGHT}), 0u);
    EXPECT_EQ(mask({SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_LEFT}), 0u);
    EXPECT_EQ(mask({SF_CHANNEL_MAP_AMBISONIC_B_W, SF_CHANNEL_MAP_LEFT}), 0u);
}

TEST_F(RoundTrip, FloatsOfUsualSpeakersHavePlainRecords) {
    const std::map<int, std::vector<int>> speakers = {{1, {SF_CHANNEL_MAP_CENTER}},
                                                      {2, {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT}}};
    for (const auto& [channels, map] : speakers) {
        const auto count = static_cast<uint16_t>(channels);
        const Bytes format = Wave64Bytes::ExtensibleBody(3, count, 48000, 32, channels == 1 ? 4 : 3);
        const Bytes audio = Audio(channels, 4);
        shop.Write("a.w64", Wave64Bytes().Chunk("fmt ", format).Data(audio).File());
        shop.Do("w64 decode a.w64 -f && w64 encode a.wav b.w64 -f && w64 sample -f c.w64 --float");
        EXPECT_EQ(SoundFile(shop.Path() / "a.wav").ChannelMap(), map);
        EXPECT_EQ(shop.Read("b.w64"), Wave64Bytes().Fmt(3, count, 48000, 32).Data(audio).File());
    }
    EXPECT_EQ(SoundFile(shop.Path() / "c.w64").Kind(), SF_FORMAT_FLOAT);
}

TEST_F(RoundTrip, SampleIsTheSameEveryTimeAndDoesNotClip) {
    shop.Do("for i in a b; do w64 sample $i.w64 --channels 6 --bits 16 --seconds 3; done");
    EXPECT_TRUE(shop.Read("a.w64") == shop.Read("b.w64"));
    const auto samples = SoundFile(shop.Path() / "a.w64").ReadSamples();
    ASSERT_EQ(samples.size(), 6u * 3 * 48000);
    std::array<double, 6> peaks{};
    for (size_t i = 0; i < samples.size(); ++i) peaks[i % 6] = std::max(peaks[i % 6], std::abs(samples[i]));
    for (const double peak : peaks) EXPECT_TRUE(peak > 0.05 && peak < 0.98) << peak;
}

// Holes where audio would be.
TEST_F(RoundTrip, SizesPast4GiBAreWhole) {
    constexpr int64_t fiveGiB = int64_t{5} << 30;
    constexpr int64_t dataAt = 40 + 40 + 24;
    const fs::path path = shop.Path() / "large.w64";
    {
        const WAVEFORMATEXTENSIBLE format = MakeWaveFormat({kTagPCM, 16}, 2, 48000, 0);
        Wave64Writer writer(path, false, XAudioWFX(&format), 0);
        EXPECT_FALSE(fs::exists(path));
        fs::resize_file(shop.Path() / *shop.Files().begin(), dataAt + fiveGiB + 4);  // still a temporary
        writer.Finish();
    }
    EXPECT_EQ(shop.Files(), std::set<std::string>{"large.w64"});

    const std::string json = shop.Run("w64 info --json large.w64").output;
    EXPECT_EQ(JsonAt(json, "/0/frames"), std::to_string(fiveGiB / 4 + 1));
    EXPECT_EQ(JsonAt(json, "/0/chunks/1/bytes"), std::to_string(fiveGiB + 4));
    EXPECT_EQ(JsonAt(json, "/0/bytes"), std::to_string(dataAt + fiveGiB + 8));

    const fs::path head = shop.Path() / "head.rf64";
    shop.Do("w64 decode large.w64 -o - | head -c 4096 >head.rf64");
    fs::resize_file(head, ReadText(head).find("data") + 8 + fiveGiB + 4);
    const SoundFile rf64(head);
    EXPECT_EQ(rf64.Container(), SF_FORMAT_RF64);
    EXPECT_EQ(rf64.Info().frames, fiveGiB / 4 + 1);
}

}  // namespace w64
