#include "tags/NTag.h"
#include "Bytes.h"

#include <gtest/gtest.h>

namespace w64 {

using namespace std::string_view_literals;

namespace {

// "Name=Value;" and "Name=Value:data;" for each tag.
std::string Listing(const NTag& tags) {
    std::string listing;
    for (int i = 0; i < tags.Count(); ++i) {
        const STInternalTag& tag = tags[i];
        listing += ToUTF8(tag.Name) + "=" + ToUTF8(tag.Value);
        if (!tag.Data.IsEmpty())
            listing.append(":").append(tag.Data.Data(), tag.Data.Data() + tag.Data.Size());
        listing += ";";
    }
    return listing;
}

NTag Tags(std::initializer_list<std::pair<const wchar_t*, const wchar_t*>> texts) {
    NTag tags;
    for (const auto& [name, value] : texts) tags.AddTag(name, value);
    return tags;
}

void AddData(NTag& tags, const wchar_t* name, const std::string& data) {
    tags.AddTag(name, reinterpret_cast<const unsigned char*>(data.data()), data.size());
}

struct Form {
    void (NTag::*pack)(XMem&) const;
    void (NTag::*unpack)(const unsigned char*, long);
    long (NTag::*itemSize)(long) const;
};
constexpr Form kUTF16{&NTag::ToRawMemory, &NTag::InitFromRawMemory, &NTag::GetRawTagItemSize};
constexpr Form kUTF8{&NTag::ToRawMemoryUTF8, &NTag::InitFromRawMemoryUTF8, &NTag::GetRawTagItemSizeUTF8};

std::string Packed(const NTag& tags, const Form& form) {
    XMem block;
    (tags.*form.pack)(block);
    return {block.Data(), block.Data() + block.Size()};
}

NTag Unpacked(std::string_view block, const Form& form) {
    const Bytes exact(block.begin(), block.end());  // so that a read past the block is caught
    NTag tags = Tags({{L"replaced", L""}});
    (tags.*form.unpack)(exact.data(), static_cast<long>(exact.size()));
    return tags;
}

}  // namespace

TEST(Tags, ANameMeansItsFirstTagInAnyCase) {
    NTag tags = Tags({{L"Artist", L"A"}, {L"\u00C4", L"C"}, {L"ARTIST", L"B"}});
    EXPECT_EQ(tags.GetTagValue(L"artist"), L"A");
    EXPECT_EQ(tags.GetTagValue(L"\u00E4"), L"");
    tags.SetTagValue(L"aRTIST", L"D");
    tags.SetTagValue(L"Genre", L"E");
    EXPECT_EQ(Listing(tags), "Artist=D;\u00C4=C;ARTIST=B;Genre=E;");
    EXPECT_EQ(tags.FindElementRemove(tags[0].Name.c_str()), L"D");
    EXPECT_FALSE(tags.RemoveTag(L"Artist"));
    for (const long position : {-1L, 2L, 1L}) tags.RemoveTag(position);
    EXPECT_EQ(Listing(tags), "\u00C4=C;");
}

TEST(Tags, MergesByName) {
    // The two names have the same hash.
    const NTag other = Tags({{L"Declinate", L"X"}, {L"Macallums", L"Y"}, {L"MACALLUMS", L"W"}});
    NTag kept = Tags({{L"declinate", L"Z"}, {L"DECLINATE", L"V"}});
    NTag overwritten = kept;
    kept.MergeFrom(other, false);
    EXPECT_EQ(Listing(kept), "declinate=Z;DECLINATE=V;Macallums=Y;");
    overwritten.MergeFrom(other, true);
    EXPECT_EQ(Listing(overwritten), "Declinate=X;DECLINATE=V;MACALLUMS=W;");

    kept.MergeFrom(kept, true);
    EXPECT_EQ(Listing(kept), "DECLINATE=V;DECLINATE=V;Macallums=Y;");
    kept.DuplicateFrom(kept);
    EXPECT_EQ(Listing(kept), "DECLINATE=V;Macallums=Y;");
}

TEST(Tags, GoByNameByKindAndBySize) {
    const std::pair<unsigned, const char*> cases[] = {{1, "Title=;"},
                                                      {2 | 8, "_riff_3=;_ALBUMART_1_Media=;Title=;"},
                                                      {4, "_CDTOC=;Title=;"},
                                                      {16, "_crc=;Title=;"}};
    for (const auto& [keep, expected] : cases) {
        NTag tags = Tags({{L"_riff_3", L""},
                          {L"_CDTOC", L""},
                          {L"_cdtoc2", L""},
                          {L"_ALBUMART_1_Media", L""},
                          {L"_crc", L""},
                          {L"_", L""},
                          {L"Title", L""}});
        tags.DropTagsBeginUnderScore(keep);
        EXPECT_EQ(Listing(tags), expected) << keep;
    }

    NTag tags = Tags({{L"b", L"cdefg"}, {L"a", L"bcde"}});
    AddData(tags, L"abc", "data");
    AddData(tags, L"abc", "data!");
    tags.RemoveTagsBiggerThan(10);
    EXPECT_EQ(Listing(tags), "a=bcde;abc=:data;");
    tags.RemoveAllBinaryTags();
    EXPECT_EQ(Listing(tags), "a=bcde;");
    tags.RemoveTagsBiggerThan(-1);
    EXPECT_EQ(tags.Count(), 0);
}

TEST(PackedTags, AreLaidOutByteForByte) {
    NTag tags = Tags({{L"T", L"V"}});
    AddData(tags, L"\u20AC", "!");
    tags[1].Value = static_cast<wchar_t>(0x1F600);
    EXPECT_EQ(Packed(tags, kUTF16), "\2\0\0\0\x0C\0\0\0T\0\0\0V\0\0\0\x0D\0\0\0\xAC\x20\0\0\x00\xF6\0\0!"sv);
    EXPECT_EQ(Packed(tags, kUTF8), "\2\0\0\0\x08\0\0\0T\0V\0\x0E\0\0\0\xE2\x82\xAC\0\xF0\x9F\x98\x80\0!"sv);
    EXPECT_EQ(tags.GetRawTagItemSize(1), 13);
    EXPECT_EQ(tags.GetRawTagItemSizeUTF8(1), 14);
}

TEST(PackedTags, AreReadUpToTheFirstItemThatIsCutShort) {
    const struct {
        const Form& form;
        std::string_view block;
        const char* expected;
    } cases[] = {
        {kUTF16, "\xFF\xFF\xFF\xFF\x0C\0\0\0T\0\0\0V\0\0\0"sv, ""},           // a negative count
        {kUTF16, "\xFF\xFF\xFF\x7F\x0C\0\0\0T\0\0\0V\0\0\0"sv, "T=V;"},       // a count of too many
        {kUTF16, "\2\0\0\0\x08\0\0\0T\0\0\0\x0A\0\0\0T\0\0\0V"sv, "T=;"},     // no value ends the block
        {kUTF16, "\1\0\0\0\xFF\xFF\xFF\xFFT\0\0\0V\0\0\0"sv, ""},             // a negative size
        {kUTF16, "\2\0\0\0\0\0\0\0T\0\0\0V\0\0\0"sv, "T=;"},                  // sizes below their own field
        {kUTF16, "\2\0\0\0\3\0\0\0T\0U\0V"sv, "TU=;"},                        // and no terminator
        {kUTF16, "\2\0\0\0\4\0\0\0\x0C\0\0\0T\0\0\0V\0\0\0"sv, "=;"},         // nothing after the size
        {kUTF16, "\2\0\0\0\5\0\0\0!\x0C\0\0\0T\0\0\0V\0\0\0"sv, "=:!;T=V;"},  // only data
        {kUTF16, "\1\0\0\0\x0B\0\0\0T\0U\0V\0!"sv, "TUV=:!;"},                // a name without an end
        {kUTF8, "\2\0\0\0\6\0\0\0TU\x08\0\0\0T\0V\0"sv, "TU\b=;"},            // a name into the next item
        {kUTF8, "\2\0\0\0\7\0\0\0T\0V\x08\0\0\0T\0V\0"sv, "T=V\b;"},          // a value into the next item
        {kUTF8, "\1\0\0\0\7\0\0\0T\0V"sv, "T=V;"},                            // no terminator
        {kUTF8, "\1\0\0\0\x0A\0\0\0\xC3\0V\0!?"sv, "\uFFFD=V:!?;"},
    };
    for (const auto& [form, block, expected] : cases)
        EXPECT_EQ(Listing(Unpacked(block, form)), expected) << testing::PrintToString(block);
    NTag tags;
    tags.InitFromRawMemory(nullptr, 100);
    EXPECT_EQ(tags.Count(), 0);
}

TEST(PackedTags, LeaveOutWhatTheSizeFieldCannotHold) {
    NTag tags = Tags({{L"huge", L""}, {L"T", L"V"}});
    if (!tags[0].Data.Resize(size_t{1} << 31)) GTEST_SKIP() << "no 2 GiB of address space";
    for (const Form& form : {kUTF16, kUTF8}) {
        EXPECT_GT((tags.*form.itemSize)(0), 1L << 31);
        EXPECT_EQ(Listing(Unpacked(Packed(tags, form), form)), "T=V;");
    }
}

TEST(Tags, SplitAndPadTrackNumbers) {
    using Numbers = std::tuple<int, int, XStr, XStr, XStr>;
    const std::pair<const wchar_t*, Numbers> cases[] = {
        {L"3/9", {3, 9, L"3", L"9", L"03/09"}},
        {L"7", {7, 0, L"7", L"", L"07"}},
        {L" 7 / \t10 /2 ", {7, 10, L" 7 ", L"10 /2", L"07/10"}},
        {L"0/5", {0, 5, L"0", L"5", L""}},
        {L"/ ", {0, 0, L"", L"", L""}},
        {L"-3/0", {-3, 0, L"-3", L"0", L"-3"}},
        {L"99999999999999999999/4294967297",
         {INT32_MAX, INT32_MAX, L"99999999999999999999", L"4294967297", L"2147483647/2147483647"}},
    };
    for (const auto& [text, expected] : cases) {
        auto [number, count, numberText, countText, padded] = Numbers(-1, -1, text, L"before", L"");
        NTag::SplitTrackNumANDCount(text, number, count);
        NTag::SplitTrackNumANDCountStr(numberText.c_str(), numberText, countText);
        padded = Tags({{L"Track", text}}).PaddedTrackNum(L"track");
        EXPECT_EQ(Numbers(number, count, numberText, countText, padded), expected);
    }
}

TEST(AlbumArt, KnowsThePictureTypes) {
    for (int type = -1; type <= 22; ++type) {
        const XStr name = NTag::AlbumArtAPICPicTypeToElementDescription(type);
        ASSERT_EQ(name.empty(), type < 1 || type == 17 || type > 20) << type;
        if (name.empty()) continue;
        EXPECT_EQ(NTag::AlbumArtDescriptionToAPICPicType(name.c_str() + 1), type);
    }
    EXPECT_EQ(NTag::AlbumArtAPICPicTypeToElementDescription(16), L"_Video Capture");
    for (const auto& [text, type] : {std::pair(L"publisher logo", 20), {L"Fish", 3}, {L"", 3}})
        EXPECT_EQ(NTag::AlbumArtDescriptionToAPICPicType(text), type);
}

TEST(AlbumArt, IsFoundByIndexAndItsNameSplit) {
    NTag tags = Tags({{L"_albumart_12_Media<subdesc>scan<subdesc>2", L""},
                      {L"_AlbumArt_2_Front_Cover<SUBDESC>", L""},
                      {L"_albumart_3", L""}});
    const std::tuple<const STInternalTag*, XStr, XStr> cases[] = {
        {tags.pTag(0), L"Media", L"scan<subdesc>2"},
        {tags.pTag(1), L"Front_Cover<SUBDESC>", L""},
        {tags.pTag(2), L"", L""},
        {nullptr, L"", L""}};
    XStr description = L"before", subDescription = L"before";
    for (int index = 1; const auto& art : cases) {
        const STInternalTag* tag = tags.GetAlbumArt(index++, description, subDescription);
        EXPECT_EQ(std::tuple(tag, description, subDescription), art);
    }
    NTag::SpiltAlbumArtDesctiptionLine(L"_albumart__Media", description, subDescription);
    EXPECT_EQ(description, L"Media");
}

}  // namespace w64
