#include "Bytes.h"
#include "Expect.h"
#include "ReportCapture.h"
#include "TempFolder.h"
#include "Wave64Bytes.h"
#include "tags/ChunkTags.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <fcntl.h>
#include <optional>
#include <sstream>
#include <unistd.h>

namespace w64 {

namespace {

using Pairs = std::vector<std::pair<XStr, XStr>>;
using enum LISTText;
using List = clRIFFSUMMARYLISTChunk;

const Bytes kX = {'x', 0, 0, 0};
const XStr kNote(1, static_cast<wchar_t>(0x1F3B5));

struct ListBytes {
    Bytes data = Bytes(4);

    ListBytes& Entry(std::string_view identifier, const Bytes& text, std::optional<uint32_t> size = {}) {
        data.insert(data.end(), identifier.begin(), identifier.end());
        Append(data, size.value_or(static_cast<uint32_t>(text.size())));
        data.insert(data.end(), text.begin(), text.end());
        ++data[0];
        return *this;
    }
};

struct Reading {
    // In memory of exactly the list's size, so that AddressSanitizer sees a byte too many.
    explicit Reading(const Bytes& list, LISTText form = Half, int albumOption = 0,
                     const STNStdReport& report = {})
        : text(form) {
        const Bytes data(list.begin(), list.end());
        NTag tags;
        tags.AddTag(L"replaced", L"");
        const bool result =
            List::InitFrom(data.data(), unsigned(data.size()), tags, report, albumOption, text);
        EXPECT_EQ(result, tags.Count() > 0);
        for (int i = 0; i < tags.Count(); ++i) pairs.emplace_back(tags[i].Name, tags[i].Value);
    }

