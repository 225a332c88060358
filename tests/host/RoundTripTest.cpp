#include "HostWorkshop.h"
#include "SoundFile.h"
#include "host/formats/SampleKind.h"
#include "host/formats/Speakers.h"
#include "host/formats/Wave64Writer.h"

#include <array>
#include <cmath>

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
        for (const int channels : {1, 7}) {
            SCOPED_TRACE(testing::Message() << "kind " << kind << ", channels " << channels);
            const Bytes audio = Audio(channels, sampleBytes);
            SoundFile(shop.Path() / "in.wav", SF_FORMAT_WAV | kind, channels).WriteRaw(audio);
            shop.Do("w64 encode in.wav -f a.w64 && w64 decode a.w64 -f");
            SoundFile encoded(shop.Path() / "a.w64"), decoded(shop.Path() / "a.wav");
            EXPECT_EQ(encoded.Info().format, SF_FORMAT_W64 | kind);
            EXPECT_EQ(Slice(encoded.ReadRaw(), 0, audio.size()), audio);  // it takes padding for audio
            EXPECT_EQ(shop.Read("a.w64").size() % 8, 0u);
            EXPECT_EQ(std::tuple(decoded.Kind(), decoded.Info().channels, decoded.Info().samplerate),
                      std::tuple(kind, channels, 44100));
            EXPECT_EQ(decoded.ReadRaw(), audio);
        }
    }
}

