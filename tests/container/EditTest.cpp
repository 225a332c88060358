#include "EditModel.h"
#include "ReportCapture.h"
#include "TempFolder.h"
#include "Wave64Bytes.h"
#include "base/XStr.h"
#include "wave64/container/clWave64Handler.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

namespace w64 {

namespace {

constexpr EditRules kSafe{.safe = true};
constexpr int64_t kGiB = int64_t{1} << 30;

// Different for every identifier, so that no chunk passes for another.
Bytes Body(const std::string& id, size_t size) {
    const Bytes pattern = Pattern(size + 256);
    return Slice(pattern, static_cast<uint8_t>(id[0]), size);
}

// A chunk as a caller hands it in: of the header only the code counts. As it lies in a file the code is "levl".
Bytes HandedIn(const Edit& edit, Bytes header) {
    header.resize(24, 0xEE);
    return Concat(header, Body("levl", std::max(edit.size, 24u) - 24));
}

// "fmt junk:1024 data:2001": chunks and their bytes of data.
Bytes FileOf(const std::string& layout) {
    Wave64Bytes file;
    std::istringstream parts(layout);
    for (std::string part; parts >> part;) {
        const size_t colon = std::min(part.find(':'), part.size());
        const std::string id = (part.substr(0, colon) + " ").substr(0, 4);
        const size_t usual = id == "data" ? 2001 : 18;
        file.Chunk(id, Body(id, colon < part.size() ? std::stoul(part.substr(colon + 1)) : usual));
    }
    return file.File();
}

// A file on disk. Every edit scans it anew, as the writer of a tag does.
class EditedFile : public XFile {
public:
    explicit EditedFile(const Bytes& bytes, Access access = Access::ReadWrite) {
        EXPECT_TRUE(Open(FromUTF8(folder_.Write("a.w64", bytes).native()), access));
    }

    void Reset(const Bytes& bytes) {
        EXPECT_TRUE(SetFileSize(0) && SetPosition(0) && Write(bytes.data(), bytes.size()));
    }

