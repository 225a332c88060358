#include "Bytes.h"
#include "ReportCapture.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <gtest/gtest.h>
#include <optional>
#include <random>

namespace {

using Pairs = std::vector<std::pair<XStr, XStr>>;
constexpr LISTText kForms[] = {LISTText::Half, LISTText::Wide, LISTText::UTF16};

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
    explicit Reading(const Bytes& list, LISTText form = LISTText::Half, int albumOption = 0) : text(form) {
        const Bytes data(list.begin(), list.end());
        const auto size = static_cast<unsigned>(data.size());
        result =
            clRIFFSUMMARYLISTChunk::InitFrom(data.data(), size, tags, capture.Report(), albumOption, text);
        for (int i = 0; i < tags.Count(); ++i) pairs.emplace_back(tags[i].Name, tags[i].Value);
    }

    ReportCapture capture;
    NTag tags;
    LISTText text;
    bool result;
    Pairs pairs;
};

NTag TagsOf(const Pairs& pairs) {
    NTag tags;
    for (const auto& [name, value] : pairs) tags.AddTag(name.c_str(), value.c_str());
    return tags;
}

Bytes Written(const Pairs& pairs, LISTText text = LISTText::Half, int albumOption = 0, int trackOption = 0) {
    const ReportCapture capture;
    XMem out;
    EXPECT_TRUE(out.Resize(7));  // replaced
    EXPECT_TRUE(clRIFFSUMMARYLISTChunk::TagsToLIST(out, TagsOf(pairs), capture.Report(), albumOption,
                                                   trackOption, text));
    return {out.Data(), out.Data() + out.Size()};
}

}  // namespace

TEST(SummaryList, MostIdentifiersStandForOneNameWhateverTheOptions) {
    const std::pair<const char*, const wchar_t*> rows[] = {{"IARL", L"Archival Location"},
                                                           {"IART", L"Artist"},
                                                           {"ICMS", L"Commissioned"},
                                                           {"ICMT", L"Comment"},
                                                           {"ICOP", L"Copyright"},
                                                           {"ICRD", L"Year"},
                                                           {"ICRP", L"Cropped"},
                                                           {"IDIM", L"Dimensions"},
                                                           {"IDPI", L"DPI"},
                                                           {"IENG", L"Engineer"},
                                                           {"IGNR", L"Genre"},
                                                           {"IKEY", L"Keywords"},
                                                           {"ILGT", L"Lightness"},
                                                           {"IMED", L"Medium"},
                                                           {"INAM", L"Title"},
                                                           {"IPLT", L"Palette Setting"},
                                                           {"ISBJ", L"Subject"},
                                                           {"ISFT", L"Encoded By"},
                                                           {"ISHP", L"Sharpness"},
                                                           {"ISRF", L"Source"},
                                                           {"ITCH", L"Technician"},
                                                           {"DISP", L"Sound Scheme Title"},
                                                           {"LOCA", L"Location"},
                                                           {"TLEN", L"Length"},
                                                           {"TORG", L"Label"},
                                                           {"TURL", L"URL"},
                                                           {"TVER", L"Version"}};
    for (const auto& [identifier, name] : rows) {
        const Bytes list = ListBytes().Entry(identifier, {'x', 0, 0, 0}).data;
        for (const int option : {0, 1}) {
            EXPECT_EQ(Reading(list, LISTText::Half, option).pairs, (Pairs{{name, L"x"}}));
            EXPECT_EQ(Written({{name, L"x"}}, LISTText::Half, option, option), list);
        }
        EXPECT_EQ(Written({{FoldCase(name), L"x"}}), list);
        EXPECT_TRUE(clRIFFSUMMARYLISTChunk::HasIdentifier(FoldCase(name)));
    }
}

