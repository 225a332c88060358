#pragma once

#include "base/XMem.h"
#include "base/XObj.h"
#include "base/XStr.h"

#include <cstdint>

namespace w64 {

// One tag: a text, or binary data under a name.
struct STInternalTag {
    XStr Name;
    XStr Value;
    XMem Data;  // empty for a text
};

// An ordered collection of tags. Names may repeat; they are compared with A to Z folded, and a lookup finds the
// first. Names that begin with "_" are not ordinary texts: raw chunks ("_riff_"), a CD table of
// contents ("_cdtoc"), album art ("_albumart_"), a checksum ("_crc").
//
// Packed block, little-endian, unaligned: a 32-bit count, then for each tag
//     the item's size in bytes   32 bits, these 4 bytes included
//     name, value                16-bit units, each text ended by a zero unit; characters lose their high bits
//     data                       the rest of the item
// The UTF-8 form has the texts as UTF-8, each ended by a zero byte. A tag of 2 GiB or more is left out, as readers
// could not find the tag after it.
//
// Owner:  the collection owns its tags; a pointer to one lives until the collection changes.
// Texts:  zero-terminated, never null.
// Errors: std::bad_alloc. Sizes in a block are not trusted: nothing past its end is read. Reading stops at the
//         first truncated item; the items before it are kept, and so is what there is of that item.
// The UTF-8 form, track numbers and album art have no caller here: they are for decoders and encoders of formats
// that carry them, and for hosts that show them.
class NTag {
public:
    int Count() const { return tags_.Count(); }
    STInternalTag& operator[](long position) { return tags_[static_cast<int>(position)]; }
    const STInternalTag& operator[](long position) const { return tags_[static_cast<int>(position)]; }
    STInternalTag* pTag(long position) { return &(*this)[position]; }
    void Destroy() { tags_.Clear(); }

    // These append, even if the name exists; bytes are copied.
    void AddTag(const wchar_t* name, const wchar_t* value);
    void AddTag(const wchar_t* name, const unsigned char* bytes, unsigned long size);
    void AddTag(const wchar_t* name, const XMem& data);
    void AddTag(const STInternalTag& tag);
    void AddTag(const STInternalTag* tag);
    void AddTag(STInternalTag&& tag) { tags_.Append(std::move(tag)); }

    STInternalTag* FindElement(const wchar_t* name);  // null when there is none
    const STInternalTag* FindElement(const wchar_t* name) const;
    XStr GetTagValue(const wchar_t* name) const;
    void SetTagValue(const wchar_t* name, const wchar_t* value);  // of the first match, or appended
    XStr FindElementRemove(const wchar_t* name);  // returns the first value, removes all of that name
    void RemoveTag(long position);
    bool RemoveTag(const wchar_t* name);  // all of that name; true if there was one

    // Appends the tags that are missing here, in order; with `overwrite` also replaces the first match. Takes
    // time linear in the size of both collections.
    void MergeFrom(const NTag& other, bool overwrite);
    void DuplicateFrom(const NTag& other);  // keeps only the first of equal names

    // Removes names that begin with "_", except those whose bit is set in `keep`: 2 "_riff_...", 4 "_cdtoc",
    // 8 "_albumart_...", 16 "_crc".
    void DropTagsBeginUnderScore(unsigned int keep);
    void RemoveAllBinaryTags();
    void RemoveTagsBiggerThan(long limit);  // bytes: two per character, and the data

    long GetRawTagItemSize(long position) const;
    void ToRawMemory(XMem& block) const;
    void InitFromRawMemory(const unsigned char* block, long size);  // replaces what was held
    long GetRawTagItemSizeUTF8(long position) const;
    void ToRawMemoryUTF8(XMem& block) const;
    void InitFromRawMemoryUTF8(const unsigned char* block, long size);

    // "3/12": number and total. A missing part is 0 or empty; numbers are clamped to int.
    static void SplitTrackNumANDCount(const wchar_t* text, int& number, int& count);
    static void SplitTrackNumANDCountStr(const wchar_t* text, XStr& number, XStr& count);
    XStr PaddedTrackNum(const wchar_t* name) const;  // "03/12"; empty without a number

    // Picture types as ID3v2 numbers them. An album-art tag is called "_albumart_1_Front Album Cover", with
    // optionally "<subdesc>" and more text after it.
    static XStr AlbumArtAPICPicTypeToElementDescription(int type);            // empty when it has no name
    static int AlbumArtDescriptionToAPICPicType(const wchar_t* description);  // 3 when it has no type
    static void SpiltAlbumArtDesctiptionLine(const wchar_t* name, XStr& description, XStr& subDescription);
    STInternalTag* GetAlbumArt(int index, XStr& description, XStr& subDescription);

private:
    XObj<STInternalTag> tags_;
};

}  // namespace w64