    bool Apply(const Edit& edit, const EditRules& rules = {}, const STNStdReport& report = {}) {
        clWave64Handler handler;
        handler.SetRules(rules);
        const Bytes chunk = HandedIn(edit, {'L', 'E', 'V', 'L'});
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

TEST(Edit, WithLessThanAHeaderInsertsNothingAndWithNothingRemoves) {
    const Bytes before = FileOf("fmt levl:1000 data");
    EditedFile file(before);
    EXPECT_TRUE(file.Apply({Op::Insert, 1, 23}));
    EXPECT_TRUE(file.Contents() == before);
    EXPECT_TRUE(file.Apply({Op::Resize, 1, 0, 2}));
    EXPECT_TRUE(file.Contents() == FileOf("fmt data"));
}

TEST(Edit, ByDefaultFreshPaddingLiesOverWhatFollows) {
    EditedFile file(FileOf("data:2000"));
    ASSERT_TRUE(file.Apply({Op::Insert, 0, 1024, 0, 256}));
    Wave64Bytes expected = Wave64Bytes().Chunk("levl", Body("levl", 1000)).Chunk("junk", Bytes(232));
    expected.Data(Slice(Body("data", 2000), 256, 2000 - 256), 24 + 2000);
    EXPECT_EQ(file.Contents(), expected.File(expected.File().size() + 256));
}

TEST(Edit, ByDefaultTheAudioSlipsByThePaddingThatIsNotCounted) {
    EditedFile file(FileOf("levl:1001 data"));
    ASSERT_TRUE(file.Apply({Op::Remove, 0, 0, 2}));
    const Bytes endOfOldHeader{(24 + 2001) >> 8, 0, 0, 0, 0, 0, 0};
    const Bytes slipped = Concat(endOfOldHeader, Body("data", 2001));
    EXPECT_EQ(file.Contents(), Wave64Bytes().Data(slipped, 24 + 2001).File());
}

TEST(Edit, ByDefaultAFileIsCutToItsOuterSize) {
    const Bytes before = FileOf("data:2000");
    for (const uint64_t outer : {0u, 40u + 24 + 100}) {
        Bytes wrong = before;
        base::Store<uint64_t>(wrong.data() + 16, outer);
        EditedFile file(wrong);
        ASSERT_TRUE(file.Apply({Op::Insert, -1, 1024}));
        Wave64Bytes expected;
        if (outer > 0) expected.Chunk("data", Slice(before, 64, 104), 24 + 2000);
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
    const Bytes before = FileOf("fmt levl:1000 junk:100 data fact");
    for (const auto& [access, edit, errors] : cases) {
        EditedFile file(before, access);
        const ReportCapture capture;
        EXPECT_FALSE(file.Apply(edit, {}, capture.Report()));
        EXPECT_EQ(capture.Errors(), errors) << edit.index;
        EXPECT_TRUE(file.Contents() == before) << edit.index;
    }
}

TEST(Edit, AFullDiskLeavesTheFileAlone) {
    using enum Op;
    const Bytes before = FileOf("fmt levl:1000 data:200000 levl:1000");
    rlimit unlimited{};
    ::getrlimit(RLIMIT_FSIZE, &unlimited);
    const rlimit full{before.size() + 1000, unlimited.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    for (const Edit& edit :
         {Edit{Insert, -1, 4096}, {Insert, 1, 4096}, {Resize, 1, 4096}, {Resize, 3, 4096}}) {
        EditedFile file(before);
        ::setrlimit(RLIMIT_FSIZE, &full);
        EXPECT_FALSE(file.Apply(edit, kSafe));
        ::setrlimit(RLIMIT_FSIZE, &unlimited);
        EXPECT_TRUE(file.Contents() == before) << edit.index;
    }
}

#ifdef __linux__
TEST(Edit, SafelyTheLastChunkIsCutOffAfterTheHeaderSaysSo) {
    const Bytes before = FileOf("fmt data levl:1000");
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

using Chunks = std::vector<std::pair<std::string, Bytes>>;

// Of a file that is in order.
Chunks ChunksOf(const Bytes& file) {
    Chunks chunks;
    for (size_t at = 40; at < file.size();) {
        const auto size = base::Load<uint64_t>(file.data() + at + 16);
        chunks.emplace_back(std::string(reinterpret_cast<const char*>(file.data() + at), 4),
                            Slice(file, at + 24, size - 24));
        at += (size + 7) / 8 * 8;
    }
    return chunks;
}

Chunks WithoutPadding(Chunks chunks) {
    std::erase_if(chunks, [](const auto& chunk) { return chunk.first == "junk" || chunk.first == "pad "; });
    return chunks;
}

Chunks Edited(Chunks chunks, const Edit& edit) {
    const auto at = chunks.begin() + static_cast<ptrdiff_t>(std::min(size_t(edit.index), chunks.size()));
    const Chunks::value_type chunk{"levl", Body("levl", edit.size - 24)};
    if (edit.op == Op::Insert) chunks.insert(at, chunk);
    if (edit.op == Op::Resize) *at = chunk;
    if (edit.op == Op::Remove) chunks.erase(at);
    return chunks;
}

class Dice {
public:
    explicit Dice(uint32_t seed) : engine_(seed) {}
    uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(engine_() % limit); }
    template <class T>
    T Of(const std::vector<T>& choices) {
        return choices[Below(static_cast<uint32_t>(choices.size()))];
    }

    // The padding of the last chunk is missing at times, in the file or in the outer size.
    Bytes AnyFile() {
        std::string layout = "fmt";
        const uint32_t data = Below(6);
        for (uint32_t i = 0; i < 6; ++i) {
            const auto id =
                i == data ? "data" : Of<const char*>({"", "", "junk", "junk", "pad", "levl", "fact"});
            if (*id)
                layout += " " + std::string(id) + ":" + std::to_string(Below(Of<uint32_t>({1, 60, 3000})));
        }
        Bytes file = FileOf(layout);
        const size_t unpadded = file.size() - (8 - ChunksOf(file).back().second.size() % 8) % 8;
        if (Below(2) == 0) base::Store<uint64_t>(file.data() + 16, unpadded);
        if (Below(2) == 0) file.resize(unpadded);
        return file;
    }

    // Most often of a tag, and never of audio.
    Edit AnyEdit(const std::vector<std::string>& ids) {
        const auto count = static_cast<uint32_t>(ids.size());
        const uint32_t size = 24 + Below(Of<uint32_t>({1, 40, 3000}));
        const auto mode = static_cast<int>(Below(4));
        const int paddingSize = Of<int>({0, 100, 1000, 1001, 1024, 4096, -1});
        const uint32_t at = Below(count + 1);
        if (at < count && (ids[at] == "levl" || (ids[at] != "data" && Below(4) == 0))) {
            return {Of<Op>({Op::Resize, Op::Resize, Op::Remove}), static_cast<int>(at), size, mode,
                    paddingSize};
        }
        return {Op::Insert, static_cast<int>(Below(count + 3)) - 1, size, mode, paddingSize};
    }

private:
    std::mt19937 engine_;
};

}  // namespace

TEST(Edit, WalksAgreeWithTheModelAndSafeOnesLoseNothing) {
    Dice dice(20);
    EditedFile file({});
    for (int walk = 0; walk < 800; ++walk) {
        const bool safe = walk % 2 == 0;
        file.Reset(dice.AnyFile());
        for (int step = 0; step < 8; ++step) {
            const Bytes before = file.Contents();
            EditModel model(before, safe);
            const Edit edit = dice.AnyEdit(model.Codes());
            ASSERT_TRUE(file.Apply(edit, {.safe = safe}));
            model.Apply(edit, HandedIn(edit, EditModel::Id("levl")));
            const Bytes after = file.Contents();
            ASSERT_TRUE(after == model.file) << "walk " << walk << ", step " << step;
            if (!safe) continue;
            ASSERT_EQ(file.Fault(), L"");
            ASSERT_EQ(base::Load<uint64_t>(after.data() + 16), after.size());
            ASSERT_EQ(after.size() % 8, 0u);
            ASSERT_TRUE(WithoutPadding(ChunksOf(after)) == WithoutPadding(Edited(ChunksOf(before), edit)))
                << "walk " << walk << ", step " << step;
        }
    }
}

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

// By this process so far; -1 where the system does not tell.
int64_t BytesWritten() {
    const std::string counts = ReadText("/proc/self/io");
    const size_t at = counts.find("wchar: ");
    return at == counts.npos ? -1 : std::stoll(counts.substr(at + 7));
}

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
        const Bytes data = Slice(FileOf("data:8"), 40, 32);
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
    if (BytesWritten() < 0) GTEST_SKIP() << "no count of the bytes written";
    for (const bool safe : {false, true}) {
        LargeFile file(4 * kGiB - 65536);  // by the exact rules a file past 4 GiB can be edited only once
        for (const Edit& edit : {Edit{Op::Insert, 1, 1024}, Edit{Op::Resize, 1, 2048}, Edit{Op::Remove, 1}}) {
            const int64_t before = BytesWritten();
            EXPECT_TRUE(file.Apply(edit, {.safe = safe}));
            const int64_t headers = edit.op == Op::Remove ? 40 + 24 : 40 + 3 * 24;
            EXPECT_EQ(BytesWritten() - before, edit.size + headers);
            EXPECT_TRUE(file.KeepsItsAudio());
        }
    }
}

}  // namespace w64
