#include "ReportCapture.h"
#include "TempFolder.h"
#include "Wave64Bytes.h"
#include "base/XStr.h"
#include "wave64/container/ChunkCodes.h"
#include "wave64/container/clWave64Handler.h"

#include <gtest/gtest.h>

namespace w64 {

namespace {

struct Scan {
    explicit Scan(const Bytes& bytes, bool safe = false) {
        handler.SetRules({.safe = safe});
        EXPECT_TRUE(file.Open(FromUTF8(folder.Write("a.w64", bytes).native()), XFile::Access::Read));
        STNStdReport report = capture.Report();
        if (bytes.size() > 1'000'000) report.Debug = -1;  // a trace would take long
        succeeded = handler.Initialize(file.Handle(), report);
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

Bytes Converted(std::string_view code) {
    const GUID guid = ConvertToGUID(RIFFChnkID(code));
    return {guid.bytes.begin(), guid.bytes.end()};
}

Bytes Stored(const Wave64Bytes& chunk) { return Slice(chunk.File(), 40, 56); }

}  // namespace

TEST(Scan, ListsChunksInOrderWithTheirPositions) {
    Scan scan(Plain().Chunk("LEVL", Pattern(13)).Chunk("JUNK", Pattern(1)).Chunk("bext", {}).File());
    ASSERT_TRUE(scan.succeeded);
    EXPECT_TRUE(scan.SaidNothing());
    ASSERT_EQ(scan.handler.Count(), 4);  // a header alone at the very end is not looked at
    const std::pair<int64_t, int64_t> expected[] = {{40, 18}, {88, 1000}, {1112, 13}, {1152, 1}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(std::pair(scan.handler[i].ChunkPosition, scan.handler[i].DataSize), expected[i]) << i;
        EXPECT_EQ(scan.handler[i].FileDataPosition, expected[i].first + 24) << i;
    }
    EXPECT_EQ(scan.handler.IndexOfDataChunk(), 1);
    EXPECT_EQ(scan.handler.IndexOfChunk("JUNK"), -1);  // the file's code is upper-case, the identifier is not
    EXPECT_EQ(scan.handler.IndexOfChunk("bext"), -1);
    EXPECT_EQ(scan.handler.GetChunk(4), nullptr);
    EXPECT_EQ(scan.handler.GetChunk(-1), nullptr);
}

TEST(Scan, KeepsWhatItFoundBeforeTheDamageInAWave64File) {
    constexpr uint64_t huge = uint64_t{1} << 63;
    const Bytes cutInHeader = Resized(Plain().Chunk("LEVL", Pattern(100)).File(), 1112 + 20);
    const Bytes garbageAfter = Plain().File() + Bytes(10, 0xAA);
    const auto claiming = [](uint64_t size) { return Plain().Chunk("bext", Pattern(8), size).File(); };
    Bytes otherForm = Plain().File();
    otherForm[24] ^= 1;
    constexpr int kFails = -1;
    const struct {
        Bytes file;
        int chunks;
        const char* message;
    } cases[] = {
        {Pattern(39), kFails, "Error: File too small for RIFF."},
        {Bytes{'R', 'I', 'F', 'F'} + Pattern(96), kFails, "Error RIFF chunk unknown 'RIFF'"},
        {otherForm, kFails, "Error RIFF chunk unknown 'riff'"},
        {garbageAfter, 2, "Warning: 'RiffSize != FileSize' must be extra data"},
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
    EXPECT_TRUE(scan.SaidNothing() && !scan.handler.IsScanLimited());
}

TEST(Scan, RemembersThatThereWereTooManyChunks) {
    constexpr int kMax = 450'000;
    // One more, and one without data at the end, which does not count.
    const Scan scan(Wave64Bytes().EmptyChunks(kMax + 2).File());
    EXPECT_EQ(scan.handler.Count(), kMax);
    EXPECT_TRUE(scan.Said("File error reading chunk."));
    EXPECT_TRUE(scan.handler.IsScanLimited());
}

TEST(ChunkCodes, BecomeTheStoredIdentifiers) {
    for (const std::string code : {"wave", "fmt ", "fact", "data", "levl", "junk", "bext", "pad "}) {
        std::string upper = code;
        std::ranges::transform(code, upper.begin(), [](char c) { return c == ' ' ? c : c - 'a' + 'A'; });
        EXPECT_EQ(Converted(code), Stored(Wave64Bytes().Chunk(code, {}))) << code;
        EXPECT_EQ(Converted(upper), Converted(code)) << code;
    }
    for (const char* code : {"Fmt ", "iXML", "riff"})  // only the upper-case "RIFF" has one of its own
        EXPECT_EQ(Converted(code), Stored(Wave64Bytes().Chunk(code, {}))) << code;
    const Bytes list = {'l', 'i', 's', 't', 0x2F, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 4, 0xC1, 0, 0};
    EXPECT_EQ(Converted("LIST"), list);
    EXPECT_EQ(Converted("list"), list);
    EXPECT_EQ(Converted("\xBC\x94\x5F\x92"), Stored(Wave64Bytes().SummaryList({})));
    EXPECT_EQ(RIFFChnkID("fmt "), 0x20746D66u);
    EXPECT_EQ(GetPaddingBytes(-1), 0);
}

}  // namespace w64
