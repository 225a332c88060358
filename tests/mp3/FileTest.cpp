#include "MPEGBytes.h"
#include "PluginHost.h"

#include <cmath>
#include <random>

namespace w64 {

namespace {

class MPEGFile : public testing::Test {
protected:
    int32_t Open(const Bytes& file, uint32_t flags = kvOpenDecode) {
        return host.Open(folder.Write("a.mp3", file), flags);
    }

    const TempFolder folder;
    const Bytes stream = Encoded(44100, 2, "-2");  // a second, and says so
    PluginHost host;
};

// After a seek, libmpg123 rounds the last bit by where it was before, on all processors but those with AVX.
bool SameButForRounding(const Bytes& audio, const Bytes& expected) {
    if (audio.size() != expected.size()) return false;
    for (size_t at = 0; at < audio.size(); at += sizeof(float)) {
        const float difference =
            base::Load<float>(audio.data() + at) - base::Load<float>(expected.data() + at);
        if (!(std::abs(difference) <= 0x1p-22F)) return false;
    }
    return true;
}

}  // namespace

// The lowest bit rates keep an MPEG frame's bytes in the most frames before it.
TEST_F(MPEGFile, GivesWhatWasEncodedFromAnyPositionOfAnyRange) {
    for (const Bytes& file : {stream, Encoded(44100, 2, "32")}) {
        const Bytes all = DecodedAtOnce(file, true);
        const auto frames = [&](int64_t from, int64_t to) {
            return Bytes(all.begin() + from * 8, all.begin() + to * 8);
        };
        host.SetRange(0, -1);
        ASSERT_EQ(Open(file), 1) << host.capture.Errors();
        EXPECT_EQ(host.open.AudioInfo.LengthMilliseconds,
                  static_cast<int64_t>(all.size()) / 8 * 1000 / 44100);
        EXPECT_EQ(base::Load<uint16_t>(host.open.AudioInfo.WaveFormat.Bytes), 3);
        EXPECT_TRUE(host.DecodeAll() == all);
        EXPECT_EQ(host.DecodeBlock(), 1);
        EXPECT_EQ(host.block.Data, nullptr);
        EXPECT_EQ(host.block.EndOfStream, 1u);

        ASSERT_EQ(host.SetRange(5000, 40000), 1);
        ASSERT_EQ(Open(file), 1);
        EXPECT_EQ(host.open.AudioInfo.LengthMilliseconds, 35000 * 1000 / 44100);
        EXPECT_TRUE(SameButForRounding(host.DecodeAll(), frames(5000, 40000)));
        std::mt19937 random(1);
        for (int64_t position : {0, 1, 1151, 1152, 34999}) {
            for (int i = 0; i < 4; ++i, position = random() % 35000) {
                ASSERT_EQ(Plugin().SetPosition(host.handle, position), 1);
                const Bytes expected = frames(5000 + position, 40000);
                EXPECT_TRUE(SameButForRounding(host.DecodeAll(), expected)) << position;
            }
        }
        for (const int64_t position : {int64_t{35000}, INT64_MAX}) {
            ASSERT_EQ(Plugin().SetPosition(host.handle, position), 1);
            EXPECT_TRUE(host.DecodeAll().empty());
        }
        ASSERT_EQ(Plugin().SetPosition(host.handle, INT64_MIN), 1);
        EXPECT_TRUE(SameButForRounding(host.DecodeAll(), frames(0, 40000)));

        for (const auto& [start, end] : {std::pair{int64_t{-5}, INT64_MAX}, {INT64_MIN, int64_t{-1}}}) {
            host.SetRange(start, end);
            ASSERT_EQ(Open(file), 1);
            EXPECT_TRUE(host.DecodeAll() == all);
        }
        host.SetRange(INT64_MAX, INT64_MIN);
        ASSERT_EQ(Open(file), 1);
        EXPECT_TRUE(host.DecodeAll().empty());
    }
    EXPECT_EQ(DecodedAtOnce(stream, true).size(), 44100u * 8);
}

TEST_F(MPEGFile, AudioInformationIsOfTheStoredAudioUnlessItIsDecoded) {
    for (const auto& [kind, tag] : {std::pair{"mp3", 85}, {"mp2", 80}}) {
        const Bytes bytes = Encoded(48000, 2, "128", kind);
        ASSERT_EQ(Open(bytes, kvOpenAudioInfo), 1);
        const STKvAudioInfo& info = host.open.AudioInfo;
        EXPECT_EQ(base::Load<uint16_t>(info.WaveFormat.Bytes), tag);
        EXPECT_EQ(base::Load<uint16_t>(info.WaveFormat.Bytes + 2), 2);
        EXPECT_EQ(base::Load<uint32_t>(info.WaveFormat.Bytes + 8), 16000u);
        EXPECT_EQ(base::Load<uint16_t>(info.WaveFormat.Bytes + 12), 1);
        EXPECT_EQ(info.BitRate, 128000u);
        EXPECT_HAS("<-<-  [Open]\r\n", host.capture.Trace());
        EXPECT_EQ(info.LengthBytes, static_cast<int64_t>(bytes.size()));
    }
}

TEST_F(MPEGFile, BadFilesAreRefusedAndCutOnesReadAsFarAsTheyGo) {
    for (const Bytes& bytes : {Bytes(), Pattern(100'000), Bytes(50'000, 0xFF)}) {
        PluginHost fresh;
        EXPECT_EQ(fresh.Open(folder.Write("b.mp3", bytes)), 0);
        EXPECT_EQ(fresh.capture.Errors(), "Error no MPEG audio found.  [MPEGStream]\r\n");
        EXPECT_EQ(fresh.DecodeBlock() | Plugin().SetPosition(fresh.handle, 0), 0);
        EXPECT_EQ(fresh.Open(folder.Write("b.mp3", stream)), 1) << "and the next file is read";
    }
    EXPECT_EQ(Plugin().Open(host.handle, &host.open), 0) << "without a name";
    ASSERT_EQ(Open({stream.begin(), stream.begin() + 10000}), 1);
    EXPECT_GT(host.DecodeAll().size(), 10 * 9216u);
    EXPECT_EQ(host.block.EndOfStream, 1u);
}

TEST_F(MPEGFile, AnswersWhatThePluginIs) {
    STKvCodecGetSet record{};
    ASSERT_EQ(Plugin().Get(host.handle, L"Decodes", &record), 1);
    EXPECT_EQ(XStr(record.Text1) + record.Text2, L".mp3MPEG Audio");
    EXPECT_EQ(Plugin().Get(host.handle, L"Decoder Description", &record), 1);
    EXPECT_EQ(XStr(record.Text1), L"MPEG Audio Decoder");
    record.Index = 1;
    EXPECT_EQ(Plugin().Get(host.handle, L"Decodes", &record), 0);
    EXPECT_EQ(Plugin().Set(host.handle, L"IDTags", &record) | Plugin().DeleteATag(host.handle, L"a", nullptr),
              0);
}

}  // namespace w64
