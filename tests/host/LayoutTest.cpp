#include "Json.h"
#include "Wave64Bytes.h"
#include "Workshop.h"
#include "host/ChunkBar.h"
#include "host/InputFile.h"
#include "host/LayoutCheck.h"

#include <array>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

constexpr size_t kDataAt = 88;  // behind the outer header and 18 bytes of format
constexpr size_t kSizeField = 16;

const Bytes kAudio = Pattern(6000);

Wave64Bytes Start() { return Wave64Bytes().Fmt(1, 2, 48000, 24); }
Wave64Bytes Good() { return Start().Data(kAudio); }

Bytes Resized(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

template <class T>
Bytes With(Bytes bytes, size_t at, T value) {
    Store(bytes.data() + at, value);
    return bytes;
}

// A file without the padding in [from, to), its outer size right.
Bytes Without(Bytes bytes, size_t from, size_t to) {
    bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                bytes.begin() + static_cast<std::ptrdiff_t>(to));
    return With<uint64_t>(bytes, kSizeField, bytes.size());
}

Bytes Number(uint32_t number) {
    Bytes bytes;
    Append(bytes, number);
    return bytes;
}

// The file with a summary list in place of the chunks at `positions`.
Bytes WithLists(Bytes file, std::initializer_list<size_t> positions) {
    constexpr auto kGUID = std::to_array<uint8_t>(
        {0xBC, 0x94, 0x5F, 0x92, 0x5A, 0x52, 0xD2, 0x11, 0x86, 0xDC, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A});
    for (const size_t position : positions) Store(file.data() + position, kGUID);
    return file;
}

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

