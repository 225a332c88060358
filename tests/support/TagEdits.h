#pragma once

#include "LayoutBytes.h"
#include "TagBlock.h"
#include "base/XStr.h"

#include <algorithm>
#include <functional>
#include <optional>

namespace w64 {

// What the tags of a small file must be after each of some edits, and what else must be in the file: a model that has
// nothing of the code under test.

inline bool Holds(const Tags& tags, const XStr& name) {
    return std::ranges::any_of(tags, [&](const PackedTag& tag) { return EqualNoCase(tag.name, name); });
}

inline Tags Without(Tags tags, const Tags& named) {
    std::erase_if(tags, [&](const PackedTag& tag) { return Holds(named, tag.name); });
    return tags;
}

// What is read again where these tags have been written.
inline Tags Stored(const Tags& tags) {
    Tags stored;
    for (const PackedTag& tag : tags) {
        for (const wchar_t* name : {L"Title", L"Artist", L"Album", L"ISRC", L"Track"}) {
            const bool isMeant = EqualNoCase(tag.name, name) && !tag.value.empty();
            if (isMeant && !Holds(stored, name)) stored.push_back({name, tag.value});
        }
    }
    return stored;
}

inline XStr FirstHalf(const XStr& value) { return value.substr(0, (value.size() + 1) / 2); }

struct FileChunk {
    Bytes header, data;

    std::string Code() const { return {header.begin(), header.begin() + 4}; }
    bool IsList() const { return header[0] == 0xBC; }
    bool IsPadding() const { return Code() == "junk" || Code() == "pad "; }
    bool operator==(const FileChunk&) const = default;
};
using FileChunks = std::vector<FileChunk>;

// Nothing unless every byte belongs to a chunk and every size is what it says; the last padding may be missing.
inline std::optional<FileChunks> SoundChunksOf(Bytes file) {
    if (file.size() < 40) return {};
    const auto outer = base::Load<uint64_t>(file.data() + 16);
    base::Store<uint64_t>(file.data() + 16, 40);
    if (Bytes(file.begin(), file.begin() + 40) != Wave64Bytes().File()) return {};
    FileChunks chunks;
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

inline FileChunks ForeignOf(FileChunks chunks) {
    std::erase_if(chunks, [](const FileChunk& chunk) { return chunk.IsList() || chunk.IsPadding(); });
    return chunks;
}

// What a host reads.
inline Bytes BlockOf(const FileChunks& chunks, const Tags& tags) {
    std::vector<Bytes> raw;
    for (const FileChunk& chunk : chunks) {
        // One without data at the end of the file is not seen.
        const bool unseen = chunk.data.empty() && &chunk == &chunks.back();
        if (chunk.IsPadding() || chunk.Code() == "fact" || (chunk.IsList() && !chunk.data.empty()) || unseen)
            continue;
        const bool isCodeOnly = chunk.Code() == "fmt " || chunk.Code() == "data";
        raw.push_back(Slice(chunk.header, 0, 4) + (isCodeOnly ? Bytes() : chunk.data));
    }
    return Pack(tags, raw);
}

struct TagEditCall {
    bool isDeletion = false;
    Tags tags;  // none: all are deleted
};

// Chooses files and edits. `below` gives a number below its argument.
class TagEdits {
public:
    using Choice = std::function<uint32_t(size_t)>;

    explicit TagEdits(Choice below) : Below(std::move(below)) {}

    Choice Below;
    template <class T>
    T AnyOf(std::initializer_list<T> choices) {
        return choices.begin()[Below(choices.size())];
    }

    std::string AnySafeOptions() {
        return "SafeEdit=1 LISTText=" + AnyOf<std::string>({"1 ", "2 "}) + AnyOf({"", "LISTPos=1 "}) +
               AnyOf({"", "TagDefault=1 ", "TagDefault=2 "}) + AnyOf({"", "LISTTrack=1 "}) +
               AnyOf({"", "LISTPadding=1 ", "LISTPadding=2 "}) +
               AnyOf({"", "LISTPaddingSize=1 ", "LISTPaddingSize=3 "});
    }

    // Chunks in any order. `tags` become those of the list, where there is one.
    std::string AnyLayout(Tags& tags, bool withList) {
        std::vector<std::string> chunks = {"fmt", "data:" + std::to_string(1 + Below(3000))};
        for (uint32_t more = Below(6); more > 0; --more) {
            const std::string id = AnyOf({"junk:", "pad:", "bext:", "levl:", "fact:", "abcd:"});
            chunks.push_back(id + std::to_string(Below(AnyOf<size_t>({1, 60, 3000}))));
        }
        if (withList) chunks.push_back(AnyList(tags, AnyOf({"half:", "wide:", "utf16:"})));
        std::string layout;
        for (; !chunks.empty(); chunks.pop_back()) {
            std::swap(chunks[Below(chunks.size())], chunks.back());
            layout += chunks.back() + " ";
        }
        return layout;
    }

    std::string AnyList(Tags& tags, std::string list) {
        const bool isHalf = list == "half:";
        for (const auto& [id, meaning] :
             {std::pair{"IPRD=", L"Album"}, {"INAM=", L"Title"}, {"TRCK=", L"Track"}}) {
            const XStr value(1 + Below(9), static_cast<wchar_t>('A' + Below(26)));
            tags.push_back({meaning, isHalf ? FirstHalf(value) : value});
            list += id + ToUTF8(value) + ",";
        }
        return list + " ";
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
    TagEditCall AnyCall(Tags& tags, bool createsLists) {
        Tags named;
        do {
            named.push_back(
                {AnyOf({L"Title", L"TITLE", L"artist", L"Album", L"ISRC", L"track", L"Product", L"_riff_1"}),
                 AnyOf<XStr>({L"", L"A", L"\xE9", L"Hello", L"\u65E5\u672C", L"a\tb\n", L"\xD834\xDD1E",
                              XStr(Below(50), L'x'), XStr(Below(1500), L'\u20AC')})});
        } while (Below(2) == 1);
        const uint32_t kind = Below(8);
        const Tags others = Without(tags, named);
        if (kind < 3) {
            tags = kind == 0 ? Tags() : others;
            return {true, kind == 0 ? Tags() : named};
        }
        Tags all = named;
        all.insert(all.end(), others.begin(), others.end());
        if (!tags.empty() || createsLists) tags = Stored(all);
        return {false, named};
    }
};

}  // namespace w64
