#include "ReportCapture.h"
#include "TempFolder.h"
#include "Wave64Bytes.h"
#include "base/XStr.h"
#include "wave64/container/clWave64Handler.h"

#include <gtest/gtest.h>

namespace w64 {

namespace {

struct NewFile {
    NewFile() { EXPECT_TRUE(file.Open(FromUTF8(path.native()), XFile::Access::CreateNew)); }

    bool Begin(Bytes format, const clPassRIFFChunks& passed = {}, int convertExtensible = 0) {
        return handler.InitializeNewWAV(file.Handle(), reinterpret_cast<tWAVEFORMATEX*>(format.data()),
                                        capture.Report(), passed, convertExtensible);
    }
    bool Finish(const Bytes& audio) {
        if (!file.Write(audio.data(), audio.size())) return false;
        handler.FindChunkForWrite("data")->DataSize = static_cast<int64_t>(audio.size());
        return handler.WriteChunksAfterData() && handler.WriteChunkHeaders(false);
    }
    uint64_t SizeFieldAt(int64_t position) {
        uint64_t field = 0;
        EXPECT_TRUE(file.SetPosition(position + 16) && file.Read(&field, sizeof field) == sizeof field);
        return field;
    }

    TempFolder folder;
    std::filesystem::path path = folder.Path() / "new.w64";
    XFile file;
    ReportCapture capture;
    clWave64Handler handler;
};

Bytes PCM() { return Wave64Bytes::FmtBody(1, 2, 44100, 16); }

Bytes PCMAsStored() { return Resized(PCM(), 16); }

}  // namespace

TEST(Writer, MakesTheSmallestFileByteForByte) {
    const Bytes extensible = Wave64Bytes::ExtensibleBody(1, 2, 44100, 16, 3);
    const struct {
        Bytes format;
        int convertExtensible;
        Bytes stored;
    } cases[] = {{PCM(), 1, PCMAsStored()}, {extensible, 0, extensible}, {extensible, 1, PCMAsStored()}};
    for (const auto& [format, convertExtensible, stored] : cases) {
        NewFile made;
        ASSERT_TRUE(made.Begin(format, {}, convertExtensible));
        EXPECT_EQ(made.file.GetPosition(), 40 + 24 + std::ssize(stored) + 24);
        ASSERT_TRUE(made.Finish(Pattern(1000)));
        EXPECT_EQ(ReadBytes(made.path), Wave64Bytes().Chunk("fmt ", stored).Data(Pattern(1000)).File());
        EXPECT_EQ(made.capture.Errors(), "");
    }
}

TEST(Writer, KeepsPassedChunksAroundTheAudio) {
    clPassRIFFChunks passed;
    const auto add = [&](const char* code, const Bytes& bytes, bool beforeData) {
        return passed.AddInternal(RIFFChnkID(code), bytes.data(), static_cast<uint32_t>(bytes.size()),
                                  beforeData);
    };
    ASSERT_TRUE(add("bext", Pattern(5), true));  // no data yet: appended
    ASSERT_TRUE(add("DATA", Pattern(3), false));
    ASSERT_TRUE(add("LEVL", Pattern(16), false));
    ASSERT_TRUE(add("fact", Pattern(4), true));
    EXPECT_EQ(passed.FindChunk("data", true), 2);
    EXPECT_EQ(passed.FindChunk("data", false), -1);

    NewFile made;
    ASSERT_TRUE(made.Begin(PCM(), passed) && made.Finish(Pattern(16)));
    Wave64Bytes expected = Wave64Bytes().Chunk("bext", Pattern(5)).Chunk("fact", Pattern(4));
    expected.Chunk("fmt ", PCMAsStored()).Data(Pattern(16)).Chunk("levl", Pattern(16));
    EXPECT_EQ(ReadBytes(made.path), expected.File());
}

TEST(Writer, CutsSizeFieldsTo32BitsUnlessAskedForAll) {
    constexpr int64_t audioBytes = (int64_t{1} << 32) + 8;
    for (const bool full : {false, true}) {
        NewFile made;
        made.handler.SetRules({.safe = full});
        ASSERT_TRUE(made.Begin(PCM()) && made.file.SetFileSize(104 + audioBytes));  // sparse
        made.handler.FindChunkForWrite("data")->DataSize = audioBytes;
        ASSERT_TRUE(made.handler.WriteChunkHeaders(false));
        EXPECT_EQ(made.SizeFieldAt(80), full ? audioBytes + 24u : 8 + 24u);
        EXPECT_EQ(made.SizeFieldAt(0), full ? audioBytes + 104u : 8 + 104u);
        EXPECT_EQ(made.file.Size(), 104 + audioBytes);
    }
}

}  // namespace w64