TEST(SummaryList, AlbumAndTrackGoByTheOptions) {
    const struct {
        int album, track;
        const wchar_t *readIPRD, *readISRC;
        std::string writtenAlbum, writtenTrack;
    } rows[] = {
        {0, 0, L"Album", L"ISRC", "IPRD", "itrk"},
        {1, 0, L"Product", L"Album", "ISRC", "itrk"},
        {0, -1, L"Album", L"ISRC", "IPRD", "TRCK"},
        {7, 2, L"Product", L"Album", "ISRC", "TRCK"},
    };
    ListBytes list;
    for (const char* identifier : {"IPRD", "ISRC", "itrk", "TRCK"}) list.Entry(identifier, {'x', 0, 0, 0});
    for (const auto& row : rows) {
        EXPECT_EQ(Reading(list.data, LISTText::Half, row.album).pairs,
                  (Pairs{{row.readIPRD, L"x"}, {row.readISRC, L"x"}, {L"Track", L"x"}, {L"Track", L"x"}}));
        const Bytes text = {'x', 0, 0, 0};
        EXPECT_EQ(
            Written({{L"isrc", L"x"}, {L"ALBUM", L"x"}, {L"track", L"x"}}, LISTText::Half, row.album,
                    row.track),
            ListBytes().Entry("ISRC", text).Entry(row.writtenAlbum, text).Entry(row.writtenTrack, text).data);
    }
    for (const wchar_t* name : {L"ISRC", L"album", L"TRACK"})
        EXPECT_TRUE(clRIFFSUMMARYLISTChunk::HasIdentifier(name));
    const auto names = clRIFFSUMMARYLISTChunk::Names();
    EXPECT_EQ(names.size(), 30u);
    for (const wchar_t* name : names) EXPECT_EQ(Written({{name, L"x"}}).size(), 16u);
}

TEST(SummaryList, WhatHasNoCounterpartIsLeftOut) {
    for (const std::string unknown : {"iart", "ITRK", "trck", "IXYZ"}) {
        const Reading reading(ListBytes().Entry(unknown, {'x', 0, 0, 0}).data);
        EXPECT_FALSE(reading.result);
        EXPECT_EQ(reading.capture.Information(),
                  "Unknown LIST sub chunk '" + unknown + "' Dropping it.  [InitFrom]\r\n");
    }
    for (const wchar_t* name : {L"Product", L"_riff_1", L"Titles", L"Titl", L"T\u0130tle", L""}) {
        EXPECT_EQ(Written({{name, L"x"}}), Bytes());
        EXPECT_FALSE(clRIFFSUMMARYLISTChunk::HasIdentifier(name));
    }
}

TEST(SummaryList, WritesTheTextInTheWantedForm) {
    const XStr note(1, static_cast<wchar_t>(0x1F3B5));
    const struct {
        LISTText form;
        XStr value;
        Bytes text;
    } cases[] = {
        {LISTText::Half, L"Hello", {0x48, 0, 0, 0, 0x65, 0, 0, 0, 0x6C, 0, 0, 0}},
        {LISTText::Half, L"Hi", {0x48, 0, 0, 0, 0, 0}},
        {LISTText::Half, note + L"\xD83C", {0xB5, 0xF3, 1, 0, 0, 0}},
        {LISTText::Wide, L"Hi" + note, {0x48, 0, 0, 0, 0x69, 0, 0, 0, 0xB5, 0xF3, 1, 0}},
        {LISTText::Wide, L"Hi\xD83C\xDFB5", {0x48, 0, 0, 0, 0x69, 0, 0, 0, 0xB5, 0xF3, 1, 0}},
        {LISTText::UTF16, L"Hi" + note, {0x48, 0, 0x69, 0, 0x3C, 0xD8, 0xB5, 0xDF, 0, 0}},
        {LISTText::UTF16, L"\xD83C\xDFB5\uFFFF", {0x3C, 0xD8, 0xB5, 0xDF, 0xFF, 0xFF, 0, 0}},
        {LISTText::UTF16, XStr(1, static_cast<wchar_t>(0x110000)), {0xFD, 0xFF, 0, 0}},
        {LISTText::UTF16, XStr(1, static_cast<wchar_t>(0x10FFFF)), {0xFF, 0xDB, 0xFF, 0xDF, 0, 0}},
    };
    for (const auto& c : cases) {
        // Without a value or an identifier a tag is left out.
        const Pairs pairs = {{L"Product", L"x"}, {L"TITLE", c.value}, {L"Comment", L""}};
        EXPECT_EQ(Written(pairs, c.form), ListBytes().Entry("INAM", c.text).data);
    }
}

