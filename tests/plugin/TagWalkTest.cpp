#include "TaggedFile.h"

#include <random>

namespace {

// What decides what becomes of tags, and the text of all options.
struct Options {
    bool creates, album, track;
    std::string text;
};

bool Holds(const Tags& tags, const XStr& name) {
    return std::ranges::any_of(tags, [&](const PackedTag& tag) { return EqualNoCase(tag.name, name); });
}

// What a file's list holds, by identifier, and what becomes of it.
class ListModel {
public:
    std::vector<std::pair<std::string, XStr>> entries;

    Tags Read(const Options& options) const {
        Tags tags;
        for (const auto& [identifier, value] : entries) {
            XStr name = identifier == "IPRD" ? L"Product" : L"Track";
            for (const auto& [known, meaning] : Identifiers(options)) {
                if (known == identifier) name = meaning;
            }
            if (!Holds(tags, name)) tags.push_back({name, value});
        }
        return tags;
    }

    void Write(Tags tags, const Options& options) {
        for (const PackedTag& tag : Read(options)) {
            if (!Holds(tags, tag.name)) tags.push_back(tag);
        }
        Put(tags, options);
    }

    void Delete(const Tags& named, const Options& options) {
        Tags left = Read(options);
        std::erase_if(left, [&](const PackedTag& tag) { return Holds(named, tag.name); });
        named.empty() ? entries.clear() : Put(left, options);
    }

private:
    // An identifier that comes twice is read as the second.
    static std::vector<std::pair<std::string, XStr>> Identifiers(const Options& options) {
        return {{"INAM", L"Title"},
                {"IART", L"Artist"},
                {"ISRC", L"ISRC"},
                {options.album ? "ISRC" : "IPRD", L"Album"},
                {options.track ? "TRCK" : "itrk", L"Track"}};
    }

    void Put(const Tags& tags, const Options& options) {
        if (entries.empty() && !options.creates) return;
        entries.clear();
        for (const PackedTag& tag : tags) {
            for (const auto& [identifier, name] : Identifiers(options)) {
                if (EqualNoCase(tag.name, name) && !tag.value.empty())
                    entries.emplace_back(identifier, tag.value);
            }
        }
    }
};

struct Chunk {
    Bytes header, data;

    std::string Code() const { return {header.begin(), header.begin() + 4}; }
    bool IsList() const { return header[0] == 0xBC; }
    bool IsPadding() const { return Code() == "junk" || Code() == "pad "; }
    bool operator==(const Chunk&) const = default;
};
using Chunks = std::vector<Chunk>;

// Nothing unless every byte belongs to a chunk and every size is what it says; the last padding may be missing.
std::optional<Chunks> SoundChunksOf(Bytes file) {
    if (file.size() < 40) return {};
    const auto outer = Load<uint64_t>(file.data() + 16);
    Store<uint64_t>(file.data() + 16, 40);
    if (Bytes(file.begin(), file.begin() + 40) != Wave64Bytes().File()) return {};
    Chunks chunks;
    uint64_t end = 40, next = 40;
    while (next < std::max<uint64_t>(file.size(), outer)) {
        if (next + 24 > file.size()) return {};
        const uint8_t* header = file.data() + next;
        const auto size = Load<uint64_t>(header + 16);
        if (size < 24 || size > file.size() - next) return {};
        chunks.push_back({{header, header + 24}, {header + 24, header + size}});
        end = next + size;
        next = (end + 7) / 8 * 8;
    }
    if (outer < end || file.size() < end) return {};
    return chunks;
}

Chunks ForeignOf(Chunks chunks) {
    std::erase_if(chunks, [](const Chunk& chunk) { return chunk.IsList() || chunk.IsPadding(); });
    return chunks;
}

// What a host reads.
Bytes BlockOf(const Chunks& chunks, Tags tags) {
    int serial = 1;
    for (const Chunk& chunk : chunks) {
        // One without data at the end of the file is not seen.
        const bool unseen = chunk.data.empty() && &chunk == &chunks.back();
        if (chunk.IsPadding() || chunk.Code() == "fact" || (chunk.IsList() && !chunk.data.empty()) || unseen)
            continue;
        Bytes raw(chunk.header.begin(), chunk.header.begin() + 4);
        if (chunk.Code() != "fmt " && chunk.Code() != "data")
            raw.insert(raw.end(), chunk.data.begin(), chunk.data.end());
        tags.push_back({L"_riff_" + std::to_wstring(serial++), L"", raw});
    }
    return Pack(tags);
}

class TagWalk : public TaggedFile {
protected:
    uint32_t Below(size_t limit) { return static_cast<uint32_t>(random_() % limit); }
    template <class T>
    T AnyOf(std::initializer_list<T> choices) {
        return choices.begin()[Below(choices.size())];
    }

