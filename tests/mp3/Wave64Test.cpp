#include "MPEGBytes.h"
#include "PluginHost.h"
#include "Wave64Bytes.h"

#include <gtest/gtest.h>

namespace {

Bytes Wave64(uint16_t tag, const Bytes& stream) {
    Bytes format = Wave64Bytes::FmtBody(tag, 2, 44100, 0);
    Store<uint32_t>(format.data() + 8, 320000 / 8);
    Store<uint16_t>(format.data() + 12, 1);
    return Wave64Bytes().Chunk("fmt ", format).Data(stream).File();
}

}  // namespace

TEST(MPEGInWave64, DecodesToTheSameSamples) {
    const TempFolder folder;
    for (const auto& [tag, kind] : {std::pair<uint16_t, const char*>{85, "mp3"}, {80, "mp2"}}) {
        Bytes stream = Encoded(44100, 2, "320", kind);
        while (stream.size() < 200'000) stream = stream + stream;  // several packets
        PluginHost host;
        ASSERT_EQ(host.Open(folder.Write("a.w64", Wave64(tag, stream))), 1) << host.capture.Errors();
        EXPECT_EQ(Load<uint16_t>(host.open.AudioInfo.WaveFormat.Bytes), 3);
        EXPECT_EQ(Load<uint16_t>(host.open.AudioInfo.WaveFormat.Bytes + 14), 32);
        EXPECT_TRUE(host.DecodeAll() == DecodedAtOnce(stream));
        EXPECT_EQ(host.block.EndOfStream, 1u);
        EXPECT_EQ(host.Close(), 1);
        EXPECT_EQ(host.capture.Errors(), "");
    }
}

TEST(MPEGInWave64, SeeksAndStartsAnewBehindTheEnd) {
    const TempFolder folder;
    const Bytes stream = Encoded(44100, 2, "320");
    PluginHost host;
    ASSERT_EQ(host.Open(folder.Write("a.w64", Wave64(85, stream))), 1);
    const Bytes audio = host.DecodeAll();
    ASSERT_EQ(Plugin().SetPosition(host.handle, 0), 1);
    EXPECT_TRUE(host.DecodeAll() == audio);
    ASSERT_EQ(Plugin().SetPosition(host.handle, static_cast<int64_t>(stream.size()) - 10), 1);
    EXPECT_TRUE(host.DecodeAll().empty());
    EXPECT_EQ(host.capture.Errors(), "");
}

TEST(MPEGInWave64, WhatIsNoMPEGIsNamed) {
    const TempFolder folder;
    PluginHost host;
    EXPECT_EQ(host.Open(folder.Write("a.w64", Wave64(85, Pattern(100'000)))), 0);
    EXPECT_EQ(host.capture.Errors(), "Error no MPEG audio found.  [MPEGStream]\r\n"
                                     "Error decoding audio with external Decoder.  [ExternalDecodeData]\r\n");
}