TEST(SummaryList, ReadsBackWhatWasWritten) {
    const XStr note(1, static_cast<wchar_t>(0x1F3B5));
    const Pairs pairs = {{L"Comment", L"1\n2"},        {L"Title", L"Hello"}, {L"Title", note + L"A"},
                         {L"Artist", L"\xD83C\xDFB5"}, {L"Track", L"1"},     {L"Genre", note + note},
                         {L"URL", L"\u6F52\u6B63"},    {L"Label", L"a\tb"}};
    Pairs halves = pairs, units = pairs;
    for (auto& [name, value] : halves) value.resize((value.size() + 1) / 2);
    halves[2].second = note;
    units[2].second = L"\xD83C\xDFB5\x41";
    units[5].second = L"\xD83C\xDFB5\xD83C\xDFB5";

    const Reading half(Written(pairs));
    EXPECT_EQ(half.pairs, halves);
    EXPECT_EQ(half.text, LISTText::Half);
    // A half list that is known as such goes on whole from then on.
    for (const LISTText asked : {LISTText::Wide, LISTText::UTF16}) {
        const Reading halfAgain(Written({{L"Title", L"Hello"}, {L"Artist", L"Hi"}}), asked);
        EXPECT_EQ(halfAgain.pairs, (Pairs{{L"Title", L"Hel"}, {L"Artist", L"H"}}));
        EXPECT_EQ(halfAgain.text, LISTText::Wide);
        const Reading wide(Written(pairs, LISTText::Wide), asked);
        EXPECT_EQ(wide.pairs, units);
        EXPECT_EQ(wide.text, LISTText::Wide);
        const Reading utf16(Written(pairs, LISTText::UTF16), asked);
        EXPECT_EQ(utf16.pairs, units);
        EXPECT_EQ(utf16.text, LISTText::UTF16);
    }
}

TEST(SummaryList, RecognisesTheFormOfEachEntry) {
    using enum LISTText;
    const struct {
        Bytes text;
        XStr value;
        LISTText wide, utf16;  // what is made of each wish
    } cases[] = {
        {{}, L"", Wide, UTF16},
        {{0, 0}, L"", Wide, UTF16},
        {{0, 0, 0, 0, 'x', 0}, L"", Wide, UTF16},
        {{'A', 0, 0, 0}, L"A", Wide, UTF16},
        {{'A', 0, 0, 0, 0, 0}, L"A", Wide, Wide},
        {{'H', 0, 0, 0, 'i', 0, 0, 0}, L"Hi", Wide, Wide},
        {{'H', 0, 0, 0, 'i', 0, 0, 0, 0, 0, 0, 0}, L"Hi", Wide, Wide},
        {{'H', 0, 0, 0, 'i', 0, 0, 0, 0, 0, 0, 0, '?', '?', '?', '?'}, L"Hi", Wide, Wide},
        {{'H', 0, 'i', 0, 0, 0}, L"Hi", UTF16, UTF16},
        {{'H', 0, 'i', 0}, L"Hi", UTF16, UTF16},
        {{'H', 0, 'i', 0, 0, 0, 0, 0}, L"Hi", UTF16, UTF16},
        {{'H', 0, 0, 0, 'i', 0, 0x11, 0}, L"H", UTF16, UTF16},  // past the last code point
        {{'H', 0, 'i', 0, '!', 0, 0, 0}, L"Hi!", UTF16, UTF16},
        {{'1', 0, '\n', 0, '2', 0, 0, 0}, L"1\n2", UTF16, UTF16},
        {{0xB5, 0xF3, 1, 0, 'A', 0, 0, 0}, XStr{0x1F3B5, L'A'}, Wide, Wide},
        {{1, 1, 14, 0, 'A', 0, 0, 0}, XStr{0xE0101, L'A'}, Wide, Wide},
        {{0, 0, 1, 0}, XStr{0x10000}, Wide, Wide},
        {{0x3C, 0xD8, 0, 0, 0xB5, 0xDF, 0, 0}, L"\xD83C\xDFB5", Wide, Wide},
        {{0x3C, 0xD8, 0xB5, 0xDF, 0, 0}, L"\xD83C\xDFB5", UTF16, UTF16},
        // Cut off or of odd size: completed by zeros, so that no byte is lost.
        {{'H', 0, 'i'}, L"Hi", UTF16, UTF16},
        {{'H', 0, 0, 0, 'i', 0}, L"Hi", Wide, Wide},
        {{'H', 0, 0, 0, 'i'}, L"Hi", Wide, Wide},
        {{'H'}, L"H", Wide, UTF16},
    };
    for (const auto& c : cases) {
        // An entry that tells nothing before it, one of the other form behind it.
        const Bytes after = c.wide == Wide ? Bytes{'u', 0, 'x', 0, 0, 0} : Bytes{'u', 0, 0, 0, 'x', 0, 0, 0};
        ListBytes list = ListBytes().Entry("IART", {'A', 0, 0, 0}).Entry("INAM", c.text);
        for (const auto& [asked, expected] : {std::pair(Wide, c.wide), std::pair(UTF16, c.utf16)}) {
            const Reading reading(list.data, asked);
            ASSERT_EQ(reading.pairs.size(), 2u);
            EXPECT_EQ(reading.pairs[1].second, SplitIntoUnits(c.value)) << testing::PrintToString(c.text);
            EXPECT_EQ(reading.text, expected) << testing::PrintToString(c.text);
        }
        if (c.wide != c.utf16) continue;
        const Reading mixed(ListBytes(list).Entry("ICMT", after).data, Wide);
        EXPECT_EQ(mixed.pairs.back().second, L"ux");
        EXPECT_EQ(mixed.text, c.wide) << testing::PrintToString(c.text);
    }
}