TEST(Layout, FaultsAreToldFromOddities) {
    const Bytes good = Good().File();
    const Bytes uneven = Wave64Bytes().Fmt(1, 1, 8000, 8).Data(Pattern(5)).File();  // 3 bytes of padding
    const Bytes unevenList =
        Wave64Bytes().Chunk("bext", Pattern(13)).Fmt(1, 2, 48000, 24).Data(kAudio).File();
    const auto withFact = [](const Bytes& frames) {
        return Start().Chunk("fact", frames).Data(kAudio).File();
    };
    const struct {
        const char* name;
        Bytes file;
        std::vector<std::string> findings;  // how each begins, or a part of it; "!" for a fault
    } cases[] = {
        {"sound", good, {}},
        {"sound, with more chunks",
         Start().Chunk("bext", Pattern(9)).Chunk("junk", Bytes(99)).Data(kAudio).Chunk("levl", {1}).File(),
         {}},
        {"sound, with a number of frames", withFact(Number(1000)), {}},

        {"no bytes", {}, {"!The file is empty."}},
        {"39 bytes", Resized(good, 39), {"!it has 39 bytes"}},
        {"RIFF", With<uint32_t>(good, 0, 0x46464952), {"!it begins with 'RIFF'"}},
        {"another identifier", With<uint8_t>(good, 8, 0), {"!its first 16 bytes"}},
        {"another form", With<uint8_t>(good, 39, 0), {"!the 16 bytes at 24"}},
        {"no chunks", Wave64Bytes().File(), {"!no format chunk", "!no audio chunk"}},

        {"outer size 0", Good().File(0), {"!0 bytes; it has 6,112 bytes. The recording was never finished."}},
        {"outer size too large", Good().File(6120), {"!8 bytes fewer, though no chunk is cut off."}},
        {"outer size within the audio", Good().File(6104), {"!not look at the last 8 bytes"}},
        {"outer size before a chunk",
         Good().Chunk("bext", {}).File(6112),
         {"!not look at the last 24 bytes"}},
        {"more behind the end", Resized(good, 6122), {"!has 6,112 bytes; it has 6,122 bytes."}},
        {"more behind padding", Resized(uneven, 124), {"!has 120 bytes; it has 124 bytes."}},
        {"more that is counted",
         With<uint64_t>(Resized(good, 6122), kSizeField, 6122),
         {"from 6,112, the file goes on for 10 bytes", "6,122 bytes, which is no multiple of 8"}},
        {"last padding missing",
         Without(uneven, 117, 120),
         {"ends the file with 0 bytes of padding; 3 bytes"}},
        {"last padding not counted", With<uint64_t>(uneven, kSizeField, 117), {"it has 120 bytes. The diff"}},
        {"padding counted, but missing",
         Resized(uneven, 117),
         {"0 bytes of padding", "it has 117 bytes. The"}},
        {"outer size cuts the audio",
         With<uint64_t>(uneven, kSizeField, 116),
         {"!has 116 bytes; it has 120"}},

        {"cut off",
         Resized(good, 1112),
         {"!'data' at 88 claims 6,000 bytes of data; the file has 1,000 bytes of it and lacks 5,000 bytes.",
          "!has 6,112 bytes; it has 1,112 bytes: 5,000 bytes fewer."}},
        {"claims more than can be",
         Start().Data(kAudio, UINT64_MAX).File(),
         {"!claims 18,446,744,073,709,551,591 bytes of data; the file has 6,000 bytes of it"}},
        {"claims less than its header",
         Start().Data(kAudio, 23).File(),
         {"!claims to take 23 bytes, fewer than the 24", "!the rest of the file, 6,000 bytes from 112, is."}},
        {"size of the start",
         Start().Data(kAudio, 24).File(),
         {"!At 112, behind 'data' at 88, a chunk should"}},
        {"zeros behind", With<uint64_t>(Resized(good, 7000), kSizeField, 7000), {"!At 6,112, behind 'data'"}},
        {"padding left out",
         Without(Start().Data(kAudio).Chunk("bext", {1}).Chunk("levl", {}).File(), 6137, 6144),
         {"(7 bytes from 6,137) should be zero", "!It begins at 6,137, without the padding",
          "which is no multiple"}},
        {"padding not zero", With<uint8_t>(uneven, 119, 1), {"'data' at 88 (3 bytes from 117) should"}},
        {"empty chunk at the end", Good().Chunk("levl", {}).File(), {"'levl' at 6,112 is empty and ends"}},

        {"two formats",
         Start().Fmt(1, 2, 48000, 24).Data(kAudio).File(),
         {"!'fmt ' at 88, 18 bytes of data, is one"}},
        {"two audios",
         Good().Data(kAudio).File(),
         {"!'data' at 6,112, 6,000 bytes of data, is one too many"}},
        {"audio first",
         Wave64Bytes().Data(kAudio).Fmt(1, 2, 48000, 24).File(),
         {"!'data' at 40, comes before"}},
        {"format too short",
         Wave64Bytes().Chunk("fmt ", Bytes(13)).Data(kAudio).File(),
         {"!has 13 bytes of data"}},
        {"no channels", Wave64Bytes().Fmt(1, 0, 48000, 24).Data(kAudio).File(), {"!which cannot be"}},
        {"wrong frame size",
         With<uint16_t>(good, kDataAt - 12, 5),
         {"!takes 5 bytes, but PCM, 24-bit, stereo"}},
        {"within a frame", Start().Data(Pattern(5998)).File(), {"!999 frames of 6 bytes and 4 bytes more."}},
        {"padding as audio",
         With<uint32_t>(Start().Data(Pattern(5992)).File(), 6100, 0),
         {"and 4 bytes more, as if padding"}},
        {"wrong number of frames", withFact(Number(999)), {"!there are 999 frames"}},
        {"padding as a frame",
         With<uint64_t>(withFact(Number(999)), 6136, 0),
         {"999 frames (samples of every"}},
        {"fact too short", withFact({1, 2}), {"it has 2 bytes."}},

        {"unknown chunks",
         With<uint8_t>(Good().Chunk("a\nb\x1B", Bytes(8)).File(), 6127, 0),
         {"The chunk at 6,112 with 8 bytes of data is of an unknown kind: 1B620A61-"}},
        {"tags in two lists",
         WithLists(Start().Chunk("1   ", {1}).Data(kAudio).Chunk("2   ", {2}).File(), {88, 6144}),
         {"'summary list' at 88 stands before the audio with 1 byte", "'summary list' at 6,144 with 1 byte"}},
        {"uneven list",
         WithLists(unevenList, {40}),
         {"'summary list' at 40 stands before the audio with 13"}},
        {"much free space",
         Start().Chunk("junk", Bytes(65544)).Data(kAudio).File(),
         {"keep 65,544 bytes free."}},
    };
    const TempFolder folder;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto findings = Findings(folder.Write("a.w64", c.file));
        EXPECT_EQ(findings.size(), c.findings.size()) << testing::PrintToString(findings);
        for (size_t i = 0; i < std::min(findings.size(), c.findings.size()); ++i) {
            const bool isFault = c.findings[i][0] == '!';
            EXPECT_EQ(findings[i][0] == '!', isFault) << findings[i];
            EXPECT_PRED_FORMAT2(testing::IsSubstring, c.findings[i].substr(isFault ? 1 : 0), findings[i]);
        }
    }
}

