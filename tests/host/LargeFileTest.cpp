// Files past 4 GiB, as holes where audio would be.

#include "Json.h"
#include "SoundFile.h"
#include "Workshop.h"
#include "host/AudioSink.h"
#include "host/SampleKind.h"
#include "host/Wave64Writer.h"

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

constexpr int64_t kFiveGiB = int64_t{5} << 30;
constexpr int64_t kDataAt = 40 + 40 + 24;
constexpr SampleKind k16Bit = {kTagPCM, 16};

}  // namespace

TEST(LargeFile, WriterSetsFullSizes) {
    const Workshop shop;
    const fs::path path = shop.Path() / "large.w64";
    {
        const WAVEFORMATEXTENSIBLE format = MakeWaveFormat(k16Bit, 2, 48000, 0);
        Wave64Writer writer(path, false, XAudioWFX(&format), 0);
        EXPECT_FALSE(fs::exists(path));
        fs::resize_file(shop.Path() / *shop.Files().begin(), kDataAt + kFiveGiB + 4);  // still a temporary
        writer.Finish();
    }
    EXPECT_EQ(shop.Files(), std::set<std::string>{"large.w64"});

    const std::string json = shop.Run("w64 info --json large.w64").output;
    EXPECT_EQ(JsonAt(json, "/0/frames"), std::to_string(kFiveGiB / 4 + 1));
    EXPECT_EQ(JsonAt(json, "/0/chunks/1/bytes"), std::to_string(kFiveGiB + 4));
    EXPECT_EQ(JsonAt(json, "/0/bytes"), std::to_string(kDataAt + kFiveGiB + 8));

    const fs::path head = shop.Path() / "head.rf64";
    ASSERT_EQ(shop.Run("w64 decode large.w64 -o - | head -c 4096 >head.rf64").status, 0);
    fs::resize_file(head, ReadText(head).find("data") + 8 + kFiveGiB + 4);
    const SoundFile rf64(head);
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
        EXPECT_EQ(SoundFile(shop.Path() / "a.wav").ReadRaw(), Pattern(1000));
    }
}
