#include "PluginHost.h"

#include <limits>

namespace w64 {

namespace {

constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();

class Decode : public testing::Test {
protected:
    std::filesystem::path File(const Bytes& format, const Bytes& audio) const {
        return folder.Write("a.w64", Wave64Bytes().Chunk("fmt ", format).Data(audio).File());
    }

    const TempFolder folder;
};

// 100 frames of 6 bytes and a part of one more.
class Range : public Decode {
protected:
    const Bytes audio = Pattern(603);
    const std::filesystem::path path = File(Wave64Bytes::FmtBody(1, 2, 48000, 24), audio);
    PluginHost host;
};

}  // namespace

TEST_F(Decode, DeliversLinearAudioAsItIsStored) {
    const struct {
        uint16_t tag, channels, bits;
    } cases[] = {{1, 1, 8},  {1, 2, 16}, {1, 3, 24}, {1, 8, 32},
                 {3, 2, 32}, {3, 6, 64}, {1, 2, 12}, {1, 5, 24}};
    for (const auto& c : cases) {
        const size_t blockAlign = c.channels * c.bits / 8u;
        const Bytes audio = Pattern(blockAlign * 30011);
        for (const Bytes& format : {Wave64Bytes::FmtBody(c.tag, c.channels, 48000, c.bits),
                                    Wave64Bytes::ExtensibleBody(c.tag, c.channels, 48000, c.bits, 0)}) {
            PluginHost host;
            ASSERT_EQ(host.Open(File(format, audio)), 1);
            EXPECT_EQ(std::memcmp(host.open.AudioInfo.WaveFormat.Bytes, format.data(), format.size()), 0);
            EXPECT_EQ(host.DecodeAll(), audio) << c.tag << ' ' << c.channels << ' ' << c.bits;
            EXPECT_EQ(std::memcmp(host.block.WaveFormat.Bytes, format.data(), format.size()), 0);
            EXPECT_EQ(host.capture.Errors(), "");
        }
    }
}

TEST_F(Decode, BlocksAreWholeFramesOfAtMost64KiBWithTheirTimes) {
    PluginHost host;
    ASSERT_EQ(host.Open(File(Wave64Bytes::FmtBody(1, 2, 48000, 24), Pattern(288000))), 1);
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
        int64_t start, end, lengthBytes;
        size_t from, to;
    } cases[] = {
        {0, -1, 600, 0, 600},      {10, 20, 60, 60, 120}, {0, 0, 0, 0, 0},     {10, 5, 0, 0, 0},
        {200, -1, 0, 0, 0},        {0, 200, 600, 0, 600}, {-5, 10, 60, 0, 60}, {99, 101, 6, 594, 600},
        {kMin, kMax, 600, 0, 600}, {kMax, kMax, 0, 0, 0}, {0, -2, 0, 0, 0},    {100, 101, 0, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.start << ".." << c.end);
        ASSERT_EQ(host.SetRange(c.start, c.end), 1);
        ASSERT_EQ(host.Open(path), 1);
        EXPECT_EQ(host.open.AudioInfo.LengthBytes, c.lengthBytes);
        EXPECT_EQ(host.DecodeAll(), Slice(audio, c.from, c.to));
        EXPECT_EQ(host.block.EndOfStream, 1u);
        EXPECT_EQ(host.block.Data == nullptr, c.from == c.to);
        ASSERT_EQ(Plugin().SetPosition(host.handle, kMax), 1);
        ASSERT_EQ(host.DecodeBlock(), 1);
        EXPECT_EQ(host.block.PositionMilliseconds, host.open.AudioInfo.LengthMilliseconds);
    }
}

TEST_F(Range, SeeksCountFromTheStartOfTheRange) {
    host.SetRange(10, 90);
    ASSERT_EQ(host.Open(path), 1);
    const struct {
        int64_t frame;
        size_t from;
    } cases[] = {{0, 60}, {79, 534}, {80, 540}, {5, 90}, {1000, 540}, {kMax, 540}, {-4, 36}};
    for (const auto& c : cases) {
        ASSERT_EQ(Plugin().SetPosition(host.handle, c.frame), 1) << c.frame;
        EXPECT_EQ(host.DecodeAll(), Slice(audio, c.from, 540)) << c.frame;
    }
    ASSERT_EQ(Plugin().SetPosition(host.handle, 70), 1);
    for (const int64_t before : {int64_t{-1000}, kMin})
        EXPECT_EQ(Plugin().SetPosition(host.handle, before), 0);
    EXPECT_EQ(host.DecodeAll(), Slice(audio, 480, 540));  // a failed seek moves nothing

    host.SetRange(200, 300);
    ASSERT_EQ(host.Open(path), 1);
    ASSERT_EQ(Plugin().SetPosition(host.handle, -1), 1);
    EXPECT_EQ(host.DecodeAll(), Bytes());  // nor is a part of a frame read from before the range
}

TEST_F(Decode, RefusesWhatItCannotDecodeButDescribesIt) {
    const struct {
        Bytes format;
        const char* name;
        uint16_t bits;
    } cases[] = {
        {Wave64Bytes::FmtBody(2, 2, 44100, 4), "Unknown ACM ID: 2", 16},
        {Wave64Bytes::ExtensibleBody(7, 1, 8000, 8, 0), "Unknown ACM ID: 7", 8},
        {Wave64Bytes::ExtensibleBody(80, 2, 44100, 0, 0), "MPEG-1 Layer 1 or 2", 16},  // has no packets
        {Wave64Bytes::ExtensibleBody(0x1234, 2, 44100, 16, 0), "Unknown ACM ID: 65534", 16},
    };
    for (const auto& c : cases) {
        const auto path = File(c.format, Pattern(100));
        PluginHost info, decode;
        ASSERT_EQ(info.Open(path, kvOpenAudioInfo), 1);
        for (const auto& [at, field] : {std::pair(0, uint16_t{1}), {14, c.bits}, {16, uint16_t{0}}})
            EXPECT_EQ(base::Load<uint16_t>(info.open.AudioInfo.WaveFormat.Bytes + at), field) << c.name;
        EXPECT_EQ(decode.Open(path), 0);
        EXPECT_EQ(decode.capture.Errors(), "Error Cannot Create Wave Decoder (" + std::string(c.name) +
                                               ")?  [PrepareToDecodeAudio]\r\n");
        EXPECT_EQ(decode.DecodeAll(), Bytes());
    }
}

TEST_F(Decode, ReachesWhatLiesBeyond4GiB) {
    constexpr uint64_t audioBytes = (uint64_t{1} << 32) + 4096, fileBytes = 112 + audioBytes;
    const Bytes head = Wave64Bytes().Fmt(1, 2, 44100, 16).Data({}, audioBytes + 24).File(fileBytes);
    const auto path = folder.Write("a.w64", head);
    std::filesystem::resize_file(path, fileBytes - 4);
    std::ofstream(path, std::ios::binary | std::ios::app) << "tail";
    PluginHost host;
    ASSERT_EQ(host.Open(path), 1);
    EXPECT_EQ(host.open.AudioInfo.LengthBytes, static_cast<int64_t>(audioBytes));
    ASSERT_EQ(Plugin().SetPosition(host.handle, audioBytes / 4 - 1), 1);
    EXPECT_EQ(host.DecodeAll(), Bytes({'t', 'a', 'i', 'l'}));
    EXPECT_EQ(host.block.PositionMilliseconds, static_cast<int64_t>(audioBytes - 4) * 1000 / 176400);
}

}  // namespace w64
