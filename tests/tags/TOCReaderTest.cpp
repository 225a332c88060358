#include "tags/clTOCReader.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <tuple>
#include <vector>

namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr uint8_t kData = TOCTrack::kDataTrack;

struct Entry {
    int number;
    uint8_t control;
    uint32_t lba;
};

TOC Record(int first, int last, std::initializer_list<Entry> entries) {
    TOC toc{};
    toc.FirstTrack = static_cast<uint8_t>(first);
    toc.LastTrack = static_cast<uint8_t>(last);
    TOCTrack* track = toc.Tracks;
    for (const Entry& entry : entries) {
        track->ControlAndAdr = static_cast<uint8_t>(0x10 | entry.control);
        track->TrackNumber = static_cast<uint8_t>(entry.number);
        clTOCReader::LBAAddressFromDWORD(entry.lba, track->Address);
        ++track;
    }
    return toc;
}

const TOC kAudioDisc = Record(1, 2, {{1, 0, 0}, {2, 0, 20000}, {170, 0, 40000}});
const TOC kExtraDisc = Record(1, 3, {{1, 0, 0}, {2, 0, 20000}, {3, kData, 40000}, {170, 0, 60000}});
const TOC kMixedDisc = Record(1, 2, {{1, kData, 0}, {2, 0, 20000}, {170, 0, 40000}});
const TOC kEndless = Record(1, 3, {{1, 0, 0}});  // its last track is not there

}  // namespace

TEST(TOCReader, LimitsTheTrackNumbers) {
    const struct {
        int first, last, expectedFirst, expectedLast;
    } cases[] = {{1, 120, 1, 99}, {5, 3, 3, 3}, {200, 150, 99, 99}, {2, 9, 2, 9}};
    for (const auto& [first, last, expectedFirst, expectedLast] : cases) {
        const clTOCReader reader(Record(first, last, {}));
        EXPECT_EQ(reader.FirstTrack(), expectedFirst);
        EXPECT_EQ(reader.LastTrack(), expectedLast);
        EXPECT_EQ(reader.TrackCount(), expectedLast - expectedFirst + 1);
    }
    const clTOCReader reader(kAudioDisc);
    EXPECT_EQ(reader.Track(-5).TrackNumber, 1);
    EXPECT_EQ(reader.LBAAddress(2), 40000u);
    EXPECT_EQ(&reader.Track(1000), &reader.Track(99));
}

TEST(TOCReader, TellsAudioFromData) {
    const struct {
        TOC toc;
        int audioTracks;
        bool extra;
    } cases[] = {
        {kAudioDisc, 2, false},
        {kExtraDisc, 2, true},
        {kMixedDisc, 1, false},
        {kEndless, 1, true},
        {Record(1, 2, {{1, kData, 0}, {2, kData, 9}, {2, 0, 9}}), 0, false},
        {Record(1, 1, {{1, kData, 0}}), 0, false},
        {TOC{}, 0, false},
    };
    for (const auto& [toc, audioTracks, extra] : cases) {
        const clTOCReader reader(toc);
        EXPECT_EQ(reader.AudioTrackCount(), audioTracks);
        EXPECT_EQ(reader.HasAudioTracks(), audioTracks > 0);
        EXPECT_EQ(reader.IsCDExtra(), extra);
    }

    TOC moved = kExtraDisc;
    EXPECT_FALSE(clTOCReader::WasCDExtra(kExtraDisc, moved));
    moved.Tracks[0].Address[3] = 9;
    EXPECT_FALSE(clTOCReader::WasCDExtra(kExtraDisc, moved));
    moved.Tracks[1].Address[3] = 9;
    EXPECT_TRUE(clTOCReader::WasCDExtra(kExtraDisc, moved));
    TOC behindTheLast = kExtraDisc;
    behindTheLast.Tracks[0].TrackNumber = 3;
    EXPECT_FALSE(clTOCReader::WasCDExtra(behindTheLast, moved));
    moved.LastTrack = 0;
    EXPECT_FALSE(clTOCReader::WasCDExtra(kExtraDisc, moved));
}

