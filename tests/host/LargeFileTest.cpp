// Files past 4 GiB, as holes where audio would be.

#include "SoundFile.h"
#include "W64Command.h"
#include "Wave64Bytes.h"
#include "host/AudioSink.h"
#include "host/SampleKind.h"
#include "host/Wave64Writer.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

namespace fs = std::filesystem;

constexpr int64_t kFiveGiB = int64_t{5} << 30;
constexpr int64_t kDataAt = 40 + 40 + 24;
constexpr SampleKind k16Bit = {kTagPCM, 16};

fs::path TemporaryIn(const Workshop& shop) {
    for (const std::string& name : shop.Files()) {
        if (name.ends_with(".part")) return shop.Path() / name;
    }
    return {};
}

}  // namespace

TEST(LargeFile, WriterSetsFullSizes) {
    const Workshop shop;
    const fs::path path = shop.Path() / "large.w64";
    {
        Wave64Writer writer(path, false, MakeWaveFormat(k16Bit, 2, 48000, 0), 0);
        EXPECT_FALSE(fs::exists(path));
        fs::resize_file(TemporaryIn(shop), kDataAt + kFiveGiB + 4);
        writer.Finish();
    }
    EXPECT_EQ(shop.Files(), std::set<std::string>{"large.w64"});

    const auto json = nlohmann::json::parse(shop.W64({"info", "--json", "large.w64"}).output)[0];
    EXPECT_EQ(json["frames"], kFiveGiB / 4 + 1);
    EXPECT_EQ(json["chunks"][1]["bytes"], kFiveGiB + 4);
    EXPECT_EQ(json["bytes"], kDataAt + kFiveGiB + 8);

    const std::string command = std::string(W64_COMMAND) + " decode large.w64 -o - | head -c 4096 >head.rf64";
    ASSERT_EQ(shop.Run({"sh", "-c", command}).status, 0);
    const auto headerBytes = ReadText(shop.Path() / "head.rf64").find("data") + 8;
    fs::resize_file(shop.Path() / "head.rf64", headerBytes + kFiveGiB + 4);
    SoundFile rf64(shop.Path() / "head.rf64");
    EXPECT_EQ(rf64.Container(), SF_FORMAT_RF64);
    EXPECT_EQ(rf64.Info().frames, kFiveGiB / 4 + 1);
}

TEST(WavSink, AudioOfUnknownLengthGetsRightSizesToo) {
    for (const bool seekable : {true, false}) {
        const Workshop shop;
        XFile file;
        ASSERT_TRUE(file.Open(FromUTF8((shop.Path() / "a.wav").native()), XFile::Access::CreateNew));
        const WAVEFORMATEXTENSIBLE format = MakeWaveFormat(k16Bit, 2, 48000, 0);
        const auto sink = MakeWavSink({file, seekable}, XAudioWFX(&format.Format), std::nullopt);
        sink->Write(Pattern(1000));
        sink->Finish();
        SoundFile wav(shop.Path() / "a.wav");
        EXPECT_EQ(wav.Info().frames, 250);
        EXPECT_EQ(wav.ReadRaw(), Pattern(1000));
    }
}
