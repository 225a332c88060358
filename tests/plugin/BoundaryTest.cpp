#include "PluginHost.h"
#include "Wave64Bytes.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

Bytes SmallFile() { return Wave64Bytes().Fmt(1, 2, 44100, 16).Data(Pattern(400)).File(); }

size_t OpenDescriptors() {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/dev/fd")) ++count;
    return count;
}

// Failed calls before this one leave the whole trace indented. Line ends are plain in the result.
std::string Dedented(const std::string& trace) {
    const size_t indentation = trace.find_first_not_of(' ');
    std::istringstream lines(trace);
    std::string dedented;
    for (std::string line; std::getline(lines, line, '\r'); lines.ignore(1)) {
        dedented += line.substr(indentation) + "\n";
    }
    return dedented;
}

}  // namespace

TEST(Boundary, NullHandlesAndRecordsGiveZero) {
    const PluginHost host;
    STKvCodecGetSet record{};
    STKvOpenDecoder open{};
    STKvAudioBlock block{};
    EXPECT_EQ(Plugin().Destroy(nullptr), 1);
    EXPECT_EQ(Plugin().SetPosition(nullptr, 0) | Plugin().DeleteATag(nullptr, L"a", nullptr), 0);
    EXPECT_EQ(Plugin().Open(nullptr, &open) | Plugin().Open(host.handle, nullptr), 0);
    EXPECT_EQ(Plugin().Close(nullptr, nullptr) | Plugin().Close(host.handle, nullptr), 0);
    EXPECT_EQ(Plugin().DecodeBlock(nullptr, &block) | Plugin().DecodeBlock(host.handle, nullptr), 0);
    EXPECT_EQ(Plugin().Set(nullptr, L"IDTags", &record) | Plugin().Set(host.handle, L"IDTags", nullptr), 0);
    EXPECT_EQ(Plugin().Get(nullptr, L"Decodes", &record) | Plugin().Get(host.handle, L"Decodes", nullptr), 0);
    EXPECT_EQ(Plugin().Get(host.handle, nullptr, &record), 0);
    EXPECT_EQ(record.Text1, nullptr);
}

TEST(Boundary, AnswersWhatThePluginIs) {
    const PluginHost host;
    STKvCodecGetSet record{};
    ASSERT_EQ(Plugin().Get(host.handle, L"Decodes", &record), 1);
    EXPECT_EQ(XStr(record.Text1), L".w64");
    EXPECT_EQ(XStr(record.Text2), L"Wave64");
    record = {};
    record.Index = 1;
    EXPECT_EQ(Plugin().Get(host.handle, L"Decodes", &record), 0);
    EXPECT_EQ(record.Text1, nullptr);
    EXPECT_EQ(Plugin().Get(host.handle, L"decodes", &record), 0);

    const std::pair<const wchar_t*, const wchar_t*> answers[] = {
        {L"Decoder Description", L"Wave64 Decoder"},
        {L"Property Elements", L"Audio Quality\rChannel Mapping\rEncoder Settings\rWave Header\rRiff Chunks\r"
                               L"Sample Count\rGapless\rID Tag\rContains"},
        {L"Default Property Elements", L"Audio Quality\rEncoder Settings\rContains"},
    };
    for (const auto& [key, answer] : answers) {
        ASSERT_EQ(Plugin().Get(host.handle, key, &record), 1);
        EXPECT_EQ(XStr(record.Text1), answer);
    }
    EXPECT_NE(host.capture.Trace().find("Decodes  [Get]\r\n"), std::string::npos);
}

TEST(Boundary, ListsTheTagOptions) {
    const PluginHost host;
    const struct {
        int32_t index, value;
        const wchar_t *title, *key, *text;
    } cases[] = {
        {0, 2, L"Tag Creation", L"Tagging\\Wave64TagDefault", L"(none)"},
        {1, 1, L"LIST Chunk Position", L"Tagging\\Wave64LISTPos", L"[LIST]  [optional padding]  [data]"},
        {2, 0, L"LIST Album Tag", L"Tagging\\Wave64LISTAlbum", L"IPRD"},
        {3, 1, L"LIST Track Tag", L"Tagging\\Wave64LISTTrack", L"TRCK"},
        {4, 1, L"LIST Padding Type", L"Tagging\\Wave64LISTPadding", L"'PAD ' Chunk"},
        {5, 0, L"LIST Padding Size", L"Tagging\\Wave64LISTPaddingSize", L"2 KB"},
        {5, 4, L"LIST Padding Size", L"Tagging\\Wave64LISTPaddingSize", L"16 KB"},
        {0, 3, L"Tag Creation", L"Tagging\\Wave64TagDefault", L""},  // no such setting
        {0, -1, L"Tag Creation", L"Tagging\\Wave64TagDefault", L""},
        {6, 0, L"", L"", L""},  // the end of the list
        {-1, 0, L"", L"", L""},
    };
    for (const auto& c : cases) {
        STKvCodecGetSet record{};
        record.Index = c.index;
        record.Value = c.value;
        EXPECT_EQ(Plugin().Get(host.handle, L"ID Tag Options", &record), *c.text ? 1 : 0) << c.index;
        EXPECT_EQ(XStr(record.Text1), c.title);
        EXPECT_EQ(XStr(record.Text2), c.key);
        EXPECT_EQ(XStr(record.Text3), c.text);
    }
}

