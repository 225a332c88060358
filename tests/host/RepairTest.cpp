#include "HostWorkshop.h"
#include "MPEGBytes.h"
#include "TagBytes.h"

namespace w64 {

namespace {

using Repair = HostTest;
namespace fs = std::filesystem;

template <class T>
Bytes With(Bytes bytes, size_t at, T value) {
    base::Store(bytes.data() + at, value);
    return bytes;
}

struct Parts {
    Wave64Bytes head;
    Bytes audio;
    Wave64Bytes tail;  // chunks after the audio

    Bytes File(std::optional<uint64_t> outerSize = {}, std::optional<uint64_t> dataSize = {}) const {
        const Bytes file = Wave64Bytes(head).Data(audio, dataSize).File() + Slice(tail.File(), 40);
        return With<uint64_t>(file, 16, outerSize.value_or(file.size()));
    }
    size_t DataAt() const { return head.File().size(); }
};

// By what a recorder leaves that loses power, a copy that breaks off, and a disk that errs.
std::map<std::string, Bytes> Damaged(const Parts& parts) {
    const Bytes whole = parts.File();
    const size_t audioAt = parts.DataAt() + 24;
    const size_t audioEnd = audioAt + parts.audio.size();
    const uint64_t huge = uint64_t{1} << 62;
    std::map<std::string, Bytes> files;
    for (const uint64_t outer : {uint64_t{0}, UINT64_MAX, huge, uint64_t{audioAt}, whole.size() + 8}) {
        files["outer-" + std::to_string(outer)] = parts.File(outer);
    }
    for (const uint64_t size : {uint64_t{0}, UINT64_MAX, huge, uint64_t{24}, uint64_t{24 + 144}}) {
        const std::string name = "data-" + std::to_string(size) + "-";
        for (const uint64_t outer : {uint64_t{0}, UINT64_MAX, uint64_t{whole.size()}, parts.DataAt() + size})
            files[name + std::to_string(outer)] = parts.File(outer, size);
    }
    for (const size_t end : {whole.size() - 9, whole.size() - 20, audioEnd + 25, audioEnd - 1, audioEnd - 777,
                             audioAt + 24, audioAt}) {
        files["cut-" + std::to_string(end)] = Resized(whole, std::min(end, whole.size() - 1));
    }
    files["identifier"] = With<uint64_t>(whole, 0, 0);
    files["form"] = With<uint64_t>(whole, 32, UINT64_MAX);
    files["zeros"] = Resized(whole, whole.size() + 512);
    return files;
}

}  // namespace

TEST_F(Repair, MakesLastingWhatSalvageFinds) {
    const Bytes list = List({{"INAM", Text(u"Song")}});
    const auto after = Wave64Bytes().SummaryList(list).Chunk("bext", Pattern(650)).Chunk("levl", Pattern(9));
    Bytes mpeg = Wave64Bytes::FmtBody(85, 2, 44100, 0);
    base::Store<uint32_t>(mpeg.data() + 8, 16000);
    base::Store<uint16_t>(mpeg.data() + 12, 1);
    const auto pcm = [](uint16_t channels, uint16_t bits) {
        return Wave64Bytes().Fmt(1, channels, 48000, bits);
    };
    const auto before = pcm(2, 24).SummaryList(list).Chunk("junk", Bytes(99));
    const Parts recordings[] = {{pcm(2, 16), Pattern(6000), {}},
                                {before, Pattern(6000), {}},
                                {pcm(1, 8), Pattern(1001), after},
                                {pcm(6, 24).Chunk("fact", {77, 0, 0, 0}), Pattern(77 * 18), after},
                                {Wave64Bytes().Chunk("fmt ", mpeg), Encoded(44100, 2, "128"), {}}};
    size_t number = 0;
    for (const Parts& parts : recordings) {
        const bool isMPEG = ++number == std::size(recordings);
        shop.Do("rm -rf *; mkdir before after");
        auto damaged = Damaged(parts);
        // Nothing can be decoded of so little.
        if (isMPEG) std::erase_if(damaged, [](const auto& each) { return each.first.starts_with("cut-1"); });
        for (const auto& [name, file] : damaged) shop.Write(name + ".w64", file);
        shop.Do("w64 decode -q --salvage --format raw *.w64 -o before");
        EXPECT_EQ(shop.Run("w64 repair -q --dry-run *.w64").status, 1);
        for (const auto& [name, file] : damaged) EXPECT_EQ(shop.Read(name + ".w64"), file) << name;
        const std::string said = shop.Do("w64 repair *.w64").output;
        shop.Do("w64 check -q *.w64 && w64 decode -q --format raw *.w64 -o after");
        for (const auto& [name, file] : damaged) {
            SCOPED_TRACE(std::to_string(number) + " " + name);
            EXPECT_HAS(name + ".w64: repaired", said);
            EXPECT_NE(shop.Read(name + ".w64"), file);
            const Bytes decoded = shop.Read("after/" + name + ".raw");
            EXPECT_EQ(decoded, shop.Read("before/" + name + ".raw"));
            if (isMPEG || name.starts_with("cut")) continue;
            EXPECT_EQ(Slice(decoded, 0, parts.audio.size()), parts.audio);
            EXPECT_LT(decoded.size(), parts.audio.size() + 8);  // padding may be left
            const Bytes tail = Slice(parts.tail.File(), 40);
            EXPECT_EQ(Slice(shop.Read(name + ".w64"), shop.Read(name + ".w64").size() - tail.size()), tail);
        }
        const std::string again = shop.Do("w64 repair *.w64").output;
        EXPECT_EQ(std::ranges::count(again, '\n'), std::ssize(damaged)) << again;
        EXPECT_EQ(again.find("repaired"), again.npos);
    }
}

TEST_F(Repair, TellsWhatIsWrongAndWhatIsLost) {
    const Parts parts = {Wave64Bytes().Fmt(1, 6, 48000, 24).Chunk("fact", {0, 0, 0, 0}), Pattern(1813),
                         Wave64Bytes().Chunk("levl", Pattern(9)).Chunk("bext", Pattern(650))};
    const Bytes damaged = Resized(parts.File(0), parts.File().size() - 102);
    shop.Write("a.w64", damaged);
    EXPECT_EQ(
        shop.Do("w64 repair a.w64 -o b.w64").output,
        "a.w64: repaired (5 chunks, 2,568 bytes)\n"
        "  wrong  'bext' at 2,000 claims 650 bytes of data; the file has 554 bytes of it and lacks 96 "
        "bytes.\n"
        "  wrong  The file header says that the file has 0 bytes; it has 2,578 bytes. The recording was "
        "never finished.\n"
        "  wrong  'data' at 120 ends within a frame (one sample of every channel): its 1,813 bytes are 100 "
        "frames of 18 bytes and 13 bytes more.\n"
        "  wrong  'fact' at 88 says that there are 0 frames (one sample of every channel), but 'data' at "
        "120 holds 100.\n"
        "  lost   The last 13 bytes of the audio, a part of a frame (one sample of every channel).\n"
        "  lost   The end of 'bext', which the file does not have.\n"
        "  kept   100 frames (0:00:00.002)\n");
    EXPECT_EQ(shop.Read("a.w64"), damaged);
    const Bytes tail = Slice(damaged, 144 + 1816);  // moves to the end of the last whole frame
    EXPECT_EQ(Slice(Slice(shop.Read("b.w64"), 144 + 1800), 0, 56), Slice(tail, 0, 56));
    shop.Do("w64 check -q b.w64 && w64 repair -q a.w64 && cmp a.w64 b.w64");
    EXPECT_EQ(JsonAt(shop.Do("w64 repair --json a.w64").output, "/0/status"), "sound");
    EXPECT_EQ(shop.Do("w64 repair -q a.w64 -o c.w64").output, "");
    EXPECT_EQ(shop.Files().count("c.w64"), 0u);

    // Up to 7 zeros are padding.
    const Parts zeros = {parts.head, Pattern(1800) + Bytes(8), {}};
    shop.Write("zeros.w64", zeros.File(0));
    EXPECT_HAS("lost   The last 8 bytes of the audio,", shop.Do("w64 repair zeros.w64").output);
}

TEST_F(Repair, LeavesAloneWhatItDoesNotUnderstand) {
    const Wave64Bytes start = Wave64Bytes().Fmt(1, 2, 48000, 24);
    const Bytes good = Wave64Bytes(start).Data(Pattern(6000)).File();
    shop.Write("rest.w64", good + Pattern(20));
    shop.Write("two.w64", Wave64Bytes(start).Data(Pattern(60)).Data(Pattern(60)).File(0));
    shop.Write("header.w64", With(good, 0, std::array<uint8_t, 32>{}));
    shop.Write("good.w64", good);
    shop.ExpectRefused(
        {{"repair rest.w64", 1, "the last 20 bytes, from 6,112, belong to no chunk and may be of value"},
         {"repair two.w64", 1, "'data' at 176, 60 bytes of data, is one too many"},
         {"repair header.w64", 1, "no audio is found in it\nw64: header.w64: This is not a Wave64 file"},
         {"repair rest.w64 good.w64 -o c.w64", 2, "for a single file"},
         {"repair two.w64 -o two.w64 -f", 1, "the output would replace this file itself"}});
}

}  // namespace w64
