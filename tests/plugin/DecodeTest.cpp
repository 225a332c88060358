#include "PluginHost.h"
#include "Wave64Bytes.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

constexpr int64_t kMost = std::numeric_limits<int64_t>::max();
constexpr int64_t kLeast = std::numeric_limits<int64_t>::min();

Bytes Slice(const Bytes& bytes, int64_t from, int64_t to) {
    return {bytes.begin() + from, bytes.begin() + to};
}

// 100 frames of 6 bytes and a part of one more.
class Range : public testing::Test {
protected:
    const TempFolder folder;
    const Bytes audio = Pattern(603);
    const std::filesystem::path path =
        folder.Write("a.w64", Wave64Bytes().Fmt(1, 2, 48000, 24).Data(audio).File());
};

uint16_t Field(const STKvWaveFormat& format, size_t offset) { return Load<uint16_t>(format.Bytes + offset); }

}  // namespace

TEST(Decode, DeliversLinearAudioAsItIsStored) {
    const TempFolder folder;
    const struct {
        uint16_t tag, channels, bits;
    } cases[] = {{1, 1, 8},  {1, 2, 16}, {1, 3, 24}, {1, 8, 32},
                 {3, 2, 32}, {3, 6, 64}, {1, 2, 12}, {1, 5, 24}};
    for (const auto& c : cases) {
        for (const bool extensible : {false, true}) {
            const uint16_t blockAlign = static_cast<uint16_t>(c.channels * c.bits / 8);
            const Bytes audio = Pattern(size_t{blockAlign} * 30011);
            const Bytes format = extensible ? Wave64Bytes::ExtensibleBody(c.tag, c.channels, 48000, c.bits, 0)
                                            : Wave64Bytes::FmtBody(c.tag, c.channels, 48000, c.bits);
            PluginHost host;
            ASSERT_EQ(
                host.Open(folder.Write("a.w64", Wave64Bytes().Chunk("fmt ", format).Data(audio).File())), 1);
            const size_t formatBytes = extensible ? 40 : 18;
            EXPECT_EQ(std::memcmp(host.open.AudioInfo.WaveFormat.Bytes, format.data(), formatBytes), 0);
            EXPECT_EQ(host.DecodeAll(), audio) << c.tag << ' ' << c.channels << ' ' << c.bits;
            EXPECT_EQ(std::memcmp(host.block.WaveFormat.Bytes, format.data(), formatBytes), 0);
            EXPECT_EQ(host.capture.Errors(), "");
        }
    }
}

TEST(Decode, BlocksAreWholeFramesOfAtMost64KiBWithTheirTimes) {
    const TempFolder folder;
    const Bytes audio = Pattern(6 * 48000);
    PluginHost host;
    ASSERT_EQ(host.Open(folder.Write("a.w64", Wave64Bytes().Fmt(1, 2, 48000, 24).Data(audio).File())), 1);
    int64_t bytes = 0;
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(host.DecodeBlock(), 1);
        EXPECT_EQ(host.block.DataSize, i < 4 ? 65532u : 288000u - 4 * 65532);
        EXPECT_EQ(host.block.PositionMilliseconds, bytes * 1000 / 288000);
        EXPECT_EQ(host.block.DurationMilliseconds, host.block.DataSize * int64_t{1000} / 288000);
        EXPECT_EQ(host.block.BitRate, 2304000u);
        EXPECT_EQ(host.block.EndOfStream, i == 4 ? 1u : 0u);
        bytes += host.block.DataSize;
    }
    ASSERT_EQ(host.DecodeBlock(), 1);
    EXPECT_EQ(host.block.EndOfStream, 1u);
    EXPECT_EQ(host.block.Data, nullptr);  // not written
}

TEST_F(Range, IsClampedToTheDataAndToWholeFrames) {
    const struct {
        int64_t start, end, lengthBytes, from, to;
    } cases[] = {
        {0, -1, 600, 0, 600},         {10, 20, 60, 60, 120},   {0, 0, 0, 0, 0},     {10, 5, 0, 0, 0},
        {200, -1, 0, 0, 0},           {0, 200, 603, 0, 600},   {-5, 10, 60, 0, 60}, {99, 101, 9, 594, 600},
        {kLeast, kMost, 603, 0, 600}, {kMost, kMost, 0, 0, 0}, {0, -2, 0, 0, 0},    {100, 101, 3, 0, 0},
    };
    for (const auto& c : cases) {
        PluginHost host;
        ASSERT_EQ(host.SetRange(c.start, c.end), 1);
        ASSERT_EQ(host.Open(path), 1);
        EXPECT_EQ(host.open.AudioInfo.LengthBytes, c.lengthBytes) << c.start << ".." << c.end;
        EXPECT_EQ(host.DecodeAll(), Slice(audio, c.from, c.to)) << c.start << ".." << c.end;
        EXPECT_EQ(host.block.EndOfStream, 1u);
        EXPECT_EQ(host.block.Data == nullptr, c.from == c.to);
    }
}

TEST_F(Range, NoPartOfAFrameIsReadFromBeforeTheRangeEither) {
    PluginHost host;
    host.SetRange(200, 300);
    ASSERT_EQ(host.Open(path), 1);
    ASSERT_EQ(Plugin().SetPosition(host.handle, -1), 1);
    EXPECT_EQ(host.DecodeAll(), Bytes());
}

