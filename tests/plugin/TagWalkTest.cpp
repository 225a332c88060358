#include "TaggedFile.h"

#include <random>

namespace w64 {

namespace {

bool Holds(const Tags& tags, const XStr& name) {
    return std::ranges::any_of(tags, [&](const PackedTag& tag) { return EqualNoCase(tag.name, name); });
}

Tags Without(Tags tags, const Tags& named) {
    std::erase_if(tags, [&](const PackedTag& tag) { return Holds(named, tag.name); });
    return tags;
}

// What is read again where these tags have been written.
Tags Stored(const Tags& tags) {
    Tags stored;
    for (const PackedTag& tag : tags) {
        for (const wchar_t* name : {L"Title", L"Artist", L"Album", L"ISRC", L"Track"}) {
            const bool isMeant = EqualNoCase(tag.name, name) && !tag.value.empty();
            if (isMeant && !Holds(stored, name)) stored.push_back({name, tag.value});
        }
    }
    return stored;
}

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
    const auto outer = base::Load<uint64_t>(file.data() + 16);
    base::Store<uint64_t>(file.data() + 16, 40);
    if (Bytes(file.begin(), file.begin() + 40) != Wave64Bytes().File()) return {};
    Chunks chunks;
    uint64_t end = 40, next = 40;
    while (next < std::max<uint64_t>(file.size(), outer)) {
        if (next + 24 > file.size()) return {};
        const uint8_t* header = file.data() + next;
        const auto size = base::Load<uint64_t>(header + 16);
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
Bytes BlockOf(const Chunks& chunks, const Tags& tags) {
    std::vector<Bytes> raw;
    for (const Chunk& chunk : chunks) {
        // One without data at the end of the file is not seen.
        const bool unseen = chunk.data.empty() && &chunk == &chunks.back();
        if (chunk.IsPadding() || chunk.Code() == "fact" || (chunk.IsList() && !chunk.data.empty()) || unseen)
            continue;
        const bool isCodeOnly = chunk.Code() == "fmt " || chunk.Code() == "data";
        raw.push_back(Slice(chunk.header, 0, 4) + (isCodeOnly ? Bytes() : chunk.data));
    }
    return Pack(tags, raw);
}

class TagWalk : public TaggedFile {
protected:
    uint32_t Below(size_t limit) { return static_cast<uint32_t>(random_() % limit); }
    template <class T>
    T AnyOf(std::initializer_list<T> choices) {
        return choices.begin()[Below(choices.size())];
    }

    std::string AnyOptions() {
        return "SafeEdit=1 LISTText=" + AnyOf<std::string>({"1 ", "2 "}) + AnyOf({"", "LISTPos=1 "}) +
               AnyOf({"", "TagDefault=1 ", "TagDefault=2 "}) + AnyOf({"", "LISTTrack=1 "}) +
               AnyOf({"", "LISTPadding=1 ", "LISTPadding=2 "}) +
               AnyOf({"", "LISTPaddingSize=1 ", "LISTPaddingSize=3 "});
    }

    // Chunks in any order. `tags` become those of the list, where there is one.
    std::string AnyLayout(Tags& tags, bool withList) {
        std::vector<std::string> chunks = {"fmt", "data:" + std::to_string(Below(3000))};
        for (uint32_t more = Below(6); more > 0; --more) {
            const std::string id = AnyOf({"junk:", "pad:", "bext:", "levl:", "fact:", "abcd:"});
            chunks.push_back(id + std::to_string(Below(AnyOf<size_t>({1, 60, 3000}))));
        }
        if (withList) chunks.push_back(AnyList(tags));
        std::string layout;
        for (; !chunks.empty(); chunks.pop_back()) {
            std::swap(chunks[Below(chunks.size())], chunks.back());
            layout += chunks.back() + " ";
        }
        return layout;
    }

    std::string AnyList(Tags& tags) {
        std::string list = AnyOf({"half:", "wide:", "utf16:"});
        const bool isHalf = list == "half:";
        for (const auto& [id, meaning] :
             {std::pair{"IPRD=", L"Album"}, {"INAM=", L"Title"}, {"TRCK=", L"Track"}}) {
            const XStr value(1 + Below(9), static_cast<wchar_t>('A' + Below(26)));
            tags.push_back({meaning, isHalf ? value.substr(0, (value.size() + 1) / 2) : value});
            list += id + ToUTF8(value) + ",";
        }
        return list;
    }

    // The last padding is missing at times, in the file or in the outer size.
    Bytes AnyFile(const std::string& layout) {
        Bytes file = FileOf(layout);
        const size_t unpadded = file.size() - (8 - SoundChunksOf(file)->back().data.size() % 8) % 8;
        if (Below(2) == 0) base::Store<uint64_t>(file.data() + 16, unpadded);
        if (Below(2) == 0) file.resize(unpadded);
        return file;
    }

    // A write, or a deletion of some tags or of all; `tags` become what is left.
    int32_t AnyCall(Tags& tags, bool createsLists) {
        Tags named;
        do {
            named.push_back(
                {AnyOf({L"Title", L"TITLE", L"artist", L"Album", L"ISRC", L"track", L"Product", L"_riff_1"}),
                 AnyOf<XStr>({L"", L"A", L"\xE9", L"Hello", L"\u65E5\u672C", L"a\tb\n", L"\xD834\xDD1E",
                              XStr(Below(50), L'x'), XStr(Below(1500), L'\u20AC')})});
        } while (Below(2) == 0);
        const uint32_t kind = Below(8);
        const Tags others = Without(tags, named);
        if (kind < 3) {
            tags = kind == 0 ? Tags() : others;
            return Delete(kind == 0 ? Tags() : named);
        }
        const Bytes block = Pack(named);
        named.insert(named.end(), others.begin(), others.end());
        if (!tags.empty() || createsLists) tags = Stored(named);
        return Write(block);
    }

private:
    std::mt19937 random_{43};
};

}  // namespace

TEST_F(TagWalk, SafeEditingLosesNothing) {
    for (int walk = 0; walk < 60; ++walk) {
        Tags tags;
        const std::string layout = AnyLayout(tags, walk % 3 != 0);
        Reset(AnyFile(layout));
        const Chunks foreign = ForeignOf(*SoundChunksOf(Contents()));
        for (int step = 0; step < 8; ++step) {
            const std::string options = AnyOptions();
            SCOPED_TRACE(layout + options + "step " + std::to_string(step));
            SetOptions(options);
            const Bytes before = Contents();
            ASSERT_EQ(AnyCall(tags, options.find("TagDefault=2") == options.npos), 1)
                << host->capture.Errors();
            const Bytes after = Contents();
            const auto chunks = SoundChunksOf(after);
            ASSERT_TRUE(chunks && ForeignOf(*chunks) == foreign);
            const bool isPadded =
                after.size() % 8 == 0 && base::Load<uint64_t>(after.data() + 16) == after.size();
            ASSERT_TRUE(after == before || isPadded);
            ASSERT_TRUE(Read() == BlockOf(*chunks, tags));
        }
    }
}

// Safely, a damaged file that is still sound loses nothing, and any other stays as it is. By default there is
// at least an answer.
TEST_F(TagWalk, DamageCostsNoAudio) {
    constexpr uint8_t values[] = {0, 1, 3, 8, 0x7F, 0x80, 0xFF};
    int refused = 0;
    for (int round = 0; round < 300; ++round) {
        Tags tags;
        Bytes file = AnyFile(AnyLayout(tags, true) + (Below(4) == 0 ? AnyList(tags) : ""));
        Bytes block = Pack({{L"Title", L"Hello", {1}}, {L"Artist", L"Abba"}});
        for (Bytes* damaged : {&file, &block}) {
            for (uint32_t n = Below(3); n > 0; --n)
                (*damaged)[Below(std::min<size_t>(damaged->size(), 300))] = values[Below(std::size(values))];
            if (Below(8) == 0) damaged->resize(1 + Below(damaged->size()));
        }
        Reset(file);
        const bool safe = round % 2 == 0;
        SetOptions(AnyOptions() + (safe ? "" : "SafeEdit=0 LISTText=0"));
        host.emplace().Open(path, kvOpenTags | kvOpenProperties);
        host.reset();
        const int32_t result = Below(3) != 0 ? Write(block) : Delete({});
        ASSERT_TRUE(result == 0 || result == 1);
        if (!safe) continue;  // the file may be of any size
        const Bytes after = Contents();
        const auto before = SoundChunksOf(file), chunks = SoundChunksOf(after);
        const bool areTagsDamaged =
            host->capture.Errors().find("its tags cannot be read in full") != std::string::npos;
        ASSERT_TRUE(result == 1 || !before || areTagsDamaged) << round << host->capture.Errors();
        const bool isKept = result == 1 && before && chunks && ForeignOf(*chunks) == ForeignOf(*before);
        ASSERT_TRUE(isKept || after == file) << round;
        refused += 1 - result;
    }
    EXPECT_TRUE(refused > 24 && refused < 126) << refused;
}

}  // namespace w64
