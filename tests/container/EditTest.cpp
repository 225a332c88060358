#include "LayoutBytes.h"
#include "ReportCapture.h"
#include "TempFolder.h"
#include "base/Platform.h"
#include "base/XStr.h"
#include "wave64/container/clWave64Handler.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

namespace w64 {

namespace {

constexpr EditRules kSafe{.safe = true};
constexpr int64_t kGiB = int64_t{1} << 30;

enum class Op { Insert, Resize, Remove };

struct Edit {
    Op op;
    int index;
    uint32_t size = 0;  // of the whole chunk
    int mode = 0;       // 0: "junk" as padding, 1: "pad ", otherwise none
    int paddingSize = 0;
};

// The data of a chunk in a file of some layout.
Bytes Body(const std::string& id, size_t size) {
    return Slice(FileOf(id + ":" + std::to_string(size)), 64, 64 + size);
}

// A chunk as a caller hands it in: of the header only the code counts. As it lies in a file the code is "levl".
Bytes HandedIn(const Edit& edit) {
    return Bytes{'L', 'E', 'V', 'L'} + Bytes(20, 0xEE) + Body("levl", std::max(edit.size, 24u) - 24);
}

// A file on disk. Every edit scans it anew, as the writer of a tag does.
class EditedFile : public XFile {
public:
    explicit EditedFile(const Bytes& bytes, Access access = Access::ReadWrite) {
        EXPECT_TRUE(Open(FromUTF8(folder_.Write("a.w64", bytes).native()), access));
    }

    bool Apply(const Edit& edit, const EditRules& rules = {}, const STNStdReport& report = {}) {
        clWave64Handler handler;
        handler.SetRules(rules);
        const Bytes chunk = HandedIn(edit);
        const auto& [op, index, size, mode, paddingSize] = edit;
        EXPECT_TRUE(handler.Initialize(Handle(), report));
        if (op == Op::Remove) return handler.RemoveChunkFromFile(index, mode);
        return op == Op::Insert
                   ? handler.InsertNewChunkIntoFile(index, chunk.data(), size, mode, paddingSize)
                   : handler.ResizeExistingChunkOnFile(index, chunk.data(), size, mode, paddingSize);
    }

    XStr Fault() {
        clWave64Handler handler;
        handler.SetRules(kSafe);
        EXPECT_TRUE(handler.Initialize(Handle(), {}));
        return handler.LayoutFault();
    }