TEST(Layout, SizesThatLostTheirHighHalfAreRecognised) {
    constexpr uint64_t fiveGiB = uint64_t{5} << 30;
    const TempFolder folder;
    const fs::path path =
        folder.Write("a.w64", Start().Data({}, 24 + uint32_t(fiveGiB)).File(112 + uint32_t(fiveGiB)));
    fs::resize_file(path, 112 + fiveGiB);
    const auto findings = Findings(path);
    ASSERT_EQ(findings.size(), 3u) << testing::PrintToString(findings);
    EXPECT_TRUE(findings[0].starts_with(
        "!'data' at 88 claims 1,073,741,824 bytes of data, but there are 5,368,709,120"));
    EXPECT_TRUE(
        findings[1].ends_with("it has 5,368,709,232 bytes: the size was stored as if it were below 4 GiB."));
}

TEST(Layout, ManyFindingsOfASortAreCounted) {
    const Bytes chunk = With<uint64_t>(Bytes(24), kSizeField, 24);
    Bytes file = Wave64Bytes().File();
    for (int i = 0; i < 450'001; ++i) file.insert(file.end(), chunk.begin(), chunk.end());
    const TempFolder folder;
    const auto findings = Findings(folder.Write("a.w64", With<uint64_t>(file, kSizeField, file.size())));
    ASSERT_EQ(findings.size(), 6u);
    EXPECT_TRUE(findings[2].ends_with(" +449997")) << findings[2];
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "more than 450,000 chunks", findings[3]);
}

TEST(Layout, HostileFilesEnd) {
    const Bytes good =
        Start().Chunk("bext", Pattern(9)).Chunk("fact", Number(1000)).Data(kAudio).Chunk("bext", {}).File();
    const Workshop shop;
    int number = 0;
    const auto add = [&](const Bytes& file) { shop.Write(std::to_string(number++) + ".w64", file); };
    for (size_t size = 1; size < 250; size += 3) add(Resized(good, size));
    for (const size_t chunkAt : {0, 40, 88, 128, 160, 6184}) {
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
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "99.w64: ", all.output + all.errors);  // the last one
        EXPECT_EQ(IsJson(all.output), command == "chunks --json");
    }
}