TEST_F(RoundTrip, NoFramesStayNoFrames) {
    SoundFile(shop.Path() / "in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2).WriteRaw({});
    shop.Do("w64 encode in.wav a.w64 && w64 decode a.w64 && w64 decode a.w64 -o a.raw");
    EXPECT_EQ(SoundFile(shop.Path() / "a.wav").Info().frames, 0);
    EXPECT_EQ(shop.Read("a.raw"), Bytes());
    shop.ExpectRefused({{"decode a.w64 -o a.flac", 1, "there is no audio, and a FLAC file cannot be empty"},
                        {"decode a.w64 -o a.ogg", 1, "there is no audio, and an Ogg"},
                        {"decode a.w64 -o a.mp3", 1, "there is no audio, and an MP3"}});
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
        EXPECT_HAS("the file is cut off, 1,496 bytes are missing", salvaged.errors);
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

// FLAC of whole frames only: its header alone tells that there were more.
TEST_F(RoundTrip, ASourceThatEndsEarlyIsNotTakenForWhole) {
    shop.Do("w64 sample a.w64 --seconds 2 && w64 decode a.w64 -o a.flac");
    const std::string whole = ReadText(shop.Path() / "a.flac");
    shop.Write("cut.flac", Slice(shop.Read("a.flac"), 0, whole.rfind("\xFF\xF8")));
    shop.ExpectRefused(
        {{"encode cut.flac b.w64", 1, " of 96000 frames; --salvage keeps what it still holds\n"}});
    shop.Write("cut.w64", Slice(shop.Read("a.w64"), 0, 100'000));
    shop.ExpectRefused({{"encode cut.w64 b.w64", 1, " of audio is there; w64 decode --salvage keeps what "}});
    shop.Write("head.w64", Slice(shop.Read("a.w64"), 0, 200));
    shop.ExpectRefused({{"decode head.w64 -o b.wav", 1, " bytes shorter than its header says\n"}});
}

TEST_F(RoundTrip, FilesOfOtherWritersDecode) {
    std::map<std::string, Bytes> audio;  // by file
    std::string sox = "sox() { command sox -D -n \"$@\" synth 0.1 sine 440 noise; }";
    for (const auto& [kind, sampleBytes] : kLinearKinds) {
        const std::string type = kind == SF_FORMAT_PCM_U8 ? "unsigned"
                                 : kind < SF_FORMAT_FLOAT ? "signed"
                                                          : "float";
        for (int channels = 1; channels <= 8; ++channels) {
            const std::string name = std::to_string(kind) + "-" + std::to_string(channels);
            audio[name] = Audio(channels, sampleBytes);
            SoundFile(shop.Path() / (name + ".w64"), SF_FORMAT_W64 | kind, channels).WriteRaw(audio[name]);
            sox += " && sox -e " + type + " -b " + std::to_string(8 * sampleBytes) + " -c " +
                   std::to_string(channels) + " SoX" + name + ".w64";
        }
    }
    shop.Do(sox);
    for (const std::string& file : shop.Files()) {
        if (file.starts_with("SoX"))
            audio[file.substr(0, file.size() - 4)] = SoundFile(shop.Path() / file).ReadRaw();
    }
    EXPECT_EQ(audio.size(), 2 * 8 * kLinearKinds.size());
    shop.Do("w64 decode -q *.w64 --format raw");
    for (const auto& [name, bytes] : audio) EXPECT_TRUE(shop.Read(name + ".raw") == bytes) << name;

    EXPECT_HAS("FLAC holds 8, 16 and 24-bit integers",
               shop.Run("w64 decode -q SoX*-3.w64 --format flac").errors);
    for (const auto& [kind, sampleBytes] : kLinearKinds) {
        const auto path = shop.Path() / ("SoX" + std::to_string(kind) + "-3.flac");
        ASSERT_EQ(fs::exists(path), sampleBytes <= 3);
        if (sampleBytes > 3) continue;
        EXPECT_EQ(SoundFile(path).ReadSamples(),
                  SoundFile(fs::path(path).replace_extension("w64")).ReadSamples());
    }
}

TEST_F(RoundTrip, SpeakersAreKept) {
    const std::vector<int> centre = {SF_CHANNEL_MAP_CENTER},
                           stereo = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT};
    const auto with = [&](std::vector<int> more) {
        more.insert(more.begin(), stereo.begin(), stereo.end());
        return more;
    };
    const std::tuple<uint16_t, uint16_t, uint32_t, std::vector<int>> cases[] = {
        {1, 24, 0x4, centre},
        {1, 24, 0x33, with({SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_RIGHT})},
        {1, 24, 0x60F,
         with({SF_CHANNEL_MAP_CENTER, SF_CHANNEL_MAP_LFE, SF_CHANNEL_MAP_SIDE_LEFT,
               SF_CHANNEL_MAP_SIDE_RIGHT})},
        {3, 32, 0x4, centre},
        {3, 32, 0x3, stereo},
    };
    for (const auto& [tag, bits, mask, map] : cases) {
        const auto channels = static_cast<uint16_t>(map.size());
        const Bytes format = Wave64Bytes::ExtensibleBody(tag, channels, 48000, bits, mask);
        const Bytes audio = Audio(channels, bits / 8u);
        shop.Write("a.w64", Wave64Bytes().Chunk("fmt ", format).Data(audio).File());
        shop.Do("w64 decode a.w64 -f && w64 encode a.wav b.w64 -f --padding 0");
        EXPECT_EQ(SoundFile(shop.Path() / "a.wav").ChannelMap(), map);
        const Bytes plain = Wave64Bytes().Fmt(tag, channels, 48000, bits).Data(audio).File();
        EXPECT_EQ(shop.Read("b.w64"), tag == 3 ? plain : shop.Read("a.w64"));  // floats of usual speakers
    }
    const std::vector<int> front = {SF_CHANNEL_MAP_FRONT_LEFT, SF_CHANNEL_MAP_FRONT_RIGHT,
                                    SF_CHANNEL_MAP_FRONT_CENTER};
    EXPECT_EQ(ChannelMaskFromMap(front), 7u);
    EXPECT_EQ(ChannelMaskFromMap(std::vector<int>{SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_TOP_REAR_RIGHT}),
              0x20001u);
    for (const std::vector<int>& none :
         {with({SF_CHANNEL_MAP_LEFT}), {SF_CHANNEL_MAP_AMBISONIC_B_W, SF_CHANNEL_MAP_LEFT}})
        EXPECT_EQ(ChannelMaskFromMap(none), 0u);
}

// Vorbis has the channels of each number of them in an order of its own.
TEST_F(RoundTrip, VorbisHasEachSpeakerInItsPlace) {
    const std::vector<std::vector<size_t>> orders = {
        {0, 2, 1}, {0, 2, 1, 3, 4}, {0, 2, 1, 4, 5, 3}, {0, 2, 1, 5, 6, 4, 3}, {0, 2, 1, 6, 7, 4, 5, 3}};
    for (const auto& order : orders) {
        const auto channels = static_cast<int>(order.size());
        SCOPED_TRACE(channels);
        std::vector<int> tones;
        for (int i = 0; i < 9600 * channels; ++i)
            tones.push_back(static_cast<int>((1 + i % channels) * 2e8 * std::sin(i / channels * 0.02)));
        SoundFile(shop.Path() / "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, channels).WriteInts(tones);
        shop.Do("w64 encode -f a.wav && "
                "ASAN_OPTIONS=detect_leaks=0 w64 decode -f a.w64 -o a.ogg && "  // libvorbisenc leaks with six
                "w64 encode -f a.ogg b.w64 && w64 decode -f b.w64");
        const auto power = [&](const char* name) {
            std::vector<double> sums(order.size());
            const std::vector<double> samples = SoundFile(shop.Path() / name).ReadSamples();
            for (size_t i = 0; i < samples.size(); ++i) sums[i % sums.size()] += samples[i] * samples[i];
            return sums;
        };
        EXPECT_EQ(SoundFile(shop.Path() / "a.ogg").Info().frames, 9600);
        EXPECT_TRUE(std::ranges::is_sorted(power("b.wav")));
        const std::vector<double> stored = power("a.ogg");
        std::vector<double> inWave(stored.size());
        for (size_t i = 0; i < order.size(); ++i) inWave[order[i]] = stored[i];
        EXPECT_TRUE(std::ranges::is_sorted(inWave));
    }
}

// Holes where audio would be.
TEST_F(RoundTrip, SizesPast4GiBAreWhole) {
    constexpr int64_t fiveGiB = int64_t{5} << 30;
    constexpr int64_t dataAt = 40 + 40 + 24;
    const fs::path path = shop.Path() / "large.w64";
    {
        const WAVEFORMATEXTENSIBLE format = MakeWaveFormat({kTagPCM, 16}, 2, 48000, 0);
        Wave64Writer writer(path, false, XAudioWFX(&format), 0, 0);
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