    LISTText text;
    Pairs pairs;
};

Bytes Written(const Pairs& pairs, LISTText text = Half, int albumOption = 0, int trackOption = 0) {
    NTag tags;
    for (const auto& [name, value] : pairs) tags.AddTag(name.c_str(), value.c_str());
    XMem out;
    EXPECT_TRUE(out.Resize(7));  // replaced
    EXPECT_TRUE(List::TagsToLIST(out, tags, {}, albumOption, trackOption, text));
    return {out.Data(), out.Data() + out.Size()};
}

}  // namespace

TEST(SummaryList, MostIdentifiersStandForOneNameWhateverTheOptions) {
    std::istringstream rows(
        "IARL=Archival Location,IART=Artist,ICMS=Commissioned,ICMT=Comment,ICOP=Copyright,"
        "ICRD=Year,ICRP=Cropped,IDIM=Dimensions,IDPI=DPI,IENG=Engineer,IGNR=Genre,"
        "IKEY=Keywords,ILGT=Lightness,IMED=Medium,INAM=Title,IPLT=Palette Setting,"
        "ISBJ=Subject,ISFT=Encoded By,ISHP=Sharpness,ISRF=Source,ITCH=Technician,"
        "DISP=Sound Scheme Title,LOCA=Location,TLEN=Length,TORG=Label,TURL=URL,"
        "TVER=Version");
    for (std::string row; std::getline(rows, row, ',');) {
        SCOPED_TRACE(row);
        const XStr name = Widen(row.substr(5));
        const Bytes list = ListBytes().Entry(row.substr(0, 4), kX).data;
        for (const int option : {0, 1}) {
            EXPECT_EQ(Reading(list, Half, option).pairs, (Pairs{{name, L"x"}}));
            EXPECT_EQ(Written({{FoldCase(name), L"x"}}, Half, option, option), list);
        }
    }
    const auto names = List::Names();
    EXPECT_EQ(names.size(), 30u);
    for (const wchar_t* name : names) {
        EXPECT_EQ(Written({{name, L"x"}}).size(), 16u);
        EXPECT_TRUE(List::HasIdentifier(FoldCase(name)));
    }
}

TEST(SummaryList, AlbumAndTrackGoByTheOptions) {
    const std::tuple<int, int, const wchar_t*, const wchar_t*, std::string, std::string> rows[] = {
        {0, 0, L"Album", L"ISRC", "IPRD", "itrk"},
        {1, 0, L"Product", L"Album", "ISRC", "itrk"},
        {0, -1, L"Album", L"ISRC", "IPRD", "TRCK"},
    };
    const Bytes list =
        ListBytes().Entry("IPRD", kX).Entry("ISRC", kX).Entry("itrk", kX).Entry("TRCK", kX).data;
    for (const auto& [album, track, first, second, writtenAlbum, writtenTrack] : rows) {
        const Pairs read = {{first, L"x"}, {second, L"x"}, {L"Track", L"x"}, {L"Track", L"x"}};
        EXPECT_EQ(Reading(list, Half, album).pairs, read);
        const Pairs pairs = {{L"isrc", L"x"}, {L"ALBUM", L"x"}, {L"track", L"x"}};
        EXPECT_EQ(Written(pairs, Half, album, track),
                  ListBytes().Entry("ISRC", kX).Entry(writtenAlbum, kX).Entry(writtenTrack, kX).data);
    }
}

TEST(SummaryList, WhatHasNoCounterpartIsLeftOut) {
    for (const std::string unknown : {"iart", "ITRK", "trck", "IXYZ"}) {
        const ReportCapture capture;
        EXPECT_EQ(Reading(ListBytes().Entry(unknown, kX).data, Half, 0, capture.Report()).pairs, Pairs());
        EXPECT_EQ(capture.Information(),
                  "Unknown LIST sub chunk '" + unknown + "' Dropping it.  [InitFrom]\r\n");
    }
    for (const wchar_t* name : {L"Product", L"_riff_1", L"Titles", L"Titl", L"T\u0130tle", L""}) {
        EXPECT_EQ(Written({{name, L"x"}, {L"Title", L""}}), Bytes());
        EXPECT_FALSE(List::HasIdentifier(name));
    }
}

TEST(SummaryList, WritesTheTextInTheWantedForm) {
    const std::tuple<LISTText, XStr, Bytes> cases[] = {
        {Half, L"Hello", {0x48, 0, 0, 0, 0x65, 0, 0, 0, 0x6C, 0, 0, 0}},
        {Half, L"Hi", {0x48, 0, 0, 0, 0, 0}},
        {Half, kNote + L"\xD83C", {0xB5, 0xF3, 1, 0, 0, 0}},
        {Wide, L"Hi" + kNote, {0x48, 0, 0, 0, 0x69, 0, 0, 0, 0xB5, 0xF3, 1, 0}},
        {Wide, L"Hi\xD83C\xDFB5", {0x48, 0, 0, 0, 0x69, 0, 0, 0, 0xB5, 0xF3, 1, 0}},
        {UTF16, L"Hi" + kNote, {0x48, 0, 0x69, 0, 0x3C, 0xD8, 0xB5, 0xDF, 0, 0}},
        {UTF16, L"\xD83C\xDFB5\uFFFF", {0x3C, 0xD8, 0xB5, 0xDF, 0xFF, 0xFF, 0, 0}},
        {UTF16, XStr(1, static_cast<wchar_t>(0x110000)), {0xFD, 0xFF, 0, 0}},
    };
    for (const auto& [form, value, text] : cases) {
        const Pairs pairs = {{L"Product", L"x"}, {L"TITLE", value}, {L"Comment", L""}};
        EXPECT_EQ(Written(pairs, form), ListBytes().Entry("INAM", text).data);
    }
}

TEST(SummaryList, ReadsBackWhatWasWritten) {
    const Pairs pairs = {{L"Comment", L"1\n2"},        {L"Title", L"Hello"}, {L"Title", kNote + L"A"},
                         {L"Artist", L"\xD83C\xDFB5"}, {L"Track", L"1"},     {L"Genre", kNote + kNote},
                         {L"URL", L"\u6F52\u6B63"},    {L"Label", L"a\tb"}};
    Pairs halves = pairs, units = pairs;
    for (auto& [name, value] : halves) value.resize((value.size() + 1) / 2);
    for (auto& [name, value] : units) value = SplitIntoUnits(value);
    EXPECT_EQ(Reading(Written(pairs)).pairs, halves);
    for (const LISTText asked : {Wide, UTF16}) {
        for (const LISTText form : {Wide, UTF16}) {
            const Reading whole(Written(pairs, form), asked);
            EXPECT_EQ(whole.pairs, units);
            EXPECT_EQ(whole.text, form);
        }
        // A half list that is known as such goes on whole from then on.
        const Reading halfAgain(Written({{L"Title", L"Hello"}, {L"Artist", L"Hi"}}), asked);
        EXPECT_EQ(halfAgain.pairs, (Pairs{{L"Title", L"Hel"}, {L"Artist", L"H"}}));
        EXPECT_EQ(halfAgain.text, Wide);
    }
}

TEST(SummaryList, RecognisesTheFormOfEachEntry) {
    const struct {
        Bytes text;
        XStr value;
        LISTText wide, utf16;  // what is made of each wish
        bool isGuess = false;
    } cases[] = {
        {{}, L"", Wide, UTF16},
        {{0, 0, 0, 0, 'x', 0}, L"", Wide, UTF16},
        {{'A', 0, 0, 0}, L"A", Wide, UTF16},
        {{'A', 0, 0, 0, 0, 0}, L"A", Wide, Wide, true},
        {{'A', 0, 0, 0, 0, 0, 0, 0}, L"A", Wide, Wide, true},
        {{'H', 0, 0, 0, 'i', 0, 0, 0}, L"Hi", Wide, Wide},
        {{'H', 0, 0, 0, 'i', 0, 0, 0, 0, 0, 0, 0, '?', '?', '?', '?'}, L"Hi", Wide, Wide},
        {{'H', 0, 'i', 0}, L"Hi", UTF16, UTF16},
        {{'H', 0, 'i', 0, 0, 0, 0, 0}, L"Hi", UTF16, UTF16},
        {{'H', 0, 0, 0, 'i', 0, 0x11, 0}, L"H", UTF16, UTF16},  // past the last code point
        {{'1', 0, '\n', 0, '2', 0, 0, 0}, L"1\n2", UTF16, UTF16},
        {{0xB5, 0xF3, 1, 0, 'A', 0, 0, 0}, kNote + L"A", Wide, Wide},
        {{1, 1, 14, 0, 'A', 0, 0, 0}, XStr{0xE0101, L'A'}, Wide, Wide},
        {{0, 0, 1, 0}, XStr{0x10000}, Wide, Wide},
        {{0x3C, 0xD8, 0, 0, 0xB5, 0xDF, 0, 0}, L"\xD83C\xDFB5", Wide, Wide},
        {{0x3C, 0xD8, 0xB5, 0xDF, 0, 0}, L"\xD83C\xDFB5", UTF16, UTF16},
        // Cut off or of odd size: completed by zeros, so that no byte is lost.
        {{'H', 0, 'i'}, L"Hi", UTF16, UTF16},
        {{'H', 0, 0, 0, 'i'}, L"Hi", Wide, Wide},
        {{'H'}, L"H", Wide, UTF16},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.text));
        // After an ambiguous entry, and before one of the other form.
        const Bytes after = c.wide == Wide ? Bytes{'u', 0, 'x', 0, 0, 0} : Bytes{'u', 0, 0, 0, 'x', 0, 0, 0};
        ListBytes list = ListBytes().Entry("IART", kX).Entry("INAM", c.text);
        for (const auto& [asked, expected] : {std::pair(Wide, c.wide), std::pair(UTF16, c.utf16)}) {
            const Reading reading(list.data, asked);
            EXPECT_EQ(reading.pairs, (Pairs{{L"Artist", L"x"}, {L"Title", SplitIntoUnits(c.value)}}));
            EXPECT_EQ(reading.text, expected);
        }
        if (c.wide != c.utf16) continue;
        const Reading mixed(list.Entry("ICMT", after).data, Wide);
        EXPECT_EQ(mixed.pairs.back().second, L"ux");
        EXPECT_EQ(mixed.text, c.isGuess ? UTF16 : c.wide);
    }
}

