#include "tags/NTag.h"

#include <algorithm>
#include <bit>
#include <cwchar>
#include <limits>
#include <new>
#include <utility>
#include <vector>

namespace w64 {

namespace {

XStr Trimmed(const XStr& text) {
    constexpr auto printing = [](wchar_t c) { return c > L' '; };
    const auto first = std::ranges::find_if(text, printing);
    const auto last = std::find_if(text.rbegin(), std::make_reverse_iterator(first), printing);
    return {first, last.base()};
}

int LeadingNumber(const XStr& text) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(
        std::clamp<long long>(std::wcstoll(text.c_str(), nullptr, 10), Limits::min(), Limits::max()));
}

// Finds the first position of each name in a collection that may grow. A hash table chained through plain arrays,
// as a map with a node per name takes several times the memory and time.
class NameIndex {
public:
    NameIndex(const XObj<STInternalTag>& tags, size_t maxNames)
        : tags_(tags), chains_(std::bit_ceil(maxNames + 1), kNone) {
        entries_.reserve(maxNames);
    }

    // The first position of that name; a new name is recorded at `position`.
    int FirstOf(std::wstring_view name, int position) {
        const uint32_t hash = Hash(name);
        int* link = &chains_[hash & (chains_.size() - 1)];
        while (*link != kNone) {
            Entry& entry = entries_[static_cast<size_t>(*link)];
            if (entry.hash == hash && EqualNoCase(tags_[entry.position].Name, name)) return entry.position;
            link = &entry.next;
        }
        *link = static_cast<int>(entries_.size());
        entries_.push_back({hash, position, kNone});
        return position;
    }

private:
    static constexpr int kNone = -1;

    struct Entry {
        uint32_t hash;
        int position;
        int next;
    };

    // FNV-1a over the folded characters.
    static uint32_t Hash(std::wstring_view name) {
        uint32_t hash = 0x811C9DC5;
        for (const wchar_t c : name) hash = (hash ^ static_cast<uint32_t>(FoldCase(c))) * 0x01000193;
        return hash;
    }

    const XObj<STInternalTag>& tags_;
    std::vector<int> chains_;
    std::vector<Entry> entries_;  // reserved, as links point into it
};

}  // namespace

void NTag::AddTag(const wchar_t* name, const wchar_t* value) { tags_.Append({name, value, {}}); }

void NTag::AddTag(const wchar_t* name, const unsigned char* bytes, unsigned long size) {
    STInternalTag tag{name, {}, {}};
    if (!tag.Data.Assign(bytes, size)) throw std::bad_alloc();
    tags_.Append(std::move(tag));
}

void NTag::AddTag(const wchar_t* name, const XMem& data) { tags_.Append({name, {}, data}); }

void NTag::AddTag(const STInternalTag& tag) { tags_.Append(tag); }

void NTag::AddTag(const STInternalTag* tag) { AddTag(*tag); }

const STInternalTag* NTag::FindElement(const wchar_t* name) const {
    const std::wstring_view wanted(name);
    const auto named = [wanted](const STInternalTag& tag) { return EqualNoCase(tag.Name, wanted); };
    const auto found = std::ranges::find_if(tags_, named);
    return found == tags_.end() ? nullptr : &*found;
}

STInternalTag* NTag::FindElement(const wchar_t* name) {
    return const_cast<STInternalTag*>(std::as_const(*this).FindElement(name));
}

XStr NTag::GetTagValue(const wchar_t* name) const {
    const STInternalTag* tag = FindElement(name);
    return tag ? tag->Value : XStr();
}

void NTag::SetTagValue(const wchar_t* name, const wchar_t* value) {
    if (STInternalTag* tag = FindElement(name)) {
        tag->Value = value;
    } else {
        AddTag(name, value);
    }
}

XStr NTag::FindElementRemove(const wchar_t* name) {
    XStr value = GetTagValue(name);
    RemoveTag(name);
    return value;
}

void NTag::RemoveTag(long position) {
    if (position >= 0 && position < Count()) tags_.DeletePos(static_cast<int>(position));
}

bool NTag::RemoveTag(const wchar_t* name) {
    const XStr wanted(name);  // a copy, as `name` may belong to a removed tag
    return tags_.DeleteIf([&](const STInternalTag& tag) { return EqualNoCase(tag.Name, wanted); }) > 0;
}

void NTag::MergeFrom(const NTag& other, bool overwrite) {
    NameIndex names(tags_, static_cast<size_t>(Count()) + static_cast<size_t>(other.Count()));
    for (int i = 0; i < Count(); ++i) names.FirstOf(tags_[i].Name, i);
    // A collection merged into itself does not grow in this loop, as every name is found.
    for (const STInternalTag& tag : other.tags_) {
        const int first = names.FirstOf(tag.Name, Count());
        if (first == Count()) {
            AddTag(tag);
        } else if (overwrite) {
            tags_[first] = tag;
        }
    }
}

void NTag::DuplicateFrom(const NTag& other) {
    NTag duplicate;  // separate, as `other` may be this collection
    duplicate.MergeFrom(other, false);
    *this = std::move(duplicate);
}

void NTag::DropTagsBeginUnderScore(unsigned int keep) {
    tags_.DeleteIf([keep](const STInternalTag& tag) {
        const XStr& name = tag.Name;
        if (!name.starts_with(L'_')) return false;
        const bool kept = ((keep & 2) && BeginsWithNoCase(name, L"_riff_")) ||
                          ((keep & 4) && EqualNoCase(name, L"_cdtoc")) ||
                          ((keep & 8) && BeginsWithNoCase(name, L"_albumart_")) ||
                          ((keep & 16) && EqualNoCase(name, L"_crc"));
        return !kept;
    });
}

void NTag::RemoveAllBinaryTags() {
    tags_.DeleteIf([](const STInternalTag& tag) { return !tag.Data.IsEmpty(); });
}

void NTag::RemoveTagsBiggerThan(long limit) {
    tags_.DeleteIf([limit](const STInternalTag& tag) {
        const size_t bytes = 2 * tag.Name.size() + 2 * tag.Value.size() + tag.Data.Size();
        return std::cmp_greater(bytes, limit);
    });
}

void NTag::SplitTrackNumANDCount(const wchar_t* text, int& number, int& count) {
    XStr numberText;
    XStr countText;
    SplitTrackNumANDCountStr(text, numberText, countText);
    number = LeadingNumber(numberText);
    count = LeadingNumber(countText);
}

void NTag::SplitTrackNumANDCountStr(const wchar_t* text, XStr& number, XStr& count) {
    const XStr whole(text);  // a copy, as `text` may point into an output
    const size_t slash = whole.find(L'/');
    number = whole.substr(0, slash);
    count = slash == XStr::npos ? XStr() : Trimmed(whole.substr(slash + 1));
}

XStr NTag::PaddedTrackNum(const wchar_t* name) const {
    int number = 0;
    int count = 0;
    SplitTrackNumANDCount(GetTagValue(name).c_str(), number, count);
    if (number == 0) return {};
    XStr padded = Int2Str(number);
    if (padded.size() == 1) padded.insert(0, L"0");
    if (count != 0) padded += (count < 10 ? L"/0" : L"/") + Int2Str(count);
    return padded;
}

}  // namespace w64