    Options AnyOptions() {
        Options any{Below(4) < 3, Below(2) == 0, Below(2) == 0, ""};
        any.text = std::string(any.creates ? "" : "TagDefault=2 ") + (any.album ? "LISTAlbum=1 " : "") +
                   (any.track ? "LISTTrack=1 " : "") + AnyOf({"", "LISTPos=1 "}) +
                   AnyOf({"", "LISTPadding=1 ", "LISTPadding=2 "}) + AnyOf({"LISTText=1 ", "LISTText=2 "}) +
                   AnyOf({"", "LISTPaddingSize=1 ", "LISTPaddingSize=3 "});
        return any;
    }

    // Chunks in any order. `list` becomes what the list holds, where there is one.
    std::string AnyLayout(ListModel& list, bool withList) {
        std::vector<std::string> chunks = {"fmt", "data:" + std::to_string(Below(3000))};
        for (uint32_t more = Below(6); more > 0; --more) {
            const std::string id = AnyOf({"junk:", "pad:", "bext:", "levl:", "fact:", "abcd:"});
            chunks.push_back(id + std::to_string(Below(AnyOf<size_t>({1, 60, 3000}))));
        }
        if (withList) chunks.push_back(AnyList(list));
        std::string layout;
        for (; !chunks.empty(); chunks.pop_back()) {
            std::swap(chunks[Below(chunks.size())], chunks.back());
            layout += chunks.back() + " ";
        }
        return layout;
    }

    std::string AnyList(ListModel& list) {
        const std::string form = AnyOf({"half:", "wide:", "utf16:"});
        std::string entries;
        for (const std::string id : {"IPRD", "INAM", "TRCK"}) {
            const XStr value(1 + Below(9), static_cast<wchar_t>('A' + Below(26)));
            const size_t kept = form == "half:" ? (value.size() + 1) / 2 : value.size();
            list.entries.emplace_back(id, value.substr(0, kept));
            entries += id + "=" + ToUTF8(value) + ",";
        }
        return form + entries;
    }

    // The last padding is missing at times, in the file or in the outer size.
    Bytes AnyFile(const std::string& layout) {
        Bytes file = FileOf(layout);
        const size_t unpadded = file.size() - (8 - SoundChunksOf(file)->back().data.size() % 8) % 8;
        if (Below(2) == 0) Store<uint64_t>(file.data() + 16, unpadded);
        if (Below(2) == 0) file.resize(unpadded);
        return file;
    }

    // A write, or a deletion of some tags or of all; the model goes along.
    int32_t AnyCall(ListModel& list, const Options& options) {
        Tags tags;
        do {
            tags.push_back(
                {AnyOf({L"Title", L"TITLE", L"artist", L"Album", L"ISRC", L"track", L"Product", L"_riff_1"}),
                 AnyOf<XStr>({L"", L"A", L"\xE9", L"Hello", L"\u65E5\u672C", L"a\tb\n", L"\xD834\xDD1E",
                              XStr(Below(50), L'x'), XStr(Below(1500), L'\u20AC')})});
        } while (Below(2) == 0);
        const uint32_t kind = Below(8);
        if (kind == 0) tags.clear();
        kind < 3 ? list.Delete(tags, options) : list.Write(tags, options);
        return kind < 3 ? Delete(tags) : Write(Pack(tags));
    }

private:
    std::mt19937 random_{43};
};

}  // namespace

TEST_F(TagWalk, SafeEditingLosesNothing) {
    for (int walk = 0; walk < 100; ++walk) {
        ListModel list;
        const std::string layout = AnyLayout(list, walk % 3 != 0);
        Reset(AnyFile(layout));
        const Chunks foreign = ForeignOf(*SoundChunksOf(Contents()));
        for (int step = 0; step < 8; ++step) {
            const Options options = AnyOptions();
            SCOPED_TRACE(layout + options.text + ", step " + std::to_string(step));
            SetOptions("SafeEdit=1 " + options.text);
            const Bytes before = Contents();
            ASSERT_EQ(AnyCall(list, options), 1) << host->capture.Errors();
            const Bytes after = Contents();
            const auto chunks = SoundChunksOf(after);
            ASSERT_TRUE(chunks && ForeignOf(*chunks) == foreign);
            ASSERT_TRUE(after == before || Load<uint64_t>(after.data() + 16) == after.size());
            ASSERT_TRUE(after == before || after.size() % 8 == 0);
            ASSERT_TRUE(Read() == BlockOf(*chunks, list.Read(options)));
        }
    }
}