TEST(SummaryList, HalfTextIsReadAsCodesWhateverItsBytesAre) {
    const std::pair<Bytes, XStr> cases[] = {
        {{'R', 0, 0, 0, 'o', 0, 0, 0}, L"Ro"},  // without a zero
        {{'R', 0, 0, 0, 'o', 0, 0}, L"Ro"},
        {{'H', 0, 'i', 0, 0, 0}, XStr{0x690048}},
        {{'R', 0, 0, 0, 0, 0, 0, 0, 'x', 0, 0, 0}, L"R"},
        {{0xFF, 0xFF, 0xFF, 0xFF}, XStr{static_cast<wchar_t>(-1)}},
        {{}, L""},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(Reading(ListBytes().Entry("INAM", text).data).pairs, (Pairs{{L"Title", value}}));
    }
}

TEST(SummaryList, DamageEndsTheListWhereItIs) {
    const Bytes good = ListBytes().Entry("INAM", {'A', 0, 0, 0}).Entry("ICMT", {'B', 0, 0, 0}).data;
    Bytes countTooHigh = good;
    countTooHigh[0] = 5;
    Bytes countTooLow = good;
    countTooLow[0] = 1;
    const struct {
        const char* name;
        Bytes list;
        size_t tags;
        bool corrupted;
    } cases[] = {
        {"empty", {}, 0, false},
        {"3 bytes", {1, 0, 0}, 0, false},
        {"count alone", {0, 0, 0, 0}, 0, false},
        {"count alone, too high", {9, 0, 0, 0}, 0, false},
        {"no room for a header", {9, 0, 0, 0, 'I', 'N', 'A', 'M', 4, 0, 0}, 0, false},
        {"count too high", countTooHigh, 2, false},
        {"count too low", countTooLow, 1, false},
        {"text cut off", Bytes(good.begin(), good.end() - 1), 1, true},
        {"header cut off", Bytes(good.begin(), good.end() - 5), 1, false},
        {"size of 2^32 - 1", ListBytes().Entry("INAM", {'A', 0, 0, 0}, 0xFFFFFFFF).data, 0, true},
    };
    for (const auto& c : cases) {
        for (const LISTText form : kForms) {
            const Reading reading(c.list, form);
            EXPECT_EQ(reading.pairs.size(), c.tags) << c.name;
            EXPECT_EQ(reading.result, c.tags > 0) << c.name;
            EXPECT_EQ(reading.capture.Errors(),
                      c.corrupted ? "Error LIST sub chunk is corrupted  [InitFrom]\r\n" : "")
                << c.name;
        }
    }
    LISTText text = LISTText::UTF16;
    NTag tags = TagsOf({{L"Title", L"old"}});
    EXPECT_FALSE(clRIFFSUMMARYLISTChunk::InitFrom(nullptr, 100, tags, {}, 0, text));
    EXPECT_EQ(tags.Count(), 0);
    EXPECT_NE(Reading(good).capture.Trace().find("Decoding LISTSUMMARY chunk:\r\n"), std::string::npos);
}

TEST(SummaryList, SurvivesRandomDamage) {
    const Bytes good = ListBytes()
                           .Entry("INAM", {'H', 0, 'e', 0, 'y', 0, 0, 0})
                           .Entry("IXYZ", {'H', 0, 0, 0, 'i', 0, 0, 0})
                           .Entry("ICMT", {})
                           .Entry("IPRD", {0xB5, 0xF3, 1, 0, 'A', 0, 0, 0})
                           .data;
    std::mt19937 random(20240607);
    size_t read = 0;
    for (int round = 0; round < 20000; ++round) {
        Bytes list = good;
        for (auto changes = random() % 5; changes > 0; --changes) {
            list[random() % list.size()] = static_cast<uint8_t>(random() % 3 ? random() % 24 : random());
        }
        list.resize(list.size() - random() % 3 * (random() % 8));
        LISTText form = kForms[round % 3];
        NTag tags;
        const Bytes exact(list.begin(), list.end());
        clRIFFSUMMARYLISTChunk::InitFrom(exact.data(), static_cast<unsigned>(exact.size()), tags, {}, 0,
                                         form);
        ASSERT_LE(static_cast<size_t>(tags.Count()), (list.size() - 4) / 8);
        read += static_cast<size_t>(tags.Count());
    }
    EXPECT_GT(read, 20000u);
}
