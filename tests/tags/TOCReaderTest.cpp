#include "tags/clTOCReader.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace w64 {

namespace {

constexpr uint8_t kData = TOCTrack::kDataTrack;

struct Entry {
    int number;
    int control;
    uint32_t lba;
};

TOC Record(int first, int last, const std::vector<Entry>& entries) {
    TOC toc{};
    const size_t bytes = 2 + 8 * entries.size();
    toc.Length = static_cast<uint16_t>(bytes >> 8 | bytes << 8);
    toc.FirstTrack = static_cast<uint8_t>(first);
    toc.LastTrack = static_cast<uint8_t>(last);
    TOCTrack* track = toc.Tracks;
    for (const auto& [number, control, lba] : entries) {
        track->ControlAndAdr = static_cast<uint8_t>(control);
        track->TrackNumber = static_cast<uint8_t>(number);
        clTOCReader::LBAAddressFromDWORD(lba, track++->Address);
    }
    return toc;
}

const TOC kAudioDisc = Record(1, 2, {{1, 0, 0}, {2, 0, 20000}, {170, 0, 40000}});
const TOC kExtraDisc =
    Record(1, 3, {{1, 0x10, 0}, {2, 0x10, 20000}, {3, 0x10 | kData, 40000}, {170, 0, 60000}});
const TOC kMixedDisc = Record(1, 2, {{1, kData, 0}, {2, 0, 20000}, {170, 0, 40000}});
const TOC kEndless = Record(1, 3, {{1, 0, 0}});  // its last track is not there

}  // namespace

TEST(TOCReader, LimitsTheTrackNumbers) {
    const std::tuple<TOC, int, int> cases[] = {
        {Record(1, 120, {}), 1, 99}, {Record(5, 3, {}), 3, 3}, {Record(200, 150, {}), 99, 99}};
    for (const auto& [toc, first, last] : cases) {
        const clTOCReader reader(toc);
        EXPECT_EQ(std::tuple(reader.FirstTrack(), reader.LastTrack(), reader.TrackCount()),
                  std::tuple(first, last, last - first + 1));
    }
    const clTOCReader reader(kAudioDisc);
    EXPECT_TRUE(reader.Track(-5).TrackNumber == 1 && reader.LBAAddress(2) == 40000);
    EXPECT_EQ(&reader.Track(1000), &reader.Track(99));
}

TEST(TOCReader, TellsAudioFromData) {
    const std::tuple<TOC, int, bool> cases[] = {
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
        EXPECT_EQ(std::tuple(reader.AudioTrackCount(), reader.HasAudioTracks(), reader.IsCDExtra()),
                  std::tuple(audioTracks, audioTracks > 0, extra));
    }

    TOC moved = kExtraDisc, afterTheLast = kExtraDisc;
    moved.Tracks[0].Address[3] = 9;
    EXPECT_FALSE(clTOCReader::WasCDExtra(kExtraDisc, moved));
    moved.Tracks[1].Address[3] = 9;
    EXPECT_TRUE(clTOCReader::WasCDExtra(kExtraDisc, moved));
    afterTheLast.Tracks[0].TrackNumber = 3;
    EXPECT_FALSE(clTOCReader::WasCDExtra(afterTheLast, moved));
    moved.LastTrack = 0;
    EXPECT_FALSE(clTOCReader::WasCDExtra(kExtraDisc, moved));
}

TEST(TOCReader, ConvertsAddresses) {
    EXPECT_EQ(clTOCReader::MSFtoLBA(0, 1, 0, true), 0);
    EXPECT_EQ(clTOCReader::MSFtoLBA(1, 2, 3, true), 4503);
    EXPECT_EQ(clTOCReader::MSFtoLBA(1, 2, 3, false), 4653);
    EXPECT_EQ(clTOCReader::MSFtoLBA(INT_MAX, INT_MAX, INT_MAX, false), INT_MAX);
    EXPECT_EQ(clTOCReader::LBATomSecTime(76), 1013u);
    EXPECT_EQ(clTOCReader::LBATomSecTime(0xFFFFFFFF), static_cast<uint32_t>(0xFFFFFFFFull * 1000 / 75));
    EXPECT_EQ(clTOCReader::MSFTomSecTime(1, 2, 3), 62040);
    EXPECT_EQ(clTOCReader::MSFTomSecTime(-INT_MAX, 0, 0), INT_MIN);
    const auto msf = [](int lba, bool pregap) {
        std::array<int, 3> time{};
        clTOCReader::LBAtoMSF(lba, time[0], time[1], time[2], pregap);
        return time;
    };
    EXPECT_EQ(msf(4653, false), (std::array{1, 2, 3}));
    EXPECT_EQ(msf(INT_MAX, true), (std::array{477218, 37, 22}));
    std::array<uint8_t, 4> address{};
    clTOCReader::MSFAddressFromLBADWORD(4503, address.data(), true);
    EXPECT_EQ(address, (std::array<uint8_t, 4>{0, 1, 2, 3}));
    clTOCReader::LBAAddressFromDWORD(0x89ABCDEF, address.data());
    EXPECT_EQ(address, (std::array<uint8_t, 4>{0x89, 0xAB, 0xCD, 0xEF}));
    EXPECT_EQ(clTOCReader::LBAAddressToDWORD(address.data()), 0x89ABCDEFu);
}

TEST(TOCReader, WritesTheTextForm) {
    const std::tuple<TOC, XStr, XStr> cases[] = {
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
    std::vector<Entry> kept = {{1, kData, 1}};
    for (int number = 2; number <= 100; ++number) kept.push_back({number, 0, 0});
    const std::pair<XStr, TOC> cases[] = {
        {L"2+96+4EB6+9CD6", kAudioDisc},
        {L"1+4eb6+9cd6+x", Record(1, 2, {{1, 0, 20000}, {2, kData, 40000 - 150}, {170, 0, 0u - 150}})},
        {L"1+4EB6+9CD6+X96", kMixedDisc},
        {L"1+X96", Record(0, 1, {{1, kData, 0}})},
        {L"5", Record(0, 0, {})},
        {L"9++0x5+FFFFFFFFFFFFFFFFF", Record(1, 2, {{1, 0, 0u - 150}, {2, 0, 0u - 150}, {170, 0, 0u - 151}})},
        {flood + L"+X97", Record(1, 100, kept)},
    };
    for (const auto& [text, expected] : cases) {
        const auto toc = std::make_unique<TOC>();  // on the heap, where a write past its end is caught
        clTOCReader::MicrosoftStrTOCToCDExtraLBA(text.c_str(), *toc);
        EXPECT_EQ(std::memcmp(toc.get(), &expected, sizeof expected), 0) << ToUTF8(text.substr(0, 40));
    }
}

}  // namespace w64
