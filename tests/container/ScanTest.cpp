#include "ReportCapture.h"
#include "TempFolder.h"
#include "Wave64Bytes.h"
#include "base/XStr.h"
#include "wave64/container/clWave64Handler.h"

#include <gtest/gtest.h>

namespace w64 {

namespace {

struct Scan {
    explicit Scan(const Bytes& bytes, bool safe = false) {
        handler.SetRules({.safe = safe});
        EXPECT_TRUE(file.Open(FromUTF8(folder.Write("a.w64", bytes).native()), XFile::Access::Read));
        succeeded = handler.Initialize(file.Handle(), capture.Report());
    }
    bool Said(const std::string& message) const {
        return (capture.Errors() + capture.Information()).find(message) != std::string::npos;
    }
    bool SaidNothing() const { return capture.Errors().empty() && capture.Information().empty(); }

    TempFolder folder;
    ReportCapture capture;
    XFile file;
    clWave64Handler handler;
    bool succeeded = false;
};

Wave64Bytes Plain() { return Wave64Bytes().Fmt(1, 2, 44100, 16).Data(Pattern(1000)); }

}  // namespace

TEST(Scan, ListsChunksInOrderWithTheirPositions) {
    Scan scan(Plain().Chunk("LEVL", Pattern(13)).Chunk("JUNK", Pattern(1)).Chunk("bext", {}).File());
    ASSERT_TRUE(scan.succeeded);
    EXPECT_TRUE(scan.SaidNothing());
    ASSERT_EQ(scan.handler.Count(), 4);  // a header alone at the very end is not looked at
    const std::pair<int64_t, int64_t> expected[] = {{40, 18}, {88, 1000}, {1112, 13}, {1152, 1}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(scan.handler[i].ChunkPosition, expected[i].first) << i;
        EXPECT_EQ(scan.handler[i].FileDataPosition, expected[i].first + 24) << i;
        EXPECT_EQ(scan.handler[i].DataSize, expected[i].second) << i;
    }
    EXPECT_EQ(scan.handler.IndexOfDataChunk(), 1);
    EXPECT_EQ(scan.handler.IndexOfChunk("JUNK"), -1);  // the file's code is upper-case, the identifier is not
    EXPECT_EQ(scan.handler.IndexOfChunk("bext"), -1);
    EXPECT_EQ(scan.handler.GetChunk(4), nullptr);
    EXPECT_EQ(scan.handler.GetChunk(-1), nullptr);
}

TEST(Scan, KeepsWhatItFoundBeforeTheDamageInAWave64File) {
    constexpr uint64_t huge = uint64_t{1} << 63;
    Bytes cutInHeader = Plain().Chunk("LEVL", Pattern(100)).File();
    cutInHeader.resize(1112 + 20);
    Bytes garbageBehind = Plain().File();
    garbageBehind.resize(garbageBehind.size() + 10, 0xAA);
    const auto claiming = [](uint64_t size) { return Plain().Chunk("bext", Pattern(8), size).File(); };
    Bytes otherForm = Plain().File();
    otherForm[24] ^= 1;
    Bytes riff = Pattern(100);
    std::copy_n("RIFF....WAVEfmt ", 16, riff.begin());
    constexpr int kFails = -1;
    const struct {
        Bytes file;
        int chunks;
        const char* message;
    } cases[] = {
        {Pattern(39), kFails, "Error: File too small for RIFF."},
        {riff, kFails, "Error RIFF chunk unknown 'RIFF'"},
        {otherForm, kFails, "Error RIFF chunk unknown 'riff'"},
        {garbageBehind, 2, "Warning: 'RiffSize != FileSize' must be extra data"},
        {cutInHeader, 2, "File error reading chunk."},
        {claiming(23), 2, "File error reading chunk."},
        {claiming(33), 3, "Error Chunk is out of file."},
        {claiming(huge - 1), 3, "Error Chunk is out of file."},
        {claiming(~uint64_t{0}), 3, "Error Chunk is out of file."},
        {Plain().File(1116), 2, "Warning: RIFF chunk has uneven databytes"},
        {Plain().File(~uint64_t{0}), 2, "File error reading chunk."},
        {Plain().File(0), 0, "RiffSize: 0"},
        {Wave64Bytes().Data({}, huge - 8).File(huge), 1, "Error Setting Position."},
    };
    for (const auto& c : cases) {
        Scan scan(c.file);
        SCOPED_TRACE(&c - cases);
        EXPECT_EQ(scan.succeeded ? scan.handler.Count() : kFails, c.chunks);
        EXPECT_TRUE(scan.Said(c.message)) << scan.capture.Errors() << scan.capture.Information();
        for (int i = 0; i < scan.handler.Count(); ++i) EXPECT_GE(scan.handler[i].DataSize, 0);
        EXPECT_EQ(scan.handler.IsScanLimited(), c.file == claiming(23));
        const Scan safe(c.file, true);
        EXPECT_TRUE(!safe.succeeded || !safe.handler.LayoutFault().empty());
    }
}

TEST(Scan, FindsALayoutSoundWhereOnlyTheLastPaddingIsMissing) {
    const auto isSound = [](const Bytes& file) { return Scan(file, true).handler.LayoutFault().empty(); };
    const Bytes whole = Wave64Bytes().Fmt(1, 2, 44100, 16).Data(Pattern(1001)).File();
    const auto fits = [&](size_t size) { return size >= whole.size() - 7 && size <= whole.size(); };
    const auto sizeBy = [&](int difference) { return static_cast<size_t>(std::ssize(whole) + difference); };
    const int differences[] = {-9, -8, -7, -1, 0, 1, 8, 16, 23, 24, 32};
    for (const int outer : differences) {
        for (const int length : differences) {
            Bytes file = whole;
            base::Store<uint64_t>(file.data() + 16, sizeBy(outer));
            file.resize(sizeBy(length));
            EXPECT_EQ(isSound(file), fits(sizeBy(outer)) && fits(file.size())) << outer << ", " << length;
        }
    }
    EXPECT_TRUE(isSound(Plain().Chunk("bext", {}).File()));
    EXPECT_TRUE(isSound(Wave64Bytes().File()));
    EXPECT_FALSE(isSound({}));
}

TEST(Scan, WalksHeadersNearAndFar) {
    const auto sizeOf = [](int i) { return static_cast<size_t>(i % 97 == 0 ? 70000 + i : i % 29); };
    Wave64Bytes file;
    for (int i = 0; i < 3000; ++i) file.Chunk("bext", Bytes(sizeOf(i)));
    Scan scan(file.File());
    ASSERT_EQ(scan.handler.Count(), 3000);
    for (int i = 0; i < 3000; ++i) ASSERT_EQ(static_cast<size_t>(scan.handler[i].DataSize), sizeOf(i)) << i;
    EXPECT_TRUE(scan.SaidNothing());
    EXPECT_FALSE(scan.handler.IsScanLimited());
}

TEST(Scan, RemembersThatThereWereTooManyChunks) {
    constexpr int most = 450'000;
    Wave64Bytes file;
    for (int i = 0; i < most; ++i) file.Chunk("levl", {});
    const TempFolder folder;
    folder.Write("a.w64", file.Data(Pattern(100)).File());
    XFile opened;
    ASSERT_TRUE(opened.Open(FromUTF8((folder.Path() / "a.w64").native()), XFile::Access::Read));
    clWave64Handler handler;
    ASSERT_TRUE(handler.Initialize(opened.Handle(), {}));  // a trace would take long
    EXPECT_EQ(handler.Count(), most);
    EXPECT_TRUE(handler.IsScanLimited());
}

}  // namespace w64