TEST(Boundary, OpenRefusesPacketsAndFilesThatAreNotThere) {
    const TempFolder folder;
    PluginHost host;
    EXPECT_EQ(host.Open(folder.Write("a.w64", SmallFile()), kvOpenPackets | kvOpenDecode), 0);
    EXPECT_EQ(host.capture.Errors(), "Error cannot decode external-packet data.  [Open]\r\n");

    PluginHost unnamed;
    STKvOpenDecoder open{};
    EXPECT_EQ(Plugin().Open(unnamed.handle, &open), 0);
    EXPECT_EQ(unnamed.capture.Errors(),
              "Error opening file '' check no other program has it open.  [Open]\r\n");

    PluginHost inFolder;
    EXPECT_EQ(inFolder.Open(folder.Path()), 0);
}

TEST(Boundary, OpenFillsOnlyWhatIsAskedFor) {
    const TempFolder folder;
    const auto path = folder.Write("a.w64", SmallFile());
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

TEST(Boundary, CallsOutOfOrderNeitherCrashNorLeak) {
    const TempFolder folder;
    const auto path = folder.Write("a.w64", SmallFile());
    const size_t before = OpenDescriptors();
    {
        PluginHost host;
        EXPECT_EQ(host.DecodeBlock(), 1);
        EXPECT_EQ(host.block.EndOfStream, 1u);
        EXPECT_EQ(Plugin().SetPosition(host.handle, 0), 0);
        EXPECT_EQ(host.capture.Errors(), "Error SetPosition returned false.  [SetPosition]\r\n");
        EXPECT_EQ(host.Close(), 1);

        ASSERT_EQ(host.Open(path), 1);
        ASSERT_EQ(host.Open(path), 1);
        EXPECT_EQ(host.Open(folder.Path() / "missing"), 0);  // the first file stays open
        EXPECT_EQ(host.DecodeAll(), Pattern(400));

        ASSERT_EQ(host.Open(path), 1);
        EXPECT_EQ(host.Close(), 1);
        EXPECT_EQ(host.Close(), 1);
        EXPECT_EQ(host.DecodeBlock(), 0);
        EXPECT_EQ(Plugin().SetPosition(host.handle, 0), 0);
        EXPECT_NE(host.capture.Errors().find("Error reading data from file."), std::string::npos);
        ASSERT_EQ(host.Open(path), 1);
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(Boundary, ASecondFileIsReadByTheFirstOnesFormat) {
    const TempFolder folder;
    PluginHost host;
    ASSERT_EQ(host.Open(folder.Write("a.w64", SmallFile()), kvOpenAudioInfo), 1);
    host.Close();
    const Bytes other = Wave64Bytes().Fmt(1, 1, 8000, 8).Data(Pattern(8000)).File();
    ASSERT_EQ(host.Open(folder.Write("b.w64", other), kvOpenAudioInfo), 1);
    EXPECT_EQ(host.open.AudioInfo.LengthBytes, 400);
}

TEST(Boundary, TheTraceTellsTheWholeStory) {
    const TempFolder folder;
    const auto path = folder.Write("a.w64", SmallFile());
    PluginHost host;
    ASSERT_EQ(host.Open(path), 1);
    const std::string format = "Format Tag: 1  Channels: 2  Bits per Sample: 16  Samples Per Second: 44100  "
                               "Bytes Per Second: 176400  Block Align: 4  CB Size: 0\n";
    EXPECT_EQ(Dedented(host.capture.Trace()), "->->  [Open]\n"
                                              "  Opening file '" +
                                                  path.string() + R"(' for read access: Opened
  Reading Audio Information
  ->->  [Initialize]
  <-<-  [Initialize]
  ->->  [Initialize]
  <-<-  [Initialize]
  ->->  [ScanFile]
      RIFF Header 'riff'  Length: 512  FormType 'wave'  [ScanFile]
      Got Chunk 'fmt '  Length: 42'  RiffSize: 512  ChunkPosition: 40  [ScanFile]
      Got Chunk 'data'  Length: 424'  RiffSize: 512  ChunkPosition: 88  [ScanFile]
    clWave64Handler::CalcAllChunks: Ok
  <-<-  [ScanFile]
  Read Audio Information
  Writing Audio Information
  ->->  [FillAudioInfo]
    ->->  [PullOutFMTnDATA]
      Finding 'fmt ' chunk.
      Finding 'data' chunk.
      Assigning 'fmt ' chunk to WFX
    <-<-  [PullOutFMTnDATA]
    Audio Length: 2 mili-seconds  400 bytes  1411 kbps
  <-<-  [FillAudioInfo]
  Written Audio Information
  Preparing to Decode
  ->->  [PrepareToDecodeAudio]
    Calling ACMDecoder.CreateNewConverter
    Compressed WFX (on file): )" + format + "    Uncompressed WFX (sent to kv): " +
                                                  format + R"(    Setting Position in File
  <-<-  [PrepareToDecodeAudio]
  Prepared Decoding
<-<-  [Open]
)");
}
