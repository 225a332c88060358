#include "PluginHost.h"
#include "Wave64Bytes.h"
#include "tags/NTag.h"

#include <gtest/gtest.h>

namespace {

using Sections = std::vector<std::pair<XStr, XStr>>;

class PropertyReport : public testing::Test {
protected:
    Sections Report(const Bytes& file, int64_t rangeEnd = -1) {
        PluginHost host;
        host.SetRange(0, rangeEnd);
        EXPECT_EQ(host.Open(folder.Write("a.w64", file), kvOpenProperties), 1);
        trace = host.capture.Trace();
        NTag tags;
        tags.InitFromRawMemory(static_cast<uint8_t*>(host.open.Properties), host.open.PropertiesSize);
        Sections sections;
        for (int i = 0; i < tags.Count(); ++i) sections.emplace_back(tags[i].Name, tags[i].Value);
        return sections;
    }

    // "-" for a section that is not there.
    static XStr Section(const Sections& sections, const wchar_t* name) {
        for (const auto& [section, text] : sections) {
            if (section == name) return text;
        }
        return L"-";
    }

    XStr SectionOf(const Bytes& fmt, const wchar_t* name) {
        return Section(Report(Wave64Bytes().Chunk("fmt ", fmt).Data(Pattern(600)).File()), name);
    }

    const TempFolder folder;
    std::string trace;
};

// Compressed audio: the average alone tells how good it is.
Bytes Compressed(uint16_t tag, uint16_t channels, uint32_t bytesPerSecond, uint16_t blockAlign = 12) {
    Bytes body = Wave64Bytes::FmtBody(tag, channels, 44100, 0);
    Store(body.data() + 8, bytesPerSecond);
    Store(body.data() + 12, blockAlign);
    return body;
}

Bytes WithSize(Bytes body, size_t size) {
    body.resize(size);
    return body;
}

}  // namespace

TEST_F(PropertyReport, GradesLosslessAudioByBitsAndRate) {
    const struct {
        uint16_t tag, bits;
        uint32_t rate;
        const wchar_t* quality;
    } cases[] = {
        {1, 16, 44100, L"CD  (Lossless)"},      {1, 16, 48000, L"DAT  (Lossless)"},
        {1, 24, 48000, L"DVD  (Lossless)"},     {3, 32, 96000, L"DVD  (Lossless)"},
        {1, 24, 44100, L"Perfect  (Lossless)"}, {1, 24, 47999, L"Perfect  (Lossless)"},
        {1, 16, 96000, L"Perfect  (Lossless)"}, {1, 8, 44100, L"Perfect  (Lossless)"},
    };
    for (const auto& c : cases) {
        for (const Bytes& fmt : {Wave64Bytes::FmtBody(c.tag, 2, c.rate, c.bits),
                                 Wave64Bytes::ExtensibleBody(c.tag, 2, c.rate, c.bits, 3)}) {
            const Sections report = Report(Wave64Bytes().Chunk("fmt ", fmt).Data(Pattern(600)).File());
            EXPECT_EQ(Section(report, L"Audio Quality"), c.quality) << c.bits << ' ' << c.rate;
            EXPECT_EQ(Section(report, L"Encoder Settings"), c.tag == 1 ? L"PCM" : L"IEEE Float");
            EXPECT_EQ(Section(report, L"Gapless"), L"Yes");
        }
    }
}

TEST_F(PropertyReport, GradesLossyAudioByTheBitRateOfAChannel) {
    const XStr high = L"High  (Lossy)", medium = L"Medium  (Lossy)", low = L"Low  (Lossy)";
    const struct {
        uint16_t tag, channels;
        uint32_t bytesPerSecond;
        XStr quality;
        const wchar_t* gapless;
    } cases[] = {
        {85, 2, 16000, medium, L"No"},         // 128000 bits per second
        {85, 2, 23875, high, L"No"},           // 95500 a channel
        {85, 2, 23874, medium, L"No"},         //
        {85, 1, 7938, medium, L"No"},          // 63504
        {85, 1, 7937, low, L"No"},             // 63496
        {80, 1, 15938, high, L"No"},           // 127504
        {80, 1, 15937, medium, L"No"},         //
        {80, 1, 9938, medium, L"No"},          // 79504
        {80, 0, 9937, low, L"No"},             // no channels count as one
        {2, 1, 15938, medium, L"Yes"},         //
        {2, 1, 15937, low, L"Yes"},            //
        {6, 1, 0xFFFFFFFF, medium, L"No"},     // more bits than 32 can count
        {85, 65535, 0xFFFFFFFF, high, L"No"},  // 524296 a channel
        {0xFFFE, 1, 15938, medium, L"No"},     // extensible by name alone
    };
    for (const auto& c : cases) {
        const Bytes fmt = Compressed(c.tag, c.channels, c.bytesPerSecond);
        EXPECT_EQ(SectionOf(fmt, L"Audio Quality"), c.quality) << c.tag << ' ' << c.bytesPerSecond;
        EXPECT_EQ(SectionOf(fmt, L"Gapless"), c.gapless) << c.tag;
    }
}

TEST_F(PropertyReport, NamesTheFormOfTheHeader) {
    const Bytes plain = Wave64Bytes::FmtBody(1, 2, 44100, 16);
    const Bytes extensible = Wave64Bytes::ExtensibleBody(1, 2, 44100, 16, 3);
    const std::pair<Bytes, const wchar_t*> cases[] = {
        {WithSize(plain, 14), L"Wave Format"},     {WithSize(plain, 15), L"Invalid"},
        {WithSize(plain, 16), L"Wave Format PCM"}, {WithSize(plain, 17), L"Invalid"},
        {plain, L"Wave Format Extended"},          {WithSize(plain, 40), L"Wave Format Extended"},
        {extensible, L"Wave Format Extensible"},   {WithSize(extensible, 39), L"Wave Format Extended"},
    };
    for (const auto& [fmt, name] : cases) EXPECT_EQ(SectionOf(fmt, L"Wave Header"), name) << fmt.size();
}

