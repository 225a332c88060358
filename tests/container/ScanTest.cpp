#include "ReportCapture.h"
#include "TempFolder.h"
#include "Wave64Bytes.h"
#include "base/XStr.h"
#include "wave64/container/clWave64Handler.h"

#include <gtest/gtest.h>

namespace {

struct Scan {
    explicit Scan(const Bytes& bytes) {
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

TEST(Scan, KeepsWhatItFoundBeforeTheDamage) {
    constexpr uint64_t huge = uint64_t{1} << 63;
    Bytes cutInHeader = Plain().Chunk("LEVL", Pattern(100)).File();
    cutInHeader.resize(1112 + 20);
    Bytes garbageBehind = Plain().File();
    garbageBehind.resize(garbageBehind.size() + 10, 0xAA);
    const struct {
        const char* name;
        Bytes file;
        int chunks;
        const char* message;
    } cases[] = {
        {"garbage behind the end", garbageBehind, 2, "Warning: 'RiffSize != FileSize' must be extra data"},
        {"cut in a header", cutInHeader, 2, "File error reading chunk."},
        {"size field 0", Plain().Chunk("bext", {}, 0).Chunk("LEVL", {}).File(), 2,
         "File error reading chunk."},
        {"size field 23", Plain().Chunk("bext", {}, 23).Chunk("LEVL", {}).File(), 2,
         "File error reading chunk."},
        {"chunk past the end", Plain().Chunk("bext", Pattern(8), 4096).File(), 3,
         "Error Chunk is out of file."},
        {"size near 2^63", Plain().Chunk("bext", Pattern(8), huge - 1).File(), 3,
         "Error Chunk is out of file."},
        {"size near 2^64", Plain().Chunk("bext", Pattern(8), ~uint64_t{0}).File(), 3,
         "Error Chunk is out of file."},
        {"uneven outer size", Plain().File(1116), 2, "Warning: RIFF chunk has uneven databytes"},
        {"outer size near 2^64", Plain().File(~uint64_t{0}), 2, "File error reading chunk."},
        {"outer size 2^63", Plain().File(huge), 2, "File error reading chunk."},
        {"outer size 0", Plain().File(0), 0, "RiffSize: 0"},
        {"data claims all of 2^63", Wave64Bytes().Data({}, huge - 8).File(huge), 1,
         "Error Setting Position."},
    };
    for (const auto& c : cases) {
        Scan scan(c.file);
        EXPECT_TRUE(scan.succeeded) << c.name;
        EXPECT_EQ(scan.handler.Count(), c.chunks) << c.name;
        EXPECT_TRUE(scan.Said(c.message))
            << c.name << ": " << scan.capture.Errors() << scan.capture.Information();
        for (int i = 0; i < scan.handler.Count(); ++i) EXPECT_GE(scan.handler[i].DataSize, 0) << c.name;
    }
}

TEST(Scan, FailsOnWhatIsNoWave64File) {
    const Bytes riff = [] {
        Bytes bytes(100);
        std::copy_n("RIFF....WAVEfmt ", 16, bytes.begin());
        return bytes;
    }();
    Bytes form = Plain().File();
    form[24] ^= 1;
    const std::pair<Bytes, const char*> cases[] = {
        {Pattern(39), "Error: File too small for RIFF."},
        {riff, "Error RIFF chunk unknown 'RIFF'"},
        {form, "Error RIFF chunk unknown 'riff'"},
    };
    for (const auto& [file, message] : cases) {
        Scan scan(file);
        EXPECT_FALSE(scan.succeeded) << message;
        EXPECT_TRUE(scan.Said(message)) << scan.capture.Errors();
    }
}

TEST(Scan, WalksHeadersNearAndFar) {
    Wave64Bytes file;
    std::vector<size_t> sizes;
    for (size_t i = 0; i < 3000; ++i) sizes.push_back(i % 97 == 0 ? 70000 + i : i % 29);
    for (const size_t size : sizes) file.Chunk("bext", Bytes(size));
    Scan scan(file.File());
    ASSERT_EQ(scan.handler.Count(), 3000);
    for (int i = 0; i < 3000; ++i) {
        ASSERT_EQ(scan.handler[i].DataSize, static_cast<int64_t>(sizes[static_cast<size_t>(i)])) << i;
    }
    EXPECT_TRUE(scan.SaidNothing());
}
