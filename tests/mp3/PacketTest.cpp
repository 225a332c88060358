#include "MPEGBytes.h"
#include "PluginHost.h"

#include <random>
#include <span>

namespace w64 {

namespace {

// An instance that is fed with packets.
class PacketHost : public PluginHost {
public:
    PacketHost() { Open({}, kvOpenPackets); }

    // Adds what comes out to `audio`.
    int32_t Feed(std::span<const uint8_t> packet, bool last) {
        block = {};
        block.Data = const_cast<uint8_t*>(packet.data());
        block.DataSize = static_cast<uint32_t>(packet.size());
        block.EndOfStream = last;
        const int32_t result = Plugin().DecodeBlock(handle, &block);
        const auto* data = static_cast<const uint8_t*>(block.Data);
        if (result) audio.insert(audio.end(), data, data + block.DataSize);
        return result;
    }

    // In packets of 1 to `most` bytes.
    bool FeedAll(const Bytes& stream, size_t most = 65536) {
        std::mt19937 random(1);
        for (size_t at = 0, size = 0; at < stream.size(); at += size) {
            size = std::min<size_t>(1 + random() % most, stream.size() - at);
            if (!Feed({stream.data() + at, size}, at + size == stream.size())) return false;
        }
        return true;
    }

    Bytes audio;
};

class Packets : public testing::Test {
protected:
    const Bytes stereo = Encoded(44100, 2, "128"), decoded = DecodedAtOnce(stereo);
    const Bytes mono = Encoded(22050, 1, "32");
};

}  // namespace

TEST_F(Packets, WhereverTheyAreCutTheSamplesAreTheSame) {
    const struct {
        int rate, channels;
        const char *quality, *kind;
    } cases[] = {
        {44100, 2, "128", "mp3"}, {44100, 2, "-2", "mp3"},  {48000, 1, "32", "mp3"}, {22050, 1, "32", "mp3"},
        {8000, 1, "8", "mp3"},    {44100, 2, "192", "mp2"}, {24000, 1, "64", "mp2"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.kind << ' ' << c.rate << ' ' << c.quality);
        const Bytes stream = Encoded(c.rate, c.channels, c.quality, c.kind);
        const Bytes expected = DecodedAtOnce(stream);
        ASSERT_GE(expected.size(), static_cast<size_t>(c.rate * c.channels * 4));
        for (const size_t most : {1u, 3u, 1000u, 100000u}) {
            PacketHost host;
            ASSERT_TRUE(host.FeedAll(stream, most)) << host.capture.Errors();
            EXPECT_TRUE(host.audio == expected) << most;
            EXPECT_EQ(host.capture.Information(), "");
            EXPECT_EQ(Bytes(host.block.WaveFormat.Bytes, host.block.WaveFormat.Bytes + 18),
                      Wave64Bytes::FmtBody(3, uint16_t(c.channels), uint32_t(c.rate), 32));
        }
    }
}

TEST_F(Packets, DamageIsSkippedAndTold) {
    Bytes stream = stereo;
    std::fill_n(stream.begin() + 8000, 600, uint8_t{0});
    PacketHost host, other;
    ASSERT_TRUE(host.FeedAll(stream, 1000));
    ASSERT_TRUE(other.FeedAll(stream, 7));
    EXPECT_TRUE(host.audio == other.audio);
    EXPECT_TRUE(std::equal(decoded.begin(), decoded.begin() + 150'000, host.audio.begin()));
    for (size_t fromEnd = 70'000; fromEnd != 0;
         fromEnd -= 4) {  // false headers in the damage shift roundings
        ASSERT_NEAR(base::Load<float>(decoded.data() + decoded.size() - fromEnd),
                    base::Load<float>(host.audio.data() + host.audio.size() - fromEnd), 1e-5);
    }
    EXPECT_HAS("Skipped ", host.capture.Information());
    EXPECT_EQ(host.capture.Errors(), "");
}

// At 4179 the tenth MPEG frame of stereo has ended; the first one of mono has 104 bytes.
TEST_F(Packets, AForeignFrameIsDamageAndTwoAreAnotherFormat) {
    const Bytes head = Slice(stereo, 0, 4179), tail = Slice(stereo, 4179);
    const std::string skipped = "Skipped 104 bytes at 4179 that hold no MPEG audio.  [MPEGStream]\r\n";
    PacketHost damaged;
    ASSERT_TRUE(damaged.FeedAll(head + Slice(mono, 0, 104) + tail, 1000)) << damaged.capture.Errors();
    EXPECT_EQ(damaged.audio.size(), decoded.size());
    EXPECT_EQ(damaged.capture.Information(), skipped);

    PacketHost cutOff;
    ASSERT_TRUE(cutOff.FeedAll(head + Slice(tail, 0, 104)));
    EXPECT_TRUE(cutOff.audio == DecodedAtOnce(head));
    EXPECT_EQ(cutOff.capture.Information(), skipped);

    PacketHost changed;
    EXPECT_FALSE(changed.FeedAll(head + mono, 1000));
    EXPECT_EQ(changed.capture.Errors(), "Error MPEG audio changes from 44100 Hz with 2 channels to 22050 Hz "
                                        "with 1 channel.  [MPEGStream]\r\n");
    EXPECT_EQ(changed.Feed(tail, false), 0);
}

TEST_F(Packets, NoiseFailsAtItsEndAndIsSkippedAmongAudio) {
    Bytes noise(3'000'000);
    std::mt19937 random(1);
    for (uint8_t& byte : noise) byte = static_cast<uint8_t>(random()) & 0x7F;
    for (const Bytes& stream : {noise, Bytes(100'000, 0xFF), Bytes{0xFF}}) {
        PacketHost host;
        EXPECT_FALSE(host.FeedAll(stream));
        EXPECT_TRUE(host.audio.empty());
        EXPECT_EQ(host.Feed({}, true), 0);
        const std::string noAudio = "Error no MPEG audio found.  [MPEGStream]\r\n";
        EXPECT_EQ(host.capture.Errors(), noAudio + noAudio);
    }
    for (uint8_t& byte : noise) byte = static_cast<uint8_t>(random());
    PacketHost host;
    EXPECT_TRUE(host.FeedAll(stereo + noise + stereo)) << host.capture.Errors();
    EXPECT_GE(host.audio.size(), 2 * decoded.size() - 2 * 9216);
}

TEST_F(Packets, NoTagIsWaitedForWithoutEnd) {
    Bytes tag = {'A', 'P', 'E', 'T', 'A', 'G', 'E', 'X', 0xD0, 0x07, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};  // 4 GiB
    tag.resize(1 << 20);
    PacketHost host;
    ASSERT_EQ(host.Feed(stereo + tag, false), 1);
    int packets = 0;
    while (packets < 100 && host.Feed(Bytes(1 << 20), false)) ++packets;
    EXPECT_EQ(packets, 64);
    EXPECT_EQ(host.capture.Errors(), "Error 64 MiB without an MPEG frame.  [MPEGStream]\r\n");
}

TEST_F(Packets, ANewStartKeepsNothingOfWhatCameBefore) {
    PacketHost host;
    ASSERT_TRUE(host.FeedAll(stereo));
    ASSERT_TRUE(host.FeedAll(stereo)) << "after the last packet";
    ASSERT_EQ(host.Feed(Slice(stereo, 0, 4000), false), 1);
    host.audio.resize(2 * decoded.size());
    ASSERT_EQ(Plugin().SetPosition(host.handle, 44100), 1);
    ASSERT_TRUE(host.FeedAll(stereo));
    EXPECT_TRUE(host.audio == decoded + decoded + decoded);
    EXPECT_EQ(host.capture.Information(), "");
    EXPECT_EQ(host.Feed({}, true), 1) << "audio has been found before";

    EXPECT_EQ(host.Close(), 1);
    EXPECT_EQ(host.Feed(stereo, true) | Plugin().SetPosition(host.handle, 0), 0);
    ASSERT_EQ(host.Open({}, kvOpenPackets), 1);
    EXPECT_TRUE(host.FeedAll(mono)) << "another stream, another format";
}

TEST_F(Packets, TimesAreThoseOfTheAudio) {
    PacketHost host;
    ASSERT_EQ(host.Feed(Slice(stereo, 0, 300), false), 1);
    EXPECT_EQ(host.block.Data, nullptr);
    EXPECT_EQ(host.block.DataSize, 0u);
    ASSERT_EQ(host.Feed(Slice(stereo, 300, 4179), false), 1);
    EXPECT_EQ(host.block.DurationMilliseconds, 10 * 1152 * 1000 / 44100);
    EXPECT_EQ(host.block.BitRate, 128000u);
    ASSERT_EQ(host.Feed(Slice(stereo, 4179, 5015), false), 1);
    EXPECT_EQ(host.block.PositionMilliseconds, 10 * 1152 * 1000 / 44100);
    EXPECT_EQ(host.block.DurationMilliseconds, 2 * 1152 * 1000 / 44100);
    for (const int64_t position : {INT64_MAX, INT64_MIN}) {
        ASSERT_EQ(Plugin().SetPosition(host.handle, position), 1);
        EXPECT_EQ(host.Feed(stereo, false), 1);
    }
}

}  // namespace w64
