#include "PluginHost.h"
#include "Wave64Bytes.h"
#include "base/XApplication.h"

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

const fs::path kSubDecoder = fs::path(ToUTF8(XApplication::ApplicationPath())) / "mp3.dll";

class SubDecoder : public testing::Test {
protected:
    SubDecoder() { fs::remove(kSubDecoder); }
    ~SubDecoder() override { fs::remove(kSubDecoder); }

    static void Install(const std::string& fake) {
        fs::remove(kSubDecoder);  // never written over: the old one may still be mapped
        fs::copy_file(fs::path(FAKES) / (fake + ".dll"), kSubDecoder);
    }

    // 16000 bytes per second, packets of one byte: four blocks, the last one short.
    fs::path File(uint16_t tag = 85, uint16_t blockAlign = 1) const {
        Bytes format = Wave64Bytes::FmtBody(tag, 1, 44100, 0);
        Store<uint32_t>(format.data() + 8, 16000);
        Store<uint16_t>(format.data() + 12, blockAlign);
        return folder.Write("a.w64", Wave64Bytes().Chunk("fmt ", format).Data(packets).File());
    }

    Bytes Decoded(size_t from = 0) const {
        Bytes audio(packets.begin() + static_cast<std::ptrdiff_t>(from), packets.end());
        for (uint8_t& byte : audio) byte = static_cast<uint8_t>(~byte);
        return audio;
    }

    const TempFolder folder;
    const Bytes packets = Pattern(200000);
};

}  // namespace

TEST_F(SubDecoder, DecodesMPEGInAllItsBlocks) {
    Install("complete");
    for (const uint16_t tag : {uint16_t{80}, uint16_t{85}}) {
        PluginHost host;
        ASSERT_EQ(host.Open(File(tag)), 1) << host.capture.Errors();
        EXPECT_EQ(Load<uint16_t>(host.open.AudioInfo.WaveFormat.Bytes + 14), 8);  // what the first block says
        EXPECT_EQ(Load<uint32_t>(host.open.AudioInfo.WaveFormat.Bytes + 4), 16000u);
        EXPECT_EQ(host.open.AudioInfo.BitRate, 128000u);
        Bytes audio;
        for (int i = 0; i < 4; ++i) {
            ASSERT_EQ(host.DecodeBlock(), 1);
            EXPECT_EQ(host.block.PositionMilliseconds, i * 4096);
            EXPECT_EQ(host.block.DurationMilliseconds, i < 3 ? 4096 : 3392 / 16);
            EXPECT_EQ(host.block.EndOfStream, i == 3 ? 1u : 0u);
            const auto* data = static_cast<const uint8_t*>(host.block.Data);
            audio.insert(audio.end(), data, data + host.block.DataSize);
        }
        EXPECT_EQ(audio, Decoded());
        ASSERT_EQ(host.DecodeBlock(), 1);
        EXPECT_EQ(host.block.Data, nullptr);
        EXPECT_EQ(host.block.EndOfStream, 1u);
    }
}

TEST_F(SubDecoder, NeedsNoModulePath) {
    Install("without_set_module_path");
    PluginHost host;
    ASSERT_EQ(host.Open(File()), 1);
    EXPECT_EQ(host.DecodeAll(), Decoded());
}

TEST_F(SubDecoder, MayAskForSeveralPackets) {
    Install("several_packets");
    PluginHost host;
    ASSERT_EQ(host.Open(File()), 1);
    ASSERT_EQ(host.DecodeBlock(), 1);
    EXPECT_EQ(host.block.DataSize, 3u * 65536);
    EXPECT_EQ(host.block.PositionMilliseconds, 0);
    EXPECT_EQ(host.block.EndOfStream, 0u);
    ASSERT_EQ(host.DecodeBlock(), 1);  // the last packet is marked as such, so it is flushed
    EXPECT_EQ(host.block.DataSize, 200000u - 3 * 65536);
    EXPECT_EQ(host.block.EndOfStream, 1u);
}

TEST_F(SubDecoder, PacketsWithoutAudioEndTheStream) {
    Install("silent");
    PluginHost host;
    ASSERT_EQ(host.Open(File()), 1);
    ASSERT_EQ(host.DecodeBlock(), 1);
    EXPECT_EQ(host.block.EndOfStream, 1u);
    EXPECT_EQ(host.block.Data, nullptr);
    EXPECT_EQ(host.block.DataSize, 0u);
}

TEST_F(SubDecoder, APendingBlockOutlivesASeekButNotAClose) {
    Install("complete");
    PluginHost host;
    ASSERT_EQ(host.Open(File()), 1);
    ASSERT_EQ(Plugin().SetPosition(host.handle, 199000), 1);
    Bytes expected = Decoded();
    expected.resize(65536);
    const Bytes tail = Decoded(199000);
    expected.insert(expected.end(), tail.begin(), tail.end());
    EXPECT_EQ(host.DecodeAll(), expected);

    ASSERT_EQ(host.Open(File()), 1);  // loads the library anew
    EXPECT_EQ(host.DecodeAll(), Decoded());
    ASSERT_EQ(host.Open(File()), 1);
    host.Close();
    EXPECT_EQ(host.fluid, 'c');  // the record went through
    EXPECT_EQ(host.DecodeBlock(), 0);
}

TEST_F(SubDecoder, ATrailingPartOfAPacketIsNeverRead) {
    Install("complete");
    PluginHost host;
    ASSERT_EQ(host.Open(File(85, 1152)), 1);
    EXPECT_EQ(host.DecodeAll().size(), 200000u / 1152 * 1152);
}

TEST_F(SubDecoder, FailuresAreNamed) {
    const std::string loading = "Error loading external Decoder '" + kSubDecoder.string() + "'";
    const struct {
        const char* fake;
        bool opens;
        std::string error;
    } cases[] = {
        {nullptr, false, loading + "  [PrepareToDecodeAudio]\r\n"},
        {"without_delete_a_tag", false, loading + "  [PrepareToDecodeAudio]\r\n"},
        {"failing_create", false, "Error creating external Decoder.  [InitializeExternalDecoder]\r\n"},
        {"failing_open", false, "Error opening external Decoder.  [InitializeExternalDecoder]\r\n"},
        {"failing_first", false, "Error decoding audio with external Decoder.  [ExternalDecodeData]\r\n"},
        {"throwing", false, "Error exception: thrown by the sub-decoder  [Open]\r\n"},
        {"failing_later", true, "Error decoding audio with external Decoder.  [ExternalDecodeData]\r\n"},
    };
    for (const auto& c : cases) {
        if (c.fake) Install(c.fake);
        PluginHost host;
        EXPECT_EQ(host.Open(File()) == 1, c.opens) << c.error;
        if (c.opens) {
            EXPECT_EQ(host.DecodeBlock(), 1);  // the first packet was fine
            EXPECT_EQ(host.DecodeBlock(), 0);
        }
        EXPECT_EQ(host.capture.Errors(), c.error);
        EXPECT_EQ(host.Close(), 1);
    }
}

TEST_F(SubDecoder, IsNotAskedAboutExtensibleRecords) {
    Install("complete");
    const Bytes format = Wave64Bytes::ExtensibleBody(80, 2, 44100, 16, 0);
    PluginHost host;
    EXPECT_EQ(host.Open(folder.Write("a.w64", Wave64Bytes().Chunk("fmt ", format).Data(packets).File())), 0);
    EXPECT_NE(host.capture.Errors().find("Error Cannot Create Wave Decoder (MPEG-1 Layer 1 or 2)?"),
              std::string::npos);
}
