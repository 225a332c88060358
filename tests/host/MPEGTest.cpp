#include "Json.h"
#include "MPEGBytes.h"
#include "SoundFile.h"
#include "Wave64Bytes.h"
#include "Workshop.h"

#include <gtest/gtest.h>

namespace {

Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

Bytes ID3v2Tag() {
    Bytes tag(10 + 200);
    std::ranges::copy(Text("ID3\4"), tag.begin());
    tag[8] = 1;  // 7 bits a byte
    tag[9] = 200 - 128;
    return tag;
}

Bytes ID3v1Tag() {
    Bytes tag = Text("TAGTitle");
    tag.resize(128);
    return tag;
}

Bytes Chunk(const Workshop& shop, const std::string& file, const std::string& name) {
    const std::string info = shop.Run("w64 info --json " + file).output;
    for (int i = 0;; ++i) {
        const std::string chunk = "/0/chunks/" + std::to_string(i);
        if (JsonAt(info, chunk).empty()) return {};
        if (JsonAt(info, chunk + "/name") != name) continue;
        const size_t start = std::stoul(JsonAt(info, chunk + "/offset")) + 24;
        return Slice(shop.Read(file), start, start + std::stoul(JsonAt(info, chunk + "/bytes")));
    }
}

Bytes Wave64(const Bytes& stream, uint16_t blockAlign = 1) {
    Bytes format = Wave64Bytes::FmtBody(85, 2, 44100, 0);
    Store<uint32_t>(format.data() + 8, 16000);
    Store<uint16_t>(format.data() + 12, blockAlign);
    return Wave64Bytes().Chunk("fmt ", format).Data(stream).File();
}

}  // namespace

TEST(MPEG, IsWrappedAsItIsAndDecodesToTheSameSamples) {
    const struct {
        int rate;
        int channels;
        const char* quality;
        const char* kind;
        uint32_t bytesPerSecond;  // 0: varies
        uint16_t blockAlign;
        size_t samplesPerMPEGFrame;
    } cases[] = {
        {44100, 2, "128", "mp3", 16000, 1, 1152},   {44100, 2, "-2", "mp3", 0, 1, 1152},
        {16000, 1, "32", "mp3", 4000, 1, 576},      {48000, 2, "192", "mp2", 24000, 576, 1152},
        {44100, 2, "192", "mp2", 24000, 626, 1152},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.rate << " Hz " << c.quality << " " << c.kind);
        const Workshop shop;
        const Bytes stream = Encoded(c.rate, c.channels, c.quality, c.kind);
        const Bytes audio = DecodedAtOnce(stream);
        shop.Write("song.bin", ID3v2Tag() + stream + ID3v1Tag());

        const Outcome encoded = shop.Run("w64 encode song.bin a.w64");
        ASSERT_EQ(encoded.status, 0) << encoded.errors;
        EXPECT_EQ(encoded.errors,
                  "w64: song.bin: note: left out 210 bytes before the MPEG audio: ID3v2 tag\n"
                  "w64: song.bin: note: left out 128 bytes behind the MPEG audio: ID3v1 tag\n");
        EXPECT_TRUE(Chunk(shop, "a.w64", "data") == stream);
        EXPECT_EQ(shop.Run("w64 check a.w64").status, 0);

        const size_t frames = audio.size() / 4 / static_cast<size_t>(c.channels);
        EXPECT_EQ(Load<uint32_t>(Chunk(shop, "a.w64", "fact").data()), frames);
        const Bytes format = Chunk(shop, "a.w64", "fmt ");
        const auto bytesPerSecond = Load<uint32_t>(format.data() + 8);
        const double average = static_cast<double>(stream.size()) * c.rate / static_cast<double>(frames);
        EXPECT_NEAR(bytesPerSecond, average, 0.02 * average);
        if (c.bytesPerSecond != 0) {
            EXPECT_EQ(bytesPerSecond, c.bytesPerSecond);
        }
        EXPECT_EQ(Load<uint16_t>(format.data() + 12), c.blockAlign);
        if (c.kind == std::string("mp3")) {
            ASSERT_EQ(format.size(), 30u);
            EXPECT_EQ(Load<uint16_t>(format.data()), 85);
            EXPECT_EQ(Load<uint16_t>(format.data() + 24),
                      c.samplesPerMPEGFrame * bytesPerSecond / static_cast<size_t>(c.rate));
            EXPECT_EQ(Load<uint16_t>(format.data() + 28), c.bytesPerSecond == 0 ? 576 : 0);  // LAME's
        } else {
            ASSERT_EQ(format.size(), 40u);
            EXPECT_EQ(Load<uint16_t>(format.data()), 80);
            EXPECT_EQ(Load<uint16_t>(format.data() + 18), 2);
            EXPECT_EQ(Load<uint32_t>(format.data() + 20), 192000u);
        }

        const Outcome decoded = shop.Run("w64 decode a.w64 && w64 decode a.w64 -o a.raw");
        ASSERT_EQ(decoded.status, 0);
        EXPECT_EQ(decoded.errors, "");
        EXPECT_TRUE(shop.Read("a.raw") == audio);
        SoundFile wav(shop.Path() / "a.wav");
        EXPECT_EQ(wav.Kind(), SF_FORMAT_FLOAT);
        EXPECT_TRUE(wav.ReadRaw() == audio);
    }
}