// Safely, a damaged file that is still sound loses nothing, and any other stays as it is. By default there is
// at least an answer.
TEST_F(TagWalk, DamageCostsNoAudio) {
    constexpr uint8_t values[] = {0, 1, 3, 8, 0x7F, 0x80, 0xFF};
    int refused = 0;
    for (int round = 0; round < 500; ++round) {
        ListModel list;
        Bytes file = AnyFile(AnyLayout(list, true) + (Below(4) == 0 ? AnyList(list) : ""));
        Bytes block = Pack({{L"Title", L"Hello", {1}}, {L"Artist", L"Abba"}});
        for (Bytes* damaged : {&file, &block}) {
            for (uint32_t n = Below(3); n > 0; --n) {
                (*damaged)[Below(std::min<size_t>(damaged->size(), 300))] = values[Below(std::size(values))];
            }
            if (Below(8) == 0) damaged->resize(1 + Below(damaged->size()));
        }
        Reset(file);
        const bool safe = round % 2 == 0;
        SetOptions(AnyOptions().text + (safe ? "SafeEdit=1" : "LISTText=0"));
        host.emplace().Open(path, kvOpenTags | kvOpenProperties);
        host.reset();
        const int32_t result = Below(3) != 0 ? Write(block) : Delete({});
        ASSERT_TRUE(result == 0 || result == 1);
        if (!safe) continue;  // the file may be of any size
        const Bytes after = Contents();
        const auto before = SoundChunksOf(file), chunks = SoundChunksOf(after);
        const bool areTagsDamaged = host->capture.Errors().find("its tags are damaged") != std::string::npos;
        ASSERT_TRUE(result == 1 || !before || areTagsDamaged) << round << host->capture.Errors();
        ASSERT_TRUE(after == file ||
                    (result == 1 && before && chunks && ForeignOf(*chunks) == ForeignOf(*before)))
            << round;
        refused += 1 - result;
    }
    EXPECT_GT(refused, 40);
    EXPECT_LT(refused, 210);
}

TEST_F(TagWalk, ByDefaultWhatLiesAheadOfTheListStays) {
    for (int walk = 0; walk < 30; ++walk) {
        ListModel list;
        const std::string layout = AnyLayout(list, false) + "levl:9 ";
        const Bytes ahead = FileOf(layout);
        Reset(AnyFile(layout + AnyList(list) + AnyOf({"", " junk:99", " bext:9"})));
        for (int step = 0; step < 6; ++step) {
            const Options options = AnyOptions();
            SetOptions(options.text + AnyOf({"LISTPos=0", "LISTPos=0 LISTText=0"}));
            AnyCall(list, options);
            const Bytes after = Contents();
            ASSERT_TRUE(after.size() >= ahead.size() &&
                        std::equal(ahead.begin() + 24, ahead.end(), after.begin() + 24))
                << layout << step;
        }
    }
}

TEST_F(TagWalk, ByDefaultPaddingTakesWhatChangesInUnitsOfEight) {
    const Bytes before = FileOf("fmt half:INAM=Hello junk:8000 data:2001 bext:5");
    const auto audio = before.end() - (24 + 2001 + 7) - (24 + 5 + 3);
    Reset(before);
    for (int step = 0; step < 100; ++step) {
        SetOptions("LISTPos=1 LISTPadding=" + std::to_string(Below(3)));
        const XStr value(1 + 4 * Below(600), L'x');
        ASSERT_EQ(step % 5 == 4 ? Delete({}) : Write(Pack({{L"Title", value}})), 1);
        const Bytes after = Contents();
        ASSERT_EQ(after.size(), before.size());
        ASSERT_TRUE(std::equal(audio, before.end(), after.begin() + (audio - before.begin())));
    }
}

TEST_F(TagWalk, SafelyPast4GiB) {
    constexpr int64_t audioAt = 40 + 48 + 4096 + 24, audioBytes = int64_t{5} << 30;
    constexpr int64_t size = audioAt + audioBytes;
    Bytes head = FileOf("fmt junk:4072 data:0");
    Store(head.data() + audioAt - 8, 24 + audioBytes);
    Store(head.data() + 16, size);
    Reset(head);
    std::filesystem::resize_file(path, size);
    const auto valueAt = [&](int64_t position) {
        int64_t value = 0;
        std::ifstream file(path, std::ios::binary);
        file.seekg(position).read(reinterpret_cast<char*>(&value), sizeof value);
        return value;
    };
    const int64_t marks[] = {audioAt, int64_t{1} << 32, size - 8};
    for (const int64_t mark : marks) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(mark).write(reinterpret_cast<const char*>(&mark), sizeof mark);
    }
    const Tags title = {{L"Title", L"Hello"}}, artist = {{L"Artist", XStr(1000, L'x')}};
    const Tags both = {artist[0], title[0]};
    const struct {
        std::string position;
        bool write;
        Tags tags, after;
        int64_t grown;
    } steps[] = {
        {"1", true, title, title, 0},   {"0", true, artist, both, 0},
        {"0", false, artist, title, 0}, {"0", false, {}, {}, 0},
        {"0", true, title, title, 48},  {"0", true, artist, both, 24 + 4 + 8 + 2002 + 8 + 12 + 6},
        {"0", false, {}, {}, 0},
    };
    for (const auto& step : steps) {
        SetOptions("SafeEdit=1 LISTText=2 LISTPos=" + step.position);
        ASSERT_EQ(step.write ? Write(Pack(step.tags)) : Delete(step.tags), 1);
        EXPECT_EQ(std::filesystem::file_size(path), static_cast<uint64_t>(size + step.grown));
        EXPECT_EQ(valueAt(16), size + step.grown);
        EXPECT_EQ(valueAt(audioAt - 8), 24 + audioBytes);
        for (const int64_t mark : marks) EXPECT_EQ(valueAt(mark), mark);
        EXPECT_TRUE(Read() == BlockOf(*SoundChunksOf(FileOf("fmt data:9")), step.after));
    }
}