TEST(SummaryList, HalfTextIsReadAsCodesWhateverItsBytesAre) {
    const std::pair<Bytes, XStr> cases[] = {
        {{'R', 0, 0, 0, 'o', 0, 0}, L"Ro"},  // without a zero
        {{'H', 0, 'i', 0, 0, 0}, XStr{0x690048}},
        {{'R', 0, 0, 0, 0, 0, 0, 0, 'x', 0, 0, 0}, L"R"},
        {{0xFF, 0xFF, 0xFF, 0xFF}, XStr{static_cast<wchar_t>(-1)}},
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(Reading(ListBytes().Entry("INAM", text).data).pairs, (Pairs{{L"Title", value}}));
}

TEST(SummaryList, DamageEndsTheListWhereItIs) {
    const Pairs pairs = {{L"Title", L"x"}, {L"Comment", L"x"}};
    const ListBytes good = ListBytes().Entry("INAM", kX).Entry("ICMT", kX);
    for (const LISTText form : {Half, Wide, UTF16}) {
        const auto expect = [form](const Bytes& list, const Pairs& expected, bool corrupted) {
            const ReportCapture capture;
            EXPECT_EQ(Reading(list, form, 0, capture.Report()).pairs, expected);
            EXPECT_EQ(capture.Errors(), corrupted ? "Error LIST sub chunk is corrupted  [InitFrom]\r\n" : "");
        };
        for (size_t size = 0; size <= good.data.size(); ++size) {
            SCOPED_TRACE(size);
            const Bytes cut(good.data.begin(), good.data.begin() + static_cast<ptrdiff_t>(size));
            const size_t bytes = std::max<size_t>(size, 4) - 4;
            const bool corrupted = bytes % 12 >= 8;
            expect(cut, {pairs.begin(), pairs.begin() + static_cast<ptrdiff_t>(bytes / 12)}, corrupted);
            EXPECT_EQ(List::IsWhole(cut.data(), static_cast<unsigned>(size)),
                      !corrupted && (size == 0 || size >= 4));
        }
        ListBytes miscounted = good;
        miscounted.data[0] = 5;
        expect(miscounted.data, pairs, false);
        miscounted.data[0] = 1;
        expect(miscounted.data, {pairs[0]}, false);
        expect(ListBytes().Entry("INAM", kX, 0xFFFFFFFF).data, {}, true);
    }
    LISTText text = UTF16;
    NTag tags;
    EXPECT_FALSE(List::InitFrom(nullptr, 100, tags, {}, 0, text));
    const ReportCapture capture;
    Reading(good.data, Half, 0, capture.Report());
    EXPECT_HAS("Decoding LISTSUMMARY chunk:\r\n", capture.Trace());
}

TEST(SummaryList, TellsWhatItPassesOver) {
    const auto hidden = [](const Bytes& list) {
        return List::HiddenParts(list.data(), static_cast<unsigned>(list.size()), 0);
    };
    const Bytes padded16 = {'A', 0, 'b', 0, 0, 0, 0, 0}, padded32 = {'A', 0, 0, 0, 0, 0, 0, 0};
    const Bytes two16 = {'A', 0, 'n', 0, 0, 0, 'B', 0, 0, 0};
    const Bytes two32 = {'A', 0, 0, 0, 'n', 0, 0, 0, 0, 0, 0, 0, 'B', 0, 0, 0};
    Bytes list = ListBytes().Entry("INAM", padded16).Entry("ICMT", padded32).data;
    list.resize(list.size() + 20);
    EXPECT_TRUE(hidden(list).empty());
    list.back() = 1;
    EXPECT_EQ(hidden(list), std::vector<XStr>{L"the bytes after the last tag"});
    EXPECT_EQ(hidden(ListBytes().Entry("IXYZ", two16).data), std::vector<XStr>{L"the unknown 'IXYZ'"});
    for (const Bytes& two : {two16, two32})
        EXPECT_EQ(hidden(ListBytes().Entry("INAM", two).data),
                  std::vector<XStr>{L"text after the end of 'Title'"});
    EXPECT_TRUE(hidden({}).empty());
}

TEST(SummaryList, ThatCannotBeReadIsNotWhole) {
    const TempFolder folder;
    const Bytes list = ListBytes().Entry("INAM", kX).data;
    const auto path = folder.Write("a.w64", Wave64Bytes().SummaryList(list).File());
    XFile file, unreadable;
    ASSERT_TRUE(file.Open(FromUTF8(path.native()), XFile::Access::Read));
    clWave64Handler chunks;
    ASSERT_TRUE(chunks.Initialize(file.Handle(), {}));
    EXPECT_TRUE(ChunkTags::ReadSummaryLists(file, chunks, {}, {}).areWhole);
    const int writeOnly = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_TRUE(unreadable.Open(reinterpret_cast<void*>(intptr_t{writeOnly})));
    EXPECT_FALSE(ChunkTags::ReadSummaryLists(unreadable, chunks, {}, {}).areWhole);
    ::close(writeOnly);
}

}  // namespace w64
