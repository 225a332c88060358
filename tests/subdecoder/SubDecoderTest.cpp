#include "MPEGBytes.h"
#include "PluginHost.h"
#include "base/XApplication.h"

namespace w64 {

namespace {

namespace fs = std::filesystem;

const fs::path kSubDecoder = fs::path(ToUTF8(XApplication::ApplicationPath())) / "mp3.dll";

class SubDecoder : public testing::Test {
protected:
    SubDecoder() { fs::remove(kSubDecoder); }
    ~SubDecoder() override { fs::remove(kSubDecoder); }

    static void Install(const fs::path& library) {
        fs::remove(kSubDecoder);  // never written over: the old one may still be mapped
        fs::copy_file(library, kSubDecoder);
    }
    static void InstallFake(const std::string& name) { Install(fs::path(FAKES) / (name + ".dll")); }

    // 16000 bytes per second, packets of one byte.
    fs::path File(const Bytes& audio, uint16_t tag = 85, uint16_t blockAlign = 1) const {
        Bytes format = Wave64Bytes::FmtBody(tag, 1, 44100, 0);
        base::Store<uint32_t>(format.data() + 8, 16000);
        base::Store<uint16_t>(format.data() + 12, blockAlign);
        return folder.Write("a.w64", Wave64Bytes().Chunk("fmt ", format).Data(audio).File());
    }

    Bytes Decoded(size_t from = 0) const {
        Bytes audio(packets.begin() + static_cast<std::ptrdiff_t>(from), packets.end());
        for (uint8_t& byte : audio) byte = static_cast<uint8_t>(~byte);
        return audio;
    }

    const TempFolder folder;
    const Bytes packets = Pattern(200000);  // four blocks, the last one short
};

}  // namespace

TEST_F(SubDecoder, GetsWholePacketsUntilItGivesAudio) {
    const struct {
        const char* fake;
        uint16_t tag, blockAlign;
        std::vector<uint32_t> blocks;
        int64_t rangeEnd = -1;
    } cases[] = {
        {"complete", 80, 1, {65536, 65536, 65536, 3392}},
        {"without_set_module_path", 85, 1, {65536, 65536, 65536, 3392}},
        {"complete", 85, 1152, {64512, 64512, 64512, 5760}},
        {"complete", 85, 1152, {64512, 64512, 64512, 6464}, 174},  // beyond the last whole block
        {"complete", 85, 40000, {40000, 40000, 40000, 40000, 40000}, 5},
        {"complete", 85, 60000, {60000, 60000, 60000, 20000}, INT64_MAX},
        {"several_packets", 85, 1, {3 * 65536, 3392}},  // the last packet is marked as such, so it is flushed
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fake);
        InstallFake(c.fake);
        PluginHost host;
        ASSERT_EQ(host.SetRange(0, c.rangeEnd), 1);
        ASSERT_EQ(host.Open(File(packets, c.tag, c.blockAlign)), 1) << host.capture.Errors();
        EXPECT_EQ(host.open.AudioInfo.BitRate, 128000u);
        Bytes audio;
        for (const uint32_t& size : c.blocks) {
            ASSERT_EQ(host.DecodeBlock(), 1);
            EXPECT_EQ(host.block.DataSize, size);
            EXPECT_EQ(host.block.PositionMilliseconds, static_cast<int64_t>(audio.size() / 16));
            EXPECT_EQ(host.block.DurationMilliseconds, size / 16);
            EXPECT_EQ(host.block.EndOfStream, &size == &c.blocks.back() ? 1u : 0u);
            const auto* data = static_cast<const uint8_t*>(host.block.Data);
            audio.insert(audio.end(), data, data + host.block.DataSize);
        }
        Bytes expected = Decoded();
        expected.resize(audio.size());
        EXPECT_EQ(audio, expected);
        ASSERT_EQ(host.DecodeBlock(), 1);
        EXPECT_EQ(host.block.Data, nullptr);
        EXPECT_EQ(host.block.EndOfStream, 1u);
    }
}

TEST_F(SubDecoder, APendingBlockOutlivesASeekButNotAClose) {
    InstallFake("complete");
    PluginHost host;
    ASSERT_EQ(host.Open(File(packets)), 1);
    EXPECT_EQ(base::Load<uint32_t>(host.open.AudioInfo.WaveFormat.Bytes + 4),
              16000u);  // the first block says so
    EXPECT_EQ(base::Load<uint16_t>(host.open.AudioInfo.WaveFormat.Bytes + 14), 8);
    ASSERT_EQ(Plugin().SetPosition(host.handle, 199000), 1);
    Bytes expected = Decoded();
    expected.resize(65536);
    EXPECT_EQ(host.DecodeAll(), expected + Decoded(199000));

    ASSERT_EQ(host.Open(File(packets)), 1);  // loads the library anew
    EXPECT_EQ(host.DecodeAll(), Decoded());
    ASSERT_EQ(host.Open(File(packets)), 1);
    host.Close();
    EXPECT_EQ(host.fluid, 'c');  // the record went through
    EXPECT_EQ(host.DecodeBlock(), 0);
}

TEST_F(SubDecoder, FailuresAreNamed) {
    const std::string loading = "Error loading external Decoder '" + kSubDecoder.string() + "'";
    const struct {
        const char* fake;
        std::string error;
        bool opens = false;
        size_t decoded = 0;
    } cases[] = {
        {"silent", "", true},  // packets without audio end the stream
        {"without_delete_a_tag", loading + "  [PrepareToDecodeAudio]\r\n"},
        {"failing_create", "Error creating external Decoder.  [InitializeExternalDecoder]\r\n"},
        {"throwing", "Error exception: thrown by the sub-decoder  [Open]\r\n"},
        {"failing_later", "Error decoding audio with external Decoder.  [ExternalDecodeData]\r\n", true,
         65536},  // the first packet was fine
    };
    for (const auto& c : cases) {
        InstallFake(c.fake);
        PluginHost host;
        const bool opened = host.Open(File(packets)) == 1;
        EXPECT_EQ(opened, c.opens) << c.error;
        EXPECT_EQ(opened ? host.DecodeAll().size() : 0, c.decoded);
        EXPECT_EQ(host.capture.Errors(), c.error);
        EXPECT_EQ(host.Close(), 1);
    }
}

}  // namespace w64
