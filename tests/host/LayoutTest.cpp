#include "HostWorkshop.h"
#include "host/files/InputFile.h"
#include "host/layout/ChunkBar.h"
#include "host/layout/LayoutCheck.h"

namespace w64 {

namespace {

using Layout = HostTest;

namespace fs = std::filesystem;

constexpr size_t kDataAt = 88;  // after the outer header and 18 bytes of format
constexpr size_t kSizeField = 16;

const Bytes kAudio = Pattern(6000);
const Bytes kFrames1000 = {0xE8, 3, 0, 0};

Wave64Bytes Start() { return Wave64Bytes().Fmt(1, 2, 48000, 24); }
Wave64Bytes Good() { return Start().Data(kAudio); }

template <class T>
Bytes With(Bytes bytes, size_t at, T value) {
    base::Store(bytes.data() + at, value);
    return bytes;
}

Bytes WithSize(const Bytes& bytes, uint64_t size) { return With(bytes, kSizeField, size); }

// A file without the padding in [from, to), its outer size right.
Bytes Without(Bytes bytes, size_t from, size_t to) {
    bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                bytes.begin() + static_cast<std::ptrdiff_t>(to));
    return WithSize(bytes, bytes.size());
}

Bytes WithFact(const Bytes& frames) { return Start().Chunk("fact", frames).Data(kAudio).File(); }

// What `check` has to say, faults marked by a "!".
std::vector<std::string> Findings(const fs::path& path) {
    InputFile file(path);
    std::vector<std::string> texts;
    const LayoutCheck check(file);
    for (const LayoutFinding& finding : check.Findings()) {
        texts.push_back((finding.isFault ? "!" : "") + finding.text);
        if (finding.alike != 0) texts.back() += " +" + std::to_string(finding.alike);
    }
    return texts;
}

}  // namespace

TEST_F(Layout, FaultsAreToldFromOddities) {
    const Bytes good = Good().File();
    const Bytes uneven = Wave64Bytes().Fmt(1, 1, 8000, 8).Data(Pattern(5)).File();  // 3 bytes of padding
    const Bytes frames999 = {0xE7, 3, 0, 0};
    // A file, and what is said about it: parts of the findings, "!" before those of a fault.
    const std::pair<Bytes, std::vector<std::string>> cases[] = {
        {Good().File(), {}},
        {WithFact(kFrames1000), {}},

        {{}, {"!The file is empty."}},
        {Resized(good, 39), {"!it has 39 bytes"}},
        {With<uint32_t>(good, 0, 0x46464952), {"!it begins with 'RIFF'"}},
        {With<uint8_t>(good, 8, 0), {"!its first 16 bytes"}},
        {With<uint8_t>(good, 39, 0), {"!the 16 bytes at 24"}},
        {Wave64Bytes().File(), {"!no format chunk", "!no audio chunk"}},

        {Good().File(0), {"!0 bytes; it has 6,112 bytes. The recording was never finished."}},
        {Good().File(6120), {"!8 bytes fewer, though no chunk is cut off."}},
        {Good().File(6104), {"!ignore the last 8 bytes"}},
        {Good().Chunk("bext", {}).File(6112), {"!ignore the last 24 bytes"}},
        {Resized(good, 6122), {"!has 6,112 bytes; it has 6,122 bytes."}},
        {Resized(uneven, 124), {"!has 120 bytes; it has 124 bytes."}},
        {WithSize(Resized(good, 6122), 6122),
         {"the file goes on for 10 bytes", "which is not a multiple of 8"}},
        {Without(uneven, 117, 120), {"ends the file with 0 bytes of padding; 3 bytes"}},
        {WithSize(uneven, 117), {"it has 120 bytes. The diff"}},
        {Resized(uneven, 117), {"0 bytes of padding", "it has 117 bytes. The"}},
        {WithSize(uneven, 116), {"!has 116 bytes; it has 120"}},

        {Resized(good, 1112),
         {"!has 1,000 bytes of it and lacks 5,000 bytes.", "!1,112 bytes: 5,000 bytes fewer."}},
        {Start().Data(kAudio, UINT64_MAX).File(), {"!claims 18,446,744,073,709,551,591 bytes of data"}},
        {Start().Data(kAudio, 23).File(),
         {"!claims to take 23 bytes", "!the rest of the file, 6,000 bytes from 112, is."}},
        {Start().Data(kAudio, 24).File(), {"!At 112, after 'data' at 88, a chunk should"}},
        {Without(Start().Data(kAudio).Chunk("bext", {1}).Chunk("levl", {}).File(), 6137, 6144),
         {"(7 bytes from 6,137) should be zero", "!It begins at 6,137, without padding", "not a multiple"}},
        {With<uint8_t>(uneven, 119, 1), {"'data' at 88 (3 bytes from 117) should"}},
        {Good().Chunk("levl", {}).File(), {"'levl' at 6,112 is empty and ends"}},

        {Start().Fmt(1, 2, 48000, 24).Data(kAudio).File(), {"!'fmt ' at 88, 18 bytes of data, is one"}},
        {Good().Data(kAudio).File(), {"!'data' at 6,112, 6,000 bytes of data, is one too many"}},
        {Wave64Bytes().Data(kAudio).Fmt(1, 2, 48000, 24).File(), {"!'data' at 40, comes before"}},
        {Wave64Bytes().Chunk("fmt ", Bytes(13)).Data(kAudio).File(), {"!has 13 bytes of data"}},
        {Wave64Bytes().Fmt(1, 0, 48000, 24).Data(kAudio).File(), {"!which is impossible"}},
        {With<uint16_t>(good, kDataAt - 12, 5), {"!takes 5 bytes, but PCM, 24-bit, stereo"}},
        {Start().Data(Pattern(5998)).File(), {"!999 frames of 6 bytes and 4 bytes more."}},
        {With<uint32_t>(Start().Data(Pattern(5992)).File(), 6100, 0), {"and 4 bytes more, as if padding"}},
        {WithFact(frames999), {"!there are 999 frames"}},
        {With<uint64_t>(WithFact(frames999), 6136, 0), {"999 frames (one sample of every"}},
        {WithFact({1, 2}), {"it has 2 bytes."}},

        {With<uint8_t>(Good().Chunk("a\nb\x1B", Bytes(8)).File(), 6127, 0),
         {"The chunk at 6,112 with 8 bytes of data is of an unknown kind: 1B620A61-"}},
        {Start().SummaryList({1}).Data(kAudio).SummaryList({2}).File(),
         {"'summary list' at 88 comes before the audio with 1 byte", "'summary list' at 6,144 with 1 byte"}},
        {Start().Chunk("junk", Bytes(65544)).Data(kAudio).File(), {"keep 65,544 bytes free."}},
    };
    for (const auto& [file, parts] : cases) {
        SCOPED_TRACE(testing::PrintToString(parts));
        const auto findings = Findings(shop.Write("a.w64", file));
        EXPECT_EQ(findings.size(), parts.size()) << testing::PrintToString(findings);
        for (size_t i = 0; i < std::min(findings.size(), parts.size()); ++i) {
            const bool isFault = parts[i][0] == '!';
            EXPECT_EQ(findings[i][0] == '!', isFault) << findings[i];
            EXPECT_HAS(parts[i].substr(isFault ? 1 : 0), findings[i]);
        }
    }
}