TEST(MPEG, IsDecodedWhereAConversionIsAskedFor) {
    const Workshop shop;
    shop.Write("a.mp3", Encoded(44100, 2, "128"));
    ASSERT_EQ(shop.Run("w64 encode a.mp3 a.w64 --bits 16 && w64 encode a.mp3 b.w64 --float").status, 0);
    EXPECT_EQ(SoundFile(shop.Path() / "a.w64").Info().format, SF_FORMAT_W64 | SF_FORMAT_PCM_16);
    EXPECT_EQ(SoundFile(shop.Path() / "b.w64").Info().format, SF_FORMAT_W64 | SF_FORMAT_FLOAT);
}

TEST(MPEG, ARangeIsCutFromTheSamples) {
    const Workshop shop;
    const Bytes stream = Encoded(44100, 2, "-2");
    shop.Write("a.mp3", stream);
    ASSERT_EQ(shop.Run("w64 encode a.mp3 a.w64").status, 0);
    ASSERT_EQ(shop.Run("w64 decode a.w64 --start 0.25s --end 33075 -o a.raw").status, 0);
    EXPECT_TRUE(shop.Read("a.raw") == Slice(DecodedAtOnce(stream), 11025 * 8, 33075 * 8));
    ASSERT_EQ(shop.Run("w64 decode a.w64 --start 100s -o b.raw").status, 0);
    EXPECT_TRUE(shop.Read("b.raw").empty());
}

TEST(MPEG, TwoStreamsOfDifferentRatesAreNotWrapped) {
    const Workshop shop;
    shop.Write("a.mp3", Encoded(44100, 2, "128") + Encoded(32000, 2, "128"));
    const Outcome outcome = shop.Run("w64 encode a.mp3 a.w64");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.errors.find("changes its rate or channels at "), std::string::npos) << outcome.errors;
    EXPECT_EQ(shop.Files(), std::set<std::string>{"a.mp3"});
}

TEST(MPEG, AStreamCutInAFrameKeepsItsWholeFrames) {
    const Workshop shop;
    Bytes stream = Encoded(44100, 2, "128");
    stream.resize(stream.size() - 100);
    shop.Write("a.mp3", stream);
    shop.Write("b.w64", Wave64(stream));
    const Outcome encoded = shop.Run("w64 encode a.mp3 a.w64");
    EXPECT_EQ(encoded.status, 0);
    EXPECT_NE(encoded.errors.find("behind the MPEG audio: no whole MPEG frame"), std::string::npos);
    const Outcome decoded = shop.Run("w64 decode a.w64 -o a.raw && w64 decode b.w64 -o b.raw");
    EXPECT_EQ(decoded.status, 0) << decoded.errors;
    EXPECT_NE(decoded.errors.find("w64: b.w64: note: Skipped"), std::string::npos) << decoded.errors;
    EXPECT_TRUE(shop.Read("a.raw") == DecodedAtOnce(stream));
    EXPECT_TRUE(shop.Read("b.raw") == DecodedAtOnce(stream));
}

TEST(MPEG, WhatIsNoMPEGIsRefused) {
    const Workshop shop;
    shop.Write("text.mp3", Text("no audio at all"));
    shop.Write("pcm.w64", Wave64(Pattern(100'000)));
    shop.Write("byte.w64", Wave64({0xFF}));
    shop.Write("wide.w64", Wave64(Pattern(100'000), 65535));
    const auto before = shop.Files();
    EXPECT_NE(shop.Run("w64 encode text.mp3 a.w64").errors.find("w64: text.mp3: is no audio file"),
              std::string::npos);
    for (const char* file : {"pcm.w64", "byte.w64", "wide.w64"}) {
        const Outcome outcome = shop.Run(std::string("w64 decode ") + file);
        EXPECT_EQ(outcome.status, 1) << file;
        EXPECT_NE(outcome.errors.find("no MPEG audio found"), std::string::npos) << outcome.errors;
    }
    EXPECT_EQ(shop.Files(), before);
}

TEST(MPEG, ASubDecoderThatIsMissingOrWrongIsNamed) {
    const Workshop shop;
    shop.Write("a.w64", Wave64(Encoded(44100, 2, "128")));
    ASSERT_EQ(shop.Run("cp \"$(dirname \"$(command -v w64)\")\"/w64* .").status, 0);
    const std::pair<const char*, const char*> cases[] = {
        {"true", "Error loading external Decoder"},
        {"echo text > mp3.dll", "Error loading external Decoder"},
        {"cp w64.dll mp3.dll", "Error opening external Decoder"},  // has all functions but takes no packets
    };
    for (const auto& [install, error] : cases) {
        const Outcome outcome = shop.Run(std::string(install) + " && ./w64 decode a.w64");
        EXPECT_EQ(outcome.status, 1);
        EXPECT_NE(outcome.errors.find(error), std::string::npos) << outcome.errors;
        EXPECT_NE(outcome.errors.find("MPEG audio is decoded by mp3.dll in the folder of w64"),
                  std::string::npos);
    }
}
