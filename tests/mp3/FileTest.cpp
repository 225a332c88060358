#include "MPEGBytes.h"
#include "PluginHost.h"

#include <gtest/gtest.h>
#include <random>

namespace {

constexpr int64_t kEncodedFrames = 44100;  // a second

class MPEGFile : public testing::Test {
protected:
    const TempFolder folder;
    const Bytes stream = Encoded(44100, 2, "-2");  // says what was encoded
    const Bytes expected = DecodedAtOnce(stream, true);
    const std::filesystem::path path = folder.Write("a.mp3", stream);
};

Bytes Frames(const Bytes& audio, int64_t from, int64_t to) {
    return {audio.begin() + from * 8, audio.begin() + to * 8};
}

}  // namespace

TEST_F(MPEGFile, GivesWhatWasEncoded) {
    PluginHost host;
    ASSERT_EQ(host.Open(path), 1) << host.capture.Errors();
    EXPECT_EQ(host.open.AudioInfo.LengthMilliseconds, 1000);
    EXPECT_EQ(Load<uint16_t>(host.open.AudioInfo.WaveFormat.Bytes), 3);
    const Bytes audio = host.DecodeAll();
    EXPECT_EQ(audio.size(), static_cast<size_t>(kEncodedFrames * 8));
    EXPECT_TRUE(audio == expected);
    EXPECT_EQ(host.DecodeBlock(), 1);
    EXPECT_EQ(host.block.Data, nullptr);
    EXPECT_EQ(host.block.EndOfStream, 1u);
}

// The lowest bit rates keep an MPEG frame's bytes in the most frames before it.
TEST_F(MPEGFile, SeeksAndRangesAreExact) {
    for (const char* quality : {"-2", "32"}) {
        const auto file = folder.Write("b.mp3", Encoded(44100, 2, quality));
        PluginHost whole;
        ASSERT_EQ(whole.Open(file), 1);
        const Bytes all = whole.DecodeAll();
        const auto frames = static_cast<int64_t>(all.size() / 8);
        PluginHost host;
        ASSERT_EQ(host.SetRange(5000, 40000), 1);
        ASSERT_EQ(host.Open(file), 1);
        EXPECT_EQ(host.open.AudioInfo.LengthMilliseconds, 35000 * 1000 / 44100);
        EXPECT_TRUE(host.DecodeAll() == Frames(all, 5000, 40000));
        std::mt19937 random(1);
        for (int64_t position : {0, 1, 1151, 1152, 34999}) {
            for (int i = 0; i < 4; ++i, position = random() % 35000) {
                ASSERT_EQ(Plugin().SetPosition(host.handle, position), 1);
                EXPECT_TRUE(host.DecodeAll() == Frames(all, 5000 + position, 40000)) << position;
            }
        }
        for (const int64_t position : {int64_t{35000}, INT64_MAX}) {
            ASSERT_EQ(Plugin().SetPosition(host.handle, position), 1);
            EXPECT_TRUE(host.DecodeAll().empty());
        }
        ASSERT_EQ(Plugin().SetPosition(host.handle, INT64_MIN), 1);
        EXPECT_TRUE(host.DecodeAll() == Frames(all, 0, 40000));
        for (const auto& [start, end] : {std::pair{int64_t{-5}, INT64_MAX}, {INT64_MIN, int64_t{-1}}}) {
            host.SetRange(start, end);
            ASSERT_EQ(host.Open(file), 1);
            EXPECT_EQ(host.DecodeAll().size(), static_cast<size_t>(frames * 8));
        }
        host.SetRange(INT64_MAX, INT64_MIN);
        ASSERT_EQ(host.Open(file), 1);
        EXPECT_TRUE(host.DecodeAll().empty());
    }
}

TEST_F(MPEGFile, AudioInformationIsOfTheStoredAudioUnlessItIsDecoded) {
    const struct {
        const char* kind;
        uint16_t tag;
        uint32_t bitRate;
    } cases[] = {{"mp3", 85, 128000}, {"mp2", 80, 192000}};
    for (const auto& c : cases) {
        const Bytes bytes = Encoded(48000, 2, std::to_string(c.bitRate / 1000), c.kind);
        PluginHost host;
        ASSERT_EQ(host.Open(folder.Write("b.mp3", bytes), kvOpenAudioInfo), 1);
        EXPECT_EQ(Load<uint16_t>(host.open.AudioInfo.WaveFormat.Bytes), c.tag);
        EXPECT_EQ(Load<uint16_t>(host.open.AudioInfo.WaveFormat.Bytes + 2), 2);
        EXPECT_EQ(Load<uint32_t>(host.open.AudioInfo.WaveFormat.Bytes + 8), c.bitRate / 8);
        EXPECT_EQ(host.open.AudioInfo.BitRate, c.bitRate);
        EXPECT_EQ(host.open.AudioInfo.LengthBytes, static_cast<int64_t>(bytes.size()));
    }
}

TEST_F(MPEGFile, BadFilesAreRefusedAndCutOnesReadAsFarAsTheyGo) {
    for (const Bytes& bytes : {Bytes(), Pattern(100'000), Bytes(50'000, 0xFF)}) {
        PluginHost host;
        EXPECT_EQ(host.Open(folder.Write("b.mp3", bytes)), 0);
        EXPECT_EQ(host.capture.Errors(), "Error no MPEG audio found.  [MPEGStream]\r\n");
        EXPECT_EQ(host.DecodeBlock() | Plugin().SetPosition(host.handle, 0), 0);
        EXPECT_EQ(host.Open(path), 1) << "and the next file is read";
    }
    PluginHost host;
    EXPECT_EQ(host.Open(folder.Path() / "missing.mp3"), 0);
    host.open.FileName = nullptr;
    EXPECT_EQ(Plugin().Open(host.handle, &host.open), 0);

    ASSERT_EQ(host.Open(folder.Write("b.mp3", {stream.begin(), stream.begin() + 10000})), 1);
    EXPECT_GT(host.DecodeAll().size(), 10 * 9216u);
    EXPECT_EQ(host.block.EndOfStream, 1u);
}

TEST_F(MPEGFile, AnswersWhatThePluginIs) {
    PluginHost host;
    STKvCodecGetSet record{};
    ASSERT_EQ(Plugin().Get(host.handle, L"Decodes", &record), 1);
    EXPECT_EQ(XStr(record.Text1) + record.Text2, L".mp3MPEG Audio");
    record.Index = 1;
    EXPECT_EQ(Plugin().Get(host.handle, L"Decodes", &record), 0);
    EXPECT_EQ(Plugin().Get(host.handle, L"Decoder Description", &record), 1);
    EXPECT_EQ(Plugin().Set(host.handle, L"IDTags", &record) | Plugin().DeleteATag(host.handle, L"a", nullptr),
              0);
    EXPECT_EQ(Plugin().Open(nullptr, &host.open) | Plugin().Open(host.handle, nullptr), 0);
    EXPECT_EQ(Plugin().Destroy(nullptr), 1);
}
