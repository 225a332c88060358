// The packed blocks. Both forms have the same layout and differ only in the encoding of texts.

#include "base/LittleEndian.h"
#include "tags/NTag.h"

#include <algorithm>
#include <limits>
#include <new>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace w64 {

namespace {

constexpr size_t kSizeFieldBytes = 4;
constexpr size_t kTagCountBytes = 4;
constexpr size_t kMaxItemBytes = std::numeric_limits<int32_t>::max();  // readers treat the field as signed

// The unread part of a block, and how many bytes of it the current item still claims. The claim goes below zero
// for an item that claims less than it uses; the unread part never extends past the block.
struct Cursor {
    std::span<const uint8_t> ahead;
    int64_t itemLeft;

    void Consume(size_t bytes) {
        ahead = ahead.subspan(bytes);
        itemLeft -= static_cast<int64_t>(bytes);
    }
};

struct UTF16Text {
    static size_t Bytes(const XStr& text) { return 2 * (text.size() + 1); }

    static uint8_t* Put(uint8_t* to, const XStr& text) {
        const wchar_t* characters = text.c_str();
        for (size_t i = 0; i <= text.size(); ++i)
            base::Store(to + 2 * i, static_cast<uint16_t>(characters[i]));
        return to + Bytes(text);
    }

    static XStr Take(Cursor& cursor) {
        const size_t claimed = cursor.itemLeft < 0 ? SIZE_MAX : static_cast<size_t>(cursor.itemLeft);
        const size_t limit = std::min(claimed, cursor.ahead.size()) / 2;
        const auto unit = [&](size_t i) { return base::Load<uint16_t>(cursor.ahead.data() + 2 * i); };
        size_t length = 0;
        while (length < limit && unit(length) != 0) ++length;
        XStr text(length, 0);
        for (size_t i = 0; i < length; ++i) text[i] = unit(i);
        cursor.Consume(2 * std::min(length + 1, limit));
        return text;
    }
};

struct UTF8Text {
    static size_t Bytes(const XStr& text) { return ToUTF8(text).size() + 1; }

    static uint8_t* Put(uint8_t* to, const XStr& text) {
        const std::string bytes = ToUTF8(text);
        return std::copy_n(bytes.c_str(), bytes.size() + 1, to);
    }

    // Reads up to the zero byte, even past the item's end; then nothing more is read.
    static XStr Take(Cursor& cursor) {
        const std::string_view ahead(reinterpret_cast<const char*>(cursor.ahead.data()), cursor.ahead.size());
        const size_t end = ahead.find('\0');
        if (end == std::string_view::npos) {
            cursor.itemLeft = -1;
            return FromUTF8(ahead);
        }
        cursor.Consume(end + 1);
        return FromUTF8(ahead.substr(0, end));
    }
};

template <class Text>
size_t ItemBytes(const STInternalTag& tag) {
    return kSizeFieldBytes + Text::Bytes(tag.Name) + Text::Bytes(tag.Value) + tag.Data.Size();
}

template <class Text>
uint8_t* PutItem(uint8_t* to, const STInternalTag& tag) {
    uint8_t* end = Text::Put(to + kSizeFieldBytes, tag.Name);
    end = Text::Put(end, tag.Value);
    end = std::copy_n(tag.Data.Data(), tag.Data.Size(), end);
    base::Store(to, static_cast<uint32_t>(end - to));
    return end;
}

template <class Text>
XMem Pack(const XObj<STInternalTag>& tags) {
    std::vector<const STInternalTag*> packed;
    size_t bytes = kTagCountBytes;
    for (const STInternalTag& tag : tags) {
        const size_t itemBytes = ItemBytes<Text>(tag);
        if (itemBytes > kMaxItemBytes) continue;
        packed.push_back(&tag);
        bytes += itemBytes;
    }
    XMem block;
    if (!block.Resize(bytes)) throw std::bad_alloc();
    base::Store(block.Data(), static_cast<uint32_t>(packed.size()));
    uint8_t* to = block.Data() + kTagCountBytes;
    for (const STInternalTag* tag : packed) to = PutItem<Text>(to, *tag);
    return block;
}

// Reads one item, keeping what there is of it; false if nothing after it can be read.
template <class Text>
bool TakeItem(STInternalTag& tag, Cursor cursor) {
    cursor.Consume(kSizeFieldBytes);
    tag.Name = Text::Take(cursor);
    if (cursor.itemLeft <= 0) return false;
    tag.Value = Text::Take(cursor);
    if (cursor.itemLeft < 0) return false;
    if (!tag.Data.Assign(cursor.ahead.data(), static_cast<size_t>(cursor.itemLeft))) throw std::bad_alloc();
    return true;
}

template <class Text>
XObj<STInternalTag> Unpack(const uint8_t* block, long size) {
    XObj<STInternalTag> tags;
    if (!block || size < static_cast<long>(kTagCountBytes)) return tags;
    std::span<const uint8_t> ahead(block, static_cast<size_t>(size));
    const auto count = base::Load<int32_t>(ahead.data());
    ahead = ahead.subspan(kTagCountBytes);
    while (tags.Count() < count && ahead.size() >= kSizeFieldBytes) {
        const auto itemBytes = base::Load<int32_t>(ahead.data());
        if (itemBytes < 0 || std::cmp_greater(itemBytes, ahead.size())) break;
        if (!TakeItem<Text>(tags.Append(), {ahead, itemBytes})) break;
        ahead = ahead.subspan(static_cast<size_t>(itemBytes));
    }
    return tags;
}

}  // namespace

long NTag::GetRawTagItemSize(long position) const {
    return static_cast<long>(ItemBytes<UTF16Text>((*this)[position]));
}

void NTag::ToRawMemory(XMem& block) const { block = Pack<UTF16Text>(tags_); }

void NTag::InitFromRawMemory(const unsigned char* block, long size) {
    tags_ = Unpack<UTF16Text>(block, size);
}

long NTag::GetRawTagItemSizeUTF8(long position) const {
    return static_cast<long>(ItemBytes<UTF8Text>((*this)[position]));
}

void NTag::ToRawMemoryUTF8(XMem& block) const { block = Pack<UTF8Text>(tags_); }

void NTag::InitFromRawMemoryUTF8(const unsigned char* block, long size) {
    tags_ = Unpack<UTF8Text>(block, size);
}

}  // namespace w64