TEST_F(PropertyReport, NamesTheLoudspeakers) {
    const wchar_t* byCount[] = {
        L"",
        L"Center",
        L"Left, Right",
        L"Left, Right, Sub-woofer",
        L"Left, Right, Back Left, Back Right",
        L"Left, Right, Center, Back Left, Back Right",
        L"Left, Right, Center, Sub-woofer, Back Left, Back Right",
        L"Left, Right, Center, Sub-woofer, Back Left, Back Right, Back Center",
        L"Left, Right, Center, Sub-woofer, Back Left, Back Right, Side Left, Side Right",
        L"",
    };
    for (uint16_t count = 0; count < uint16_t{std::size(byCount)}; ++count) {
        EXPECT_EQ(SectionOf(Wave64Bytes::FmtBody(1, count, 48000, 16), L"Channel Mapping"), byCount[count]);
        const Bytes unassigned = Wave64Bytes::ExtensibleBody(1, count, 48000, 16, 0);
        EXPECT_EQ(SectionOf(unassigned, L"Channel Mapping"), byCount[count]);
    }
    const std::pair<uint32_t, const wchar_t*> byMask[] = {
        {0x00003, L"Left,  Right"},
        {0x00004, L"Center"},
        {0x80000000, L""},  // assigned to nothing that has a name
        {0xFFFFFFFF,
         L"Left,  Right,  Center,  Sub-woofer,  Back Left,  Back Right,  Left of Center,  "
         L"Right of Center,  Back Center,  Side Left,  Side Right,  Top Center,  Top Front Left,  "
         L"Top Front Center,  Top Front Right,  Top Back Left,  Top Back Center,  Top Back Right"},
    };
    for (const auto& [mask, names] : byMask) {
        EXPECT_EQ(SectionOf(Wave64Bytes::ExtensibleBody(1, 2, 48000, 16, mask), L"Channel Mapping"), names);
    }
}

TEST_F(PropertyReport, CountsTheSamples) {
    const Bytes pcm = Wave64Bytes::FmtBody(1, 2, 44100, 16), mpeg = Compressed(85, 2, 16000);
    const Bytes fact = {0x87, 0xD6, 0x12, 0}, none = {0, 0, 0, 0};  // 1234567
    const struct {
        Bytes fmt, fact;
        int64_t rangeEnd;
        const wchar_t* count;
    } cases[] = {
        {pcm, none, -1, L"1,500"},
        {pcm, none, 1000, L"1,000"},
        {pcm, fact, -1, L"1,234,567"},
        {pcm, fact, 7, L"1,234,567"},
        {mpeg, none, -1, L"-"},
        {mpeg, fact, -1, L"1,234,567"},
        {Wave64Bytes::FmtBody(1, 0, 44100, 16), none, -1, L"6,003"},  // a block align of 0
    };
    for (const auto& c : cases) {
        const Bytes file =
            Wave64Bytes().Chunk("fmt ", c.fmt).Chunk("fact", c.fact).Data(Pattern(6003)).File();
        EXPECT_EQ(Section(Report(file, c.rangeEnd), L"Sample Count"), c.count);
    }
}

TEST_F(PropertyReport, ListsTheSectionsInOrderAndTracesThem) {
    // A list of one tag; the identifier has a tail of its own.
    constexpr int kSecondChunk = 40 + 24 + 18 + 6;
    const Bytes tag = {1, 0, 0, 0, 'I', 'N', 'A', 'M', 4, 0, 0, 0, 'x', 0, 0, 0};
    Bytes file = Wave64Bytes()
                     .Fmt(1, 2, 44100, 16)
                     .Chunk("\xBC\x94\x5F\x92", tag)
                     .Chunk(std::string_view("a\0b\r", 4), Pattern(1536))
                     .Data(Pattern(400), uint64_t{3} << 30)
                     .File(uint64_t{1} << 40);
    const Bytes tail = {0x5A, 0x52, 0xD2, 0x11, 0x86, 0xDC, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
    std::ranges::copy(tail, file.begin() + kSecondChunk + 4);
    const Sections expected = {
        {L"Audio Quality", L"CD  (Lossless)"},
        {L"Encoder Settings", L"PCM"},
        {L"Wave Header", L"Wave Format Extended"},
        {L"Channel Mapping", L"Left, Right"},
        {L"Sample Count", L"805,306,362"},
        {L"Riff Chunks", L"'fmt ' 18 bytes,  SUMMARYLIST 16 bytes,  'a' 1.50 KB,  'data' 3.00 GB"},
        {L"ID Tag", L"SUMMARYLIST"},
        {L"Contains", L"ID Tag [SUMMARYLIST]"},
        {L"Gapless", L"Yes"},
    };
    EXPECT_EQ(Report(file), expected);
    std::string lines;
    for (const auto& [name, text] : expected) lines += "\t" + ToUTF8(name) + ": " + ToUTF8(text) + "\r\n";
    EXPECT_NE(trace.find(lines), std::string::npos) << trace;
}

TEST_F(PropertyReport, IsMissingWhereTheFormatCannotBeRead) {
    EXPECT_EQ(Report(Wave64Bytes().Fmt(1, 2, 44100, 16).File()), Sections());
}