    Bytes At(int64_t position, size_t size) {
        Bytes bytes(size);
        EXPECT_TRUE(SetPosition(position));
        EXPECT_EQ(Read(bytes.data(), size), size);
        return bytes;
    }
    Bytes Contents() { return At(0, static_cast<size_t>(Size())); }
    void Put(int64_t position, int64_t value) {
        EXPECT_TRUE(SetPosition(position) && Write(&value, sizeof value));
    }
    int64_t ValueAt(int64_t position) { return base::Load<int64_t>(At(position, 8).data()); }

private:
    TempFolder folder_;
};

}  // namespace

TEST(Edit, LeavesTheseLayouts) {
    using enum Op;
    const struct {
        const char* before;
        Edit edit;
        const char* after;
        bool onlySafe = false;
    } cases[] = {
        {"fmt levl:1000 data:2001", {Insert, 1, 23}, "fmt levl:1000 data:2001"},  // less than a header
        {"fmt levl:1000 data:2001", {Resize, 1, 0, 2}, "fmt data:2001"},
        {"fmt data:2000", {Insert, -1, 1024}, "fmt data:2000 levl:1000"},
        {"fmt data:2001", {Insert, 9, 1025}, "fmt data:2001 levl:1001"},
        {"fmt data:2000 junk:80", {Insert, 2, 1024}, "fmt data:2000 levl:1000"},
        {"fmt data:2000 junk:80", {Insert, 3, 1024}, "fmt data:2000 junk:80 levl:1000"},
        {"fmt data:2000", {Insert, 1, 1024, 2}, "fmt levl:1000 data:2000"},
        {"fmt data:2001", {Insert, 1, 1024, 0, 0}, "fmt levl:1000 junk:2024z data:2001", true},
        {"fmt data:2001", {Insert, 1, 1024, 1, 1001}, "fmt levl:1000 pad:984z data:2001", true},
        {"fmt data:2001", {Insert, 0, 1025, 0, 100}, "levl:1001 junk:232z fmt data:2001", true},
        {"fmt junk:2000 data:2000", {Insert, 1, 1024}, "fmt levl:1000 junk:976k data:2000"},
        {"fmt junk:1024 data:2000", {Insert, 1, 1024}, "fmt levl:1000 junk:0 data:2000"},
        {"fmt junk:1016 data:2000", {Insert, 1, 1024, 2}, "fmt levl:1000 junk:1016 data:2000"},
        {"fmt junk:1016 data:2000", {Insert, 1, 1024, 0, 256}, "fmt levl:1000 junk:232z data:2000", true},

        {"fmt levl:999 data:2000", {Resize, 1, 1024}, "fmt levl:1000 data:2000", true},
        {"fmt levl:1000 junk:2000 data:2000", {Resize, 1, 2024}, "fmt levl:2000 junk:1000k data:2000"},
        {"fmt levl:1000 junk:1000 data:2000", {Resize, 1, 2024}, "fmt levl:2000 junk:0 data:2000"},
        {"fmt levl:1000 junk:992 data:2000", {Resize, 1, 2024, 2}, "fmt levl:2000 junk:992 data:2000"},
        {"fmt levl:1000 pad:992 data:2000", {Resize, 1, 2024, 0, 256}, "fmt levl:2000 junk:232z data:2000"},
        {"fmt levl:1000 data:2000", {Resize, 1, 2024, 1, 256}, "fmt levl:2000 pad:232z data:2000"},
        {"fmt levl:1000 data:2000", {Resize, 1, 2024, 2}, "fmt levl:2000 data:2000"},
        {"fmt data:2000 levl:1000 fact:8", {Resize, 2, 2024, 0}, "fmt data:2000 levl:2000 fact:8"},
        {"fmt levl:2000 junk:80 data:2000", {Resize, 1, 1024}, "fmt levl:1000 junk:1080k data:2000"},
        {"fmt levl:2000 data:2000", {Resize, 1, 1024, 2}, "fmt levl:1000 data:2000"},
        {"fmt levl:2000 data:2000", {Resize, 1, 1024, 0, 256}, "fmt levl:1000 junk:232z data:2000"},
        {"fmt data:2000 levl:2000", {Resize, 2, 1025}, "fmt data:2000 levl:1001"},

        {"fmt levl:1000 junk:80 data:2000", {Remove, 1}, "fmt junk:1104k data:2000"},
        {"fmt levl:1001 pad:80 data:2000", {Remove, 1}, "fmt pad:1112k data:2000", true},
        {"fmt levl:1000 data:2000", {Remove, 1, 0, 0}, "fmt junk:1000k data:2000"},
        {"fmt levl:1000 data:2000", {Remove, 1, 0, 1}, "fmt pad:1000k data:2000"},
        {"fmt levl:1000 data:2000", {Remove, 1, 0, 2}, "fmt data:2000"},
        {"fmt levl:1001 data:2001", {Remove, 1, 0, 3}, "fmt data:2001", true},
        {"fmt data:2000 levl:1000", {Remove, 2, 0, 0}, "fmt data:2000"},
    };
    for (const auto& c : cases) {
        for (const bool safe : {false, true}) {
            if (c.onlySafe && !safe) continue;
            SCOPED_TRACE(testing::Message() << c.before << " -> " << c.after << (safe ? ", safe" : ""));
            const Bytes before = FileOf(c.before);
            EditedFile file(before);
            ASSERT_TRUE(file.Apply(c.edit, {.safe = safe}));
            EXPECT_TRUE(file.Contents() == FileOf(c.after, before));
        }
    }
}

TEST(Edit, ByDefaultFreshPaddingLiesOverWhatFollows) {
    EditedFile file(FileOf("data:2000"));
    ASSERT_TRUE(file.Apply({Op::Insert, 0, 1024, 0, 256}));
    Wave64Bytes expected = Wave64Bytes().Chunk("levl", Body("levl", 1000)).Chunk("junk", Bytes(232));
    expected.Data(Slice(Body("data", 2000), 256), 24 + 2000);
    EXPECT_EQ(file.Contents(), expected.File(expected.File().size() + 256));
}

TEST(Edit, ByDefaultTheAudioSlipsByThePaddingThatIsNotCounted) {
    EditedFile file(FileOf("levl:1001 data:2001"));
    ASSERT_TRUE(file.Apply({Op::Remove, 0, 0, 2}));
    const Bytes endOfOldHeader{(24 + 2001) >> 8, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(file.Contents(), Wave64Bytes().Data(endOfOldHeader + Body("data", 2001), 24 + 2001).File());
}

TEST(Edit, ByDefaultAFileIsCutToItsOuterSize) {
    const Bytes before = FileOf("data:2000");
    for (const uint64_t outer : {0u, 40u + 24 + 100}) {
        Bytes wrong = before;
        base::Store<uint64_t>(wrong.data() + 16, outer);
        EditedFile file(wrong);
        ASSERT_TRUE(file.Apply({Op::Insert, -1, 1024}));
        Wave64Bytes expected;
        if (outer > 0) expected.Chunk("data", Slice(before, 64, 168), 24 + 2000);
        EXPECT_EQ(file.Contents(), expected.Chunk("levl", Body("levl", 1000)).File()) << outer;
    }
}

TEST(Edit, WhatCannotBeDoneLeavesTheFileAlone) {
    using enum Op;
    using Access = XFile::Access;
    const std::string full = "Error writing to file, disk full?  [";
    const std::tuple<Access, Edit, std::string> cases[] = {
        {Access::ReadWrite, {Resize, -1, 1024}, ""},
        {Access::ReadWrite, {Resize, 5, 1024}, ""},
        {Access::ReadWrite, {Resize, 4, 23}, ""},
        {Access::ReadWrite, {Remove, -1}, ""},
        {Access::ReadWrite, {Remove, 5}, ""},
        {Access::Read, {Insert, -1, 1024}, full + "WriteThisCompleteChunk]\r\n"},
        {Access::Read, {Resize, 1, 1032}, full + "WriteThisCompleteChunk]\r\n"},
        {Access::Read, {Remove, 0}, full + "WriteChunkHeaders]\r\n"},
        {Access::Read, {Remove, 3, 0, 2}, ""},  // a failed move is not reported
        {Access::Read, {Insert, 1, 1024}, ""},
        {Access::Read, {Resize, 4, 1024}, ""},
    };
    const Bytes before = FileOf("fmt levl:1000 junk:100 data:2001 fact:18");
    for (const auto& [access, edit, errors] : cases) {
        EditedFile file(before, access);
        const ReportCapture capture;
        EXPECT_FALSE(file.Apply(edit, {}, capture.Report()));
        EXPECT_EQ(capture.Errors(), errors) << edit.index;
        EXPECT_TRUE(file.Contents() == before) << edit.index;
    }
}

#ifdef __linux__
TEST(Edit, SafelyTheLastChunkIsCutOffAfterTheHeaderSaysSo) {
    const Bytes before = FileOf("fmt data:2001 levl:1000");
    const int file = ::memfd_create("a.w64", MFD_ALLOW_SEALING | MFD_CLOEXEC);
    ASSERT_EQ(::write(file, before.data(), before.size()), static_cast<ssize_t>(before.size()));
    ASSERT_EQ(::fcntl(file, F_ADD_SEALS, F_SEAL_WRITE), 0);  // a cut would still succeed
    clWave64Handler handler;
    handler.SetRules(kSafe);
    ASSERT_TRUE(handler.Initialize(reinterpret_cast<void*>(intptr_t{file}), {}));
    EXPECT_FALSE(handler.RemoveChunkFromFile(2, 2));
    EXPECT_EQ(handler.Size(), static_cast<int64_t>(before.size()));
    ::close(file);
}
#endif

namespace {

// Format, 4072 bytes of padding and audio that is mostly a hole.
class LargeFile : public EditedFile {
public:
    static constexpr int64_t kAudioAt = 40 + 48 + 4096 + 24;

    explicit LargeFile(int64_t audioBytes) : EditedFile(FileOf("fmt junk:4072 data:0")) {
        EXPECT_TRUE(SetFileSize(kAudioAt + audioBytes));
        Put(16, kAudioAt + audioBytes);
        Put(kAudioAt - 8, 24 + audioBytes);
        marks_ = {kAudioAt, (kAudioAt + audioBytes) / 2, kAudioAt + audioBytes - 8};
        if (audioBytes > 4 * kGiB) marks_.push_back(4 * kGiB - 4);
        for (const int64_t mark : marks_) Put(mark, mark);
    }

    bool KeepsItsAudio() {
        return std::ranges::all_of(marks_, [&](int64_t mark) { return ValueAt(mark) == mark; });
    }

private:
    std::vector<int64_t> marks_;
};

}  // namespace

TEST(Edit, SafelyPast4GiB) {
    constexpr int64_t audio = 5 * kGiB;
    constexpr int64_t whole = LargeFile::kAudioAt + audio;
    LargeFile file(audio);
    const std::pair<Edit, int64_t> steps[] = {
        {{Op::Insert, 1, 1025}, whole},  // out of the padding
        {{Op::Resize, 1, 2011}, whole},
        {{Op::Insert, -1, 1025}, whole + 1032},
        {{Op::Resize, 4, 3333}, whole + 3336},
        {{Op::Remove, 1}, whole + 3336},
        {{Op::Remove, 3}, whole},
    };
    for (const auto& [edit, size] : steps) {
        ASSERT_TRUE(file.Apply(edit, kSafe));
        EXPECT_EQ(file.Size(), size);
        EXPECT_EQ(file.ValueAt(16), size);
        EXPECT_EQ(file.ValueAt(LargeFile::kAudioAt - 8), 24 + audio);
        EXPECT_EQ(file.Fault(), L"");
        EXPECT_TRUE(file.KeepsItsAudio());
    }
}

TEST(Edit, ByDefaultTheSecondEditPast4GiBCutsTheFile) {
    LargeFile file(5 * kGiB);
    ASSERT_TRUE(file.Apply({Op::Insert, -1, 1024}) && file.KeepsItsAudio());
    ASSERT_TRUE(file.Apply({Op::Insert, -1, 1024}));
    EXPECT_EQ(file.Size(), LargeFile::kAudioAt + kGiB + 1024 + 1024);
}

// 3 GiB is negative in signed 32 bits.
TEST(Edit, SafelyOutOf3GiBOfPadding) {
    constexpr int64_t junk = 3 * kGiB;
    for (const bool safe : {false, true}) {
        EditedFile file(FileOf("junk:0"));
        const Bytes data = Slice(FileOf("data:8"), 40);
        file.Put(40 + 16, 24 + junk);
        file.Put(16, 64 + junk + 32);
        ASSERT_TRUE(file.SetPosition(64 + junk) && file.Write(data.data(), data.size()));
        ASSERT_TRUE(file.Apply({Op::Insert, 0, 1024}, {.safe = safe}));
        ASSERT_EQ(file.Size(), safe ? 64 + junk + 32 : 40 + 1024 + 2048 + 24);
        if (!safe) continue;
        ASSERT_TRUE(file.Apply({Op::Resize, 0, 1512}, kSafe));
        EXPECT_EQ(file.ValueAt(40 + 1512 + 16), 24 + junk - 1512);
        EXPECT_EQ(file.At(64 + junk, 32), data);
        EXPECT_EQ(file.Fault(), L"");
    }
}

TEST(Edit, WhatPaddingAbsorbsMovesNoAudio) {
    if (Platform::BytesWritten() == 0) GTEST_SKIP() << "no count of the bytes written";
    for (const bool safe : {false, true}) {
        LargeFile file(4 * kGiB - 65536);  // by the exact rules a file past 4 GiB can be edited only once
        for (const Edit& edit : {Edit{Op::Insert, 1, 1024}, Edit{Op::Resize, 1, 2048}, Edit{Op::Remove, 1}}) {
            const int64_t before = Platform::BytesWritten();
            EXPECT_TRUE(file.Apply(edit, {.safe = safe}));
            const int64_t headers = edit.op == Op::Remove ? 40 + 24 : 40 + 3 * 24;
            EXPECT_EQ(Platform::BytesWritten() - before, edit.size + headers);
            EXPECT_TRUE(file.KeepsItsAudio());
        }
    }
}

}  // namespace w64