TEST(TOCReader, ConvertsAddresses) {
    EXPECT_EQ(clTOCReader::MSFtoLBA(0, 2, 0, true), 0);
    EXPECT_EQ(clTOCReader::MSFtoLBA(0, 1, 0, true), 0);
    EXPECT_EQ(clTOCReader::MSFtoLBA(1, 2, 3, false), 4653);
    EXPECT_EQ(clTOCReader::MSFtoLBA(kMost, kMost, kMost, false), kMost);
    EXPECT_EQ(clTOCReader::LBATomSecTime(76), 1013u);
    EXPECT_EQ(clTOCReader::LBATomSecTime(0xFFFFFFFF), static_cast<uint32_t>(0xFFFFFFFFull * 1000 / 75));
    EXPECT_EQ(clTOCReader::MSFTomSecTime(1, 2, 3), 62040);
    EXPECT_EQ(clTOCReader::MSFTomSecTime(-kMost, 0, 0), -kMost - 1);
    const struct {
        int lba;
        bool offset;
        int minute, second, frame;
    } cases[] = {{0, true, 0, 2, 0}, {4653, false, 1, 2, 3}, {kMost, true, 477218, 37, 22}};
    for (const auto& [lba, offset, minute, second, frame] : cases) {
        int m = -1, s = -1, f = -1;
        clTOCReader::LBAtoMSF(lba, m, s, f, offset);
        EXPECT_EQ(std::tuple(m, s, f), std::tuple(minute, second, frame)) << lba;
    }
    uint8_t address[4] = {};
    clTOCReader::MSFAddressFromLBADWORD(4503, address, true);
    EXPECT_EQ(std::to_array(address), (std::array<uint8_t, 4>{0, 1, 2, 3}));
    clTOCReader::LBAAddressFromDWORD(0x89ABCDEF, address);
    EXPECT_EQ(std::to_array(address), (std::array<uint8_t, 4>{0x89, 0xAB, 0xCD, 0xEF}));
    EXPECT_EQ(clTOCReader::LBAAddressToDWORD(address), 0x89ABCDEFu);
}

TEST(TOCReader, WritesTheTextForm) {
    const struct {
        TOC toc;
        const wchar_t* audioOnly;
        const wchar_t* withData;
    } cases[] = {
        {kAudioDisc, L"2+96+4EB6+9CD6", L"2+96+4EB6+9CD6"},
        {kExtraDisc, L"2+96+4F4C", L"2+96+4F4C+9CD6+EAF6"},
        {kMixedDisc, L"1+4EB6+9CD6", L"1+4EB6+9CD6+X96"},
        {Record(1, 1, {{1, 0, 0xFFFFFFFF}}), L"1+95+96", L"1+95+96"},
    };
    for (const auto& [toc, audioOnly, withData] : cases) {
        EXPECT_EQ(clTOCReader::CDExtraLBAToMicrosoftStrTOC(toc, false), audioOnly);
        EXPECT_EQ(clTOCReader::CDExtraLBAToMicrosoftStrTOC(toc, true), withData);
    }
    const XStr endless = clTOCReader::CDExtraLBAToMicrosoftStrTOC(kEndless, true);
    EXPECT_EQ(std::ranges::count(endless, L'+'), 99);
    EXPECT_TRUE(endless.ends_with(L"+96"));
}

TEST(TOCReader, ReadsTheTextForm) {
    XStr flood = L"200";
    for (int i = 0; i < 5000; ++i) flood += L"+96";
    const struct {
        XStr text;
        int entries, first, last;
        std::vector<Entry> tracks;
    } cases[] = {
        {L"2+96+4EB6+9CD6", 3, 1, 2, {{1, 0, 0}, {2, 0, 20000}, {170, 0, 40000}}},
        {L"1+4eb6+9cd6+x", 3, 1, 2, {{1, 0, 20000}, {2, kData, 40000 - 150}, {170, 0, 0u - 150}}},
        {L"1+4EB6+9CD6+X96", 3, 1, 2, {{1, kData, 0}, {2, 0, 20000}, {170, 0, 40000}}},
        {L"1+X96", 1, 0, 1, {{1, kData, 0}}},
        {L"", 0, 0, 0, {}},
        {L"5", 0, 0, 0, {}},
        {L"9++0x5+FFFFFFFFFFFFFFFFF", 3, 1, 2, {{1, 0, 0u - 150}, {2, 0, 0u - 150}, {170, 0, 0xFFFFFF69}}},
        {flood, 100, 1, 100, {{1, 0, 0}}},
        {flood + L"+X97", 100, 1, 100, {{1, kData, 1}, {2, 0, 0}}},
    };
    for (const auto& [text, entries, first, last, tracks] : cases) {
        const auto toc = std::make_unique<TOC>();  // on the heap, where a write past its end is caught
        clTOCReader::MicrosoftStrTOCToCDExtraLBA(text.c_str(), *toc);
        SCOPED_TRACE(ToUTF8(text.substr(0, 40)));
        EXPECT_EQ(toc->FirstTrack, first);
        EXPECT_EQ(toc->LastTrack, last);
        EXPECT_EQ(toc->Length >> 8 | (toc->Length & 0xFF) << 8, 2 + 8 * entries);
        for (size_t i = 0; i < tracks.size(); ++i) {
            EXPECT_EQ(toc->Tracks[i].TrackNumber, tracks[i].number);
            EXPECT_EQ(toc->Tracks[i].ControlAndAdr, tracks[i].control);
            EXPECT_EQ(clTOCReader::LBAAddressToDWORD(toc->Tracks[i].Address), tracks[i].lba);
        }
    }
}
