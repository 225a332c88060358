#include "PluginHost.h"

#include <array>

namespace w64 {

namespace {

Bytes SmallFile() { return Wave64Bytes().Fmt(1, 2, 44100, 16).Data(Pattern(400)).File(); }

class Boundary : public testing::Test {
protected:
    const TempFolder folder;
    const std::filesystem::path path = folder.Write("a.w64", SmallFile());
};

std::ptrdiff_t OpenDescriptors() { return std::distance(std::filesystem::directory_iterator("/dev/fd"), {}); }

}  // namespace

TEST_F(Boundary, NullHandlesAndRecordsGiveZero) {
    const PluginHost host;
    STKvCodecGetSet record{};
    STKvOpenDecoder open{};
    STKvAudioBlock block{};
    EXPECT_EQ(Plugin().Destroy(nullptr), 1);
    EXPECT_EQ(Plugin().SetPosition(nullptr, 0) | Plugin().DeleteATag(nullptr, L"a", nullptr), 0);
    EXPECT_EQ(Plugin().Open(nullptr, &open) | Plugin().Open(host.handle, nullptr), 0);
    EXPECT_EQ(Plugin().Close(nullptr, nullptr), 0);
    EXPECT_EQ(Plugin().DecodeBlock(nullptr, &block) | Plugin().DecodeBlock(host.handle, nullptr), 0);
    EXPECT_EQ(Plugin().Set(nullptr, L"IDTags", &record) | Plugin().Set(host.handle, L"IDTags", nullptr), 0);
    EXPECT_EQ(Plugin().Get(nullptr, L"Decodes", &record) | Plugin().Get(host.handle, L"Decodes", nullptr), 0);
    EXPECT_EQ(Plugin().Get(host.handle, nullptr, &record), 0);
    EXPECT_EQ(record.Text1, nullptr);
}

TEST_F(Boundary, AnswersWhatThePluginIsAndItsTagOptions) {
    const wchar_t *const tags = L"ID Tag Options", *const none = L"-";
    const struct {
        const wchar_t* key;
        int32_t index, value;
        std::array<XStr, 3> texts;  // "-" for one that is not given
        int32_t result = 1;
    } cases[] = {
        {L"Decodes", 0, 0, {L".w64", L"Wave64", none}},
        {L"Decodes", 1, 0, {none, none, none}, 0},
        {L"decodes", 0, 0, {none, none, none}, 0},
        {L"Decoder Description", 0, 0, {L"Wave64 Decoder", none, none}},
        {L"Default Property Elements", 0, 0, {L"Audio Quality\rEncoder Settings\rContains", none, none}},
        {tags, 0, 2, {L"Tag Creation", L"Tagging\\Wave64TagDefault", L"(none)"}},
        {tags, 1, 0, {L"LIST Chunk Position", L"Tagging\\Wave64LISTPos", L"[data]  [LIST]"}},
        {tags, 2, 0, {L"LIST Album Tag", L"Tagging\\Wave64LISTAlbum", L"IPRD"}},
        {tags, 3, 1, {L"LIST Track Tag", L"Tagging\\Wave64LISTTrack", L"TRCK"}},
        {tags, 4, 1, {L"LIST Padding Type", L"Tagging\\Wave64LISTPadding", L"'PAD ' Chunk"}},
        {tags, 5, 4, {L"LIST Padding Size", L"Tagging\\Wave64LISTPaddingSize", L"16 KB"}},
        {tags, 0, 3, {L"Tag Creation", L"Tagging\\Wave64TagDefault", L""}, 0},  // no such setting
        {tags, 0, -1, {L"Tag Creation", L"Tagging\\Wave64TagDefault", L""}, 0},
        {tags, 6, 0, {L"", L"", L""}, 0},  // the end of the list
        {tags, -1, 0, {L"", L"", L""}, 0},
    };
    const PluginHost host;
    for (const auto& c : cases) {
        STKvCodecGetSet record{};
        record.Index = c.index;
        record.Value = c.value;
        EXPECT_EQ(Plugin().Get(host.handle, c.key, &record), c.result) << c.texts[0];
        const auto text = [&](const wchar_t* given) { return XStr(given ? given : none); };
        EXPECT_EQ((std::array{text(record.Text1), text(record.Text2), text(record.Text3)}), c.texts);
    }
    EXPECT_HAS("Decodes  [Get]\r\n", host.capture.Trace());
}

TEST_F(Boundary, OpenRefusesPacketsAndFilesWithoutAName) {
    PluginHost packets, unnamed;
    EXPECT_EQ(packets.Open(path, kvOpenPackets | kvOpenDecode), 0);
    EXPECT_EQ(packets.capture.Errors(), "Error cannot decode external-packet data.  [Open]\r\n");
    EXPECT_EQ(Plugin().Open(unnamed.handle, &unnamed.open), 0);
    EXPECT_EQ(unnamed.capture.Errors(),
              "Error opening file '' check no other program has it open.  [Open]\r\n");
}

TEST_F(Boundary, OpenFillsOnlyWhatIsAskedFor) {
    for (const uint32_t flags : {0u, 4u, 1u}) {
        PluginHost host;
        ASSERT_EQ(host.Open(path, flags), 1);
        EXPECT_EQ(host.open.AudioInfo.LengthBytes, flags ? 400 : 0);
        EXPECT_EQ(host.open.AudioInfo.LengthMilliseconds, flags ? 2 : 0);
        EXPECT_EQ(host.open.AudioInfo.BitRate, flags ? 1411200u : 0u);
        EXPECT_EQ(host.open.AudioInfo.HostValue, 0u);
        EXPECT_EQ(host.DecodeAll().size(), flags & kvOpenDecode ? 400u : 0u);
    }
}

TEST_F(Boundary, CallsOutOfOrderNeitherCrashNorLeak) {
    const auto before = OpenDescriptors();
    {
        PluginHost host;
        EXPECT_EQ(host.DecodeBlock(), 1);
        EXPECT_EQ(host.block.EndOfStream, 1u);
        EXPECT_EQ(Plugin().SetPosition(host.handle, 0), 0);
        EXPECT_EQ(host.capture.Errors(), "Error SetPosition returned false.  [SetPosition]\r\n");
        EXPECT_EQ(host.Close(), 1);

        ASSERT_EQ(host.Open(path), 1);
        ASSERT_EQ(host.Open(path), 1);
        EXPECT_EQ(host.Open(folder.Path()), 0);  // the first file stays open
        EXPECT_EQ(host.DecodeAll(), Pattern(400));

        ASSERT_EQ(host.Open(path), 1);
        EXPECT_EQ(Plugin().Close(host.handle, nullptr) & host.Close(), 1);
        EXPECT_EQ(host.DecodeBlock() | Plugin().SetPosition(host.handle, 0), 0);
        EXPECT_HAS("Error reading data from file.", host.capture.Errors());
        ASSERT_EQ(host.Open(path), 1);
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(Boundary, ASecondFileIsReadByTheFirstOnesFormat) {
    PluginHost host;
    ASSERT_EQ(host.Open(path, kvOpenAudioInfo), 1);
    host.Close();
    const Bytes other = Wave64Bytes().Fmt(1, 1, 8000, 8).Data(Pattern(8000)).File();
    ASSERT_EQ(host.Open(folder.Write("b.w64", other), kvOpenAudioInfo), 1);
    EXPECT_EQ(host.open.AudioInfo.LengthBytes, 400);
}

TEST_F(Boundary, TheTraceTellsWhatIsDoneAndEndsWhereItBegan) {
    PluginHost host;
    ASSERT_EQ(host.Open(path), 1);
    const std::string trace = host.capture.Trace();
    EXPECT_HAS("->->  [FillAudioInfo]\r\n", trace);
    const std::string indentation(trace.find('-'), ' ');  // what failed calls before this one left
    EXPECT_TRUE(trace.starts_with(indentation + "->->  [Open]\r\n")) << trace;
    EXPECT_TRUE(trace.ends_with("\n" + indentation + "<-<-  [Open]\r\n")) << trace;
    for (const char* line :
         {"Got Chunk 'data'  Length: 424'  RiffSize: 512  ChunkPosition: 88  [ScanFile]\r\n",
          "clWave64Handler::CalcAllChunks: Ok\r\n", "Audio Length: 2 mili-seconds  400 bytes  1411 kbps\r\n",
          "Compressed WFX (on file): Format Tag: 1  Channels: 2  Bits per Sample: 16  Samples Per Second: "
          "44100"
          "  Bytes Per Second: 176400  Block Align: 4  CB Size: 0\r\n"})
        EXPECT_HAS(line, trace);
}

}  // namespace w64
