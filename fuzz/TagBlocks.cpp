// A packed tag block of any bytes, in both forms: read, written and read again it is the same.

#include "Input.h"
#include "tags/NTag.h"

#include <span>

namespace w64 {

namespace {

using Reader = void (NTag::*)(const unsigned char*, long);
using Writer = void (NTag::*)(XMem&) const;

NTag Read(Reader reader, const uint8_t* block, size_t bytes) {
    NTag tags;
    (tags.*reader)(block, static_cast<long>(bytes));
    return tags;
}

void RequireSame(const NTag& a, const NTag& b) {
    Require(a.Count() == b.Count(), "a block keeps all tags");
    for (int i = 0; i < a.Count(); ++i) {
        Require(a[i].Name == b[i].Name && a[i].Value == b[i].Value, "a block keeps texts");
        Require(std::ranges::equal(std::span(a[i].Data.Data(), a[i].Data.Size()),
                                   std::span(b[i].Data.Data(), b[i].Data.Size())),
                "a block keeps data");
    }
}

void Try(Reader reader, Writer writer, const Bytes& block) {
    const NTag tags = Read(reader, block.data(), block.size());
    XMem written, again;
    (tags.*writer)(written);
    const NTag read = Read(reader, written.Data(), written.Size());
    RequireSame(tags, read);
    (read.*writer)(again);
    Require(
        std::ranges::equal(std::span(written.Data(), written.Size()), std::span(again.Data(), again.Size())),
        "a block is written the same again");
}

// All that a host may do with the tags of others.
void Use(const Bytes& block) {
    NTag tags = Read(&NTag::InitFromRawMemory, block.data(), block.size());
    NTag copy;
    copy.DuplicateFrom(tags);
    copy.MergeFrom(tags, true);
    Require(copy.Count() <= tags.Count(), "equal names are merged");
    for (int i = 0; i < tags.Count(); ++i) {
        int number = 0, count = 0;
        NTag::SplitTrackNumANDCount(tags[i].Value.c_str(), number, count);
        tags.PaddedTrackNum(tags[i].Name.c_str());
        XStr description, more;
        NTag::SpiltAlbumArtDesctiptionLine(tags[i].Name.c_str(), description, more);
        NTag::AlbumArtDescriptionToAPICPicType(tags[i].Name.c_str());
        tags.GetAlbumArt(i, description, more);
    }
    copy.DropTagsBeginUnderScore(6);
    tags.RemoveTagsBiggerThan(10);
    tags.RemoveAllBinaryTags();
}

}  // namespace

}  // namespace w64

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace w64;
    const Bytes block(data, data + size);
    Try(&NTag::InitFromRawMemory, &NTag::ToRawMemory, block);
    Try(&NTag::InitFromRawMemoryUTF8, &NTag::ToRawMemoryUTF8, block);
    Use(block);
    return 0;
}