TEST(Layout, CommandsPrintWhatIsThere) {
    const Workshop shop;
    shop.Write("a.w64", Start().Chunk("junk", Bytes(2048)).Data(kAudio).Chunk("bext", Pattern(602)).File());
    const std::string table = "a.w64, 8,816 bytes\n"
                              "  Chunk  Kind    Offset  Bytes  Padding\n"
                              "  fmt    format      40     18        6\n"
                              "  junk   slack       88  2,048        0\n"
                              "  data   audio    2,160  6,000        0\n"
                              "  bext   tags     8,184    602        6\n"
                              "\n"
                              "  FSSSSSSSSSSSSSSSSAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAATTTTTT\n"
                              "  A  audio   6,000 bytes\n"
                              "  F  format     18 bytes, how to read the audio\n"
                              "  T  tags      602 bytes, texts that go with the audio\n"
                              "  S  slack   2,048 bytes, kept free so that tags can grow\n";
    EXPECT_EQ(shop.Run("w64 chunks a.w64").output, table);
    const std::string json = shop.Run("w64 chunks --json a.w64 a.w64").output;
    EXPECT_EQ(JsonAt(json, "/1/chunks/3"),
              R"({"bytes":602,"kind":"tags","name":"bext","offset":8184,"padding":6})");

    const Outcome sound = shop.Run("w64 check a.w64");
    EXPECT_EQ(sound.output,
              "a.w64: sound (4 chunks, 8,816 bytes, tags behind the audio, 2,048 bytes kept free)\n");
    EXPECT_EQ(sound.status, 0);

    shop.Write("b.w64", Resized(Good().File(), 1000));
    shop.Write("c.w64", Good().Chunk("bext", {}).File());
    const Outcome quiet = shop.Run("w64 check -q a.w64 b.w64 c.w64");
    EXPECT_TRUE(quiet.output.starts_with("b.w64: wrong (2 chunks, 1,000 bytes)\n  wrong  'data' at 88 "))
        << quiet.output;
    EXPECT_TRUE(quiet.output.ends_with("\n  w64 decode --salvage keeps the audio that is there.\n"));
    EXPECT_EQ(quiet.output.find("odd"), std::string::npos);
    EXPECT_EQ(quiet.status, 1);
    EXPECT_EQ(shop.Run("w64 check c.w64").status, 0);
    const Outcome damaged = shop.Run("w64 chunks b.w64");
    EXPECT_EQ(damaged.status, 1);
    EXPECT_EQ(damaged.errors, "w64: b.w64: the layout is damaged; w64 check tells how\n");

    ASSERT_EQ(shop.Run("mkfifo pipe && mkdir folder").status, 0);
    shop.Write("bad\xFF.w64", {});
    const std::pair<std::string, std::string> refused[] = {{"none.w64", "cannot open the file: No such file"},
                                                           {"pipe", "is a pipe or a device, not a file"},
                                                           {"folder", "is a folder, not a file"},
                                                           {"bad\xFF.w64", "is no UTF-8 file name"}};
    for (const auto& [name, message] : refused) {
        for (const std::string command : {"check ", "chunks "}) {
            const Outcome outcome = shop.Run("w64 " + command + name);
            EXPECT_EQ(outcome.status, 1);
            EXPECT_PRED_FORMAT2(testing::IsSubstring, message, outcome.errors);
        }
    }
}

TEST(ChunkBar, EveryKindIsSeen) {
    ChunkBar small;
    small.Add(ChunkKind::Format, 1);
    small.Add(ChunkKind::Audio, int64_t{1} << 50);
    small.Add(ChunkKind::Tags, 1);
    small.Add(ChunkKind::Slack, 1);
    EXPECT_EQ(small.Line(12, false), "FAAAAAAAAATS");

    ChunkBar crowded;  // more stretches than cells
    for (int i = 0; i < 1000; ++i) {
        crowded.Add(ChunkKind::Other, 1);
        crowded.Add(ChunkKind::Slack, i == 500 ? 2 : 1);
    }
    crowded.Add(ChunkKind::Audio, 1'000'000);
    const std::string line = crowded.Line(24, false);
    EXPECT_EQ(line.size(), 24u);
    for (const char letter : {'O', 'S', 'A'}) EXPECT_NE(line.find(letter), std::string::npos) << line;
}