TEST_F(Layout, SizesThatLostTheirHighHalfAreRecognised) {
    constexpr uint64_t fiveGiB = uint64_t{5} << 30;
    const fs::path path =
        shop.Write("a.w64", Start().Data({}, 24 + uint32_t(fiveGiB)).File(112 + uint32_t(fiveGiB)));
    fs::resize_file(path, 112 + fiveGiB);
    const auto findings = Findings(path);
    ASSERT_EQ(findings.size(), 3u) << testing::PrintToString(findings);
    EXPECT_TRUE(findings[0].starts_with(
        "!'data' at 88 claims 1,073,741,824 bytes of data, but there are 5,368,709,120"));
    EXPECT_TRUE(findings[1].ends_with("5,368,709,232 bytes: the size was truncated to 32 bits."));
}

TEST_F(Layout, ManyFindingsOfASortAreCounted) {
    Bytes file = Resized(Wave64Bytes().File(), 40 + 24 * 1000);
    for (size_t at = 40; at < file.size(); at += 24) file[at + kSizeField] = 24;
    EXPECT_TRUE(Findings(shop.Write("a.w64", WithSize(file, file.size()))).at(2).ends_with(" +997"));
    const Bytes many = Wave64Bytes().EmptyChunks(450'001).File();
    EXPECT_HAS("more than 450,000 chunks", testing::PrintToString(Findings(shop.Write("a.w64", many))));
}

TEST_F(Layout, HostileFilesEnd) {
    const Bytes good =
        Start().Chunk("bext", Pattern(9)).Chunk("fact", kFrames1000).Data(kAudio).Chunk("bext", {}).File();
    int number = 0;
    const auto add = [&](const Bytes& file) { shop.Write(std::to_string(number++) + ".w64", file); };
    for (size_t size = 1; size < 250; size += 3) add(Resized(good, size));
    for (const size_t chunkAt : {0u, 40u, 88u, 128u, 160u, 6184u}) {
        for (const uint64_t size :
             {uint64_t{0}, uint64_t{1}, uint64_t{23}, uint64_t{24}, uint64_t{25}, uint64_t{6000},
              uint64_t{UINT32_MAX}, uint64_t{INT64_MAX}, UINT64_MAX - 7, UINT64_MAX}) {
            add(With(good, chunkAt + kSizeField, size));
        }
    }
    for (size_t at = 0; at < 200; ++at) add(With<uint8_t>(good, at, 0xFF));
    for (const std::string command : {"check", "check -q", "chunks", "chunks --json"}) {
        const Outcome all = shop.Run("w64 " + command + " *.w64");
        EXPECT_EQ(all.status, 1) << all.errors;
        EXPECT_HAS("99.w64: ", all.output + all.errors);  // the last one
        EXPECT_EQ(IsJson(all.output), command == "chunks --json");
    }
}

TEST(ChunkBar, EveryKindIsSeen) {
    ChunkBar crowded;  // more stretches than cells
    for (int i = 0; i < 1000; ++i) {
        crowded.Add(ChunkKind::Other, 1);
        crowded.Add(ChunkKind::Slack, i == 500 ? 2 : 1);
    }
    crowded.Add(ChunkKind::Audio, int64_t{1} << 50);
    const std::string line = crowded.Line(24, false);
    EXPECT_EQ(line.size(), 24u);
    for (const char* letter : {"O", "S", "A"}) EXPECT_HAS(letter, line);
}

}  // namespace w64