TEST_F(Range, SeeksCountFromTheStartOfTheRange) {
    PluginHost host;
    host.SetRange(10, 90);
    ASSERT_EQ(host.Open(path), 1);
    const struct {
        int64_t frame, from;
    } cases[] = {{0, 60}, {79, 534}, {80, 540}, {5, 90}, {1000, 540}, {kMost, 540}, {-4, 36}};
    for (const auto& c : cases) {
        ASSERT_EQ(Plugin().SetPosition(host.handle, c.frame), 1) << c.frame;
        EXPECT_EQ(host.DecodeAll(), Slice(audio, c.from, 540)) << c.frame;
    }
    ASSERT_EQ(Plugin().SetPosition(host.handle, 70), 1);
    for (const int64_t before : {int64_t{-1000}, kLeast}) {
        EXPECT_EQ(Plugin().SetPosition(host.handle, before), 0);
        EXPECT_NE(host.capture.Errors().find("Error SetPosition returned false.  [SetPosition]"),
                  std::string::npos);
    }
    EXPECT_EQ(host.DecodeAll(), Slice(audio, 480, 540));  // a failed seek moves nothing
}

TEST(Decode, AFactChunkGivesTheLengthOfTheWholeFileOnly) {
    const TempFolder folder;
    const auto file = [&](const Bytes& fact) {
        return folder.Write("a.w64",
                            Wave64Bytes().Fmt(1, 1, 1000, 8).Chunk("fact", fact).Data(Pattern(2000)).File());
    };
    const struct {
        Bytes fact;
        int64_t start, milliseconds;
    } cases[] = {
        {{0x88, 0x13, 0, 0}, 0, 5000}, {{0x88, 0x13, 0, 0, 9}, 0, 5000}, {{0x88, 0x13, 0, 0}, 500, 1500},
        {{0x88, 0x13, 0}, 0, 2000},    {{0, 0, 0, 0}, 0, 2000},
    };
    for (const auto& c : cases) {
        PluginHost host;
        host.SetRange(c.start, -1);
        ASSERT_EQ(host.Open(file(c.fact), kvOpenAudioInfo), 1);
        EXPECT_EQ(host.open.AudioInfo.LengthMilliseconds, c.milliseconds);
        EXPECT_EQ(host.capture.Errors(), "");
    }
}

TEST(Decode, RefusesWhatItCannotDecodeButDescribesIt) {
    const TempFolder folder;
    const struct {
        Bytes format;
        const char* name;
        uint16_t bits;
    } cases[] = {
        {Wave64Bytes::FmtBody(2, 2, 44100, 4), "Unknown ACM ID: 2", 16},
        {Wave64Bytes::FmtBody(6, 1, 8000, 8), "Unknown ACM ID: 6", 8},
        {Wave64Bytes::ExtensibleBody(7, 1, 8000, 8, 0), "Unknown ACM ID: 7", 8},
        {Wave64Bytes::ExtensibleBody(80, 2, 44100, 0, 0), "MPEG-1 Layer 1 or 2", 16},
        {Wave64Bytes::ExtensibleBody(0x1234, 2, 44100, 16, 0), "Unknown ACM ID: 65534", 16},
    };
    for (const auto& c : cases) {
        const auto path =
            folder.Write("a.w64", Wave64Bytes().Chunk("fmt ", c.format).Data(Pattern(100)).File());
        PluginHost info, decode;
        ASSERT_EQ(info.Open(path, kvOpenAudioInfo), 1);
        EXPECT_EQ(Field(info.open.AudioInfo.WaveFormat, 0), 1) << c.name;
        EXPECT_EQ(Field(info.open.AudioInfo.WaveFormat, 14), c.bits) << c.name;
        EXPECT_EQ(Field(info.open.AudioInfo.WaveFormat, 16), 0) << c.name;
        EXPECT_EQ(decode.Open(path), 0);
        EXPECT_EQ(decode.capture.Errors(), "Error Cannot Create Wave Decoder (" + std::string(c.name) +
                                               ")?  [PrepareToDecodeAudio]\r\n");
        EXPECT_EQ(decode.DecodeAll(), Bytes());
    }
}

TEST(Decode, ReachesWhatLiesBeyond4GiB) {
    const TempFolder folder;
    constexpr uint64_t audioBytes = (uint64_t{1} << 32) + 4096;
    Bytes head = Wave64Bytes().Fmt(1, 2, 44100, 16).Data({}, audioBytes + 24).File(112 + audioBytes);
    const auto path = folder.Write("a.w64", head);
    std::filesystem::resize_file(path, 112 + audioBytes);
    std::fstream(path, std::ios::binary | std::ios::in | std::ios::out)
        .seekp(112 + audioBytes - 4)
        .write("tail", 4);
    PluginHost host;
    ASSERT_EQ(host.Open(path), 1);
    EXPECT_EQ(host.open.AudioInfo.LengthBytes, static_cast<int64_t>(audioBytes));
    ASSERT_EQ(Plugin().SetPosition(host.handle, audioBytes / 4 - 1), 1);
    EXPECT_EQ(host.DecodeAll(), Bytes({'t', 'a', 'i', 'l'}));
    EXPECT_EQ(host.block.PositionMilliseconds, static_cast<int64_t>(audioBytes - 4) * 1000 / 176400);
}
