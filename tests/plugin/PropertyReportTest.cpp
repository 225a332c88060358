#include "PluginHost.h"
#include "tags/NTag.h"

namespace w64 {

namespace {

using Sections = std::vector<std::pair<XStr, XStr>>;

class PropertyReport : public testing::Test {
protected:
    Sections Report(const Bytes& file, int64_t rangeStart = 0, int64_t rangeEnd = -1) {
        PluginHost host;
        host.SetRange(rangeStart, rangeEnd);
        host.Open(folder.Write("a.w64", file), kvOpenProperties | kvOpenAudioInfo);
        trace = host.capture.Trace();
        milliseconds = host.open.AudioInfo.LengthMilliseconds;
        NTag tags;
        tags.InitFromRawMemory(static_cast<uint8_t*>(host.open.Properties), host.open.PropertiesSize);
        Sections sections;
        for (int i = 0; i < tags.Count(); ++i) sections.emplace_back(tags[i].Name, tags[i].Value);
        return sections;
    }

    // "-" for a section that is not there.
    static XStr Section(const Sections& sections, const XStr& name) {
        const auto found = std::ranges::find(sections, name, &Sections::value_type::first);
        return found != sections.end() ? found->second : L"-";
    }

    const TempFolder folder;
    std::string trace;
    int64_t milliseconds = 0;
};

Bytes Linear(uint16_t tag, uint16_t bits, uint32_t rate) { return Wave64Bytes::FmtBody(tag, 2, rate, bits); }

// The average alone tells how good it is.
Bytes Compressed(uint16_t tag, uint16_t channels, uint32_t bytesPerSecond) {
    Bytes body = Wave64Bytes::FmtBody(tag, channels, 44100, 0);
    base::Store(body.data() + 8, bytesPerSecond);
    base::Store<uint16_t>(body.data() + 12, 12);
    return body;
}

Bytes Channels(uint16_t count, uint32_t mask) {
    return Wave64Bytes::ExtensibleBody(1, count, 48000, 24, mask);
}

}  // namespace

TEST_F(PropertyReport, SaysInWordsWhatTheFormatIs) {
    const XStr quality = L"Audio Quality", encoder = L"Encoder Settings", header = L"Wave Header";
    const XStr mapping = L"Channel Mapping", gapless = L"Gapless";
    const Bytes plain = Linear(1, 16, 44100), extensible = Channels(2, 3);
    const struct {
        Bytes fmt;
        XStr section, text;
    } cases[] = {
        {Linear(1, 16, 48000), quality, L"DAT  (Lossless)"},
        {Linear(3, 32, 96000), quality, L"DVD  (Lossless)"},
        {extensible, quality, L"DVD  (Lossless)"},
        {Linear(1, 24, 47999), quality, L"Perfect  (Lossless)"},
        {Linear(1, 16, 96000), quality, L"Perfect  (Lossless)"},

        {Compressed(85, 2, 23875), quality, L"High  (Lossy)"},    // 95500 bits per second and channel
        {Compressed(85, 2, 23874), quality, L"Medium  (Lossy)"},  //
        {Compressed(85, 1, 7938), quality, L"Medium  (Lossy)"},   // 63504
        {Compressed(85, 1, 7937), quality, L"Low  (Lossy)"},      //
        {Compressed(80, 1, 15938), quality, L"High  (Lossy)"},    // 127504
        {Compressed(80, 1, 15937), quality, L"Medium  (Lossy)"},  //
        {Compressed(80, 1, 9938), quality, L"Medium  (Lossy)"},   // 79504
        {Compressed(80, 0, 9937), quality, L"Low  (Lossy)"},      // no channels count as one
        {Compressed(2, 1, 15938), quality, L"Medium  (Lossy)"},
        {Compressed(2, 1, 15937), quality, L"Low  (Lossy)"},
        {Compressed(6, 1, 0xFFFFFFFF), quality, L"Medium  (Lossy)"},     // more bits than 32 can count
        {Compressed(85, 65535, 0xFFFFFFFF), quality, L"High  (Lossy)"},  // 524296 a channel
        {Compressed(0xFFFE, 1, 15938), quality, L"Medium  (Lossy)"},     // extensible by name alone

        {extensible, encoder, L"PCM"},
        {Linear(3, 32, 44100), encoder, L"IEEE Float"},
        {Linear(3, 32, 44100), gapless, L"Yes"},
        {Compressed(2, 1, 15937), gapless, L"Yes"},
        {Compressed(80, 1, 15938), gapless, L"No"},

        {Resized(plain, 14), header, L"Wave Format"},
        {Resized(plain, 16), header, L"Wave Format PCM"},
        {Resized(plain, 17), header, L"Invalid"},
        {Resized(plain, 40), header, L"Wave Format Extended"},
        {extensible, header, L"Wave Format Extensible"},
        {Resized(extensible, 39), header, L"Wave Format Extended"},

        {Channels(0, 0), mapping, L""},
        {Wave64Bytes::FmtBody(1, 1, 48000, 16), mapping, L"Center"},
        {Channels(8, 0), mapping,
         L"Left, Right, Center, Sub-woofer, Back Left, Back Right, Side Left, Side Right"},
        {Channels(9, 0), mapping, L""},
        {Channels(9, 3), mapping, L"Left,  Right"},
        {Channels(1, 0x20800), mapping, L"Top Center,  Top Back Right"},
        {Channels(2, 0xFFFC0000), mapping, L""},  // assigned to nothing that has a name
    };
    for (const auto& c : cases) {
        const Bytes file = Wave64Bytes().Chunk("fmt ", c.fmt).Data(Pattern(600)).File();
        EXPECT_EQ(Section(Report(file), c.section), c.text) << &c - cases;
    }
}

TEST_F(PropertyReport, CountsTheSamplesAndTimesTheWholeFileByItsFactChunk) {
    const Bytes pcm = Linear(1, 16, 44100), mpeg = Compressed(85, 2, 16000);
    const Bytes fact = {0x87, 0xD6, 0x12, 0, 9};  // 1234567
    const Bytes tooShort = {0x87, 0xD6, 0x12}, none = {0, 0, 0, 0};
    const struct {
        Bytes fmt, fact;
        int64_t rangeStart, rangeEnd;
        const wchar_t* count;
        int64_t milliseconds;
    } cases[] = {
        {pcm, fact, 0, -1, L"1,234,567", 27994},
        {pcm, fact, 0, 1000, L"1,234,567", 22},
        {pcm, fact, 500, -1, L"1,234,567", 22},
        {pcm, none, 0, 1000, L"1,000", 22},
        {pcm, tooShort, 0, -1, L"1,500", 34},
        {mpeg, none, 0, -1, L"-", 375},
        {mpeg, fact, 0, -1, L"1,234,567", 27994},
        {Wave64Bytes::FmtBody(1, 0, 44100, 16), none, 0, -1, L"6,003", 6003000},  // a block align of 0
    };
    for (const auto& c : cases) {
        const auto file = Wave64Bytes().Chunk("fmt ", c.fmt).Chunk("fact", c.fact).Data(Pattern(6003)).File();
        EXPECT_EQ(Section(Report(file, c.rangeStart, c.rangeEnd), L"Sample Count"), c.count);
        EXPECT_EQ(milliseconds, c.milliseconds);
    }
}

TEST_F(PropertyReport, ListsTheSectionsThatAreAnnouncedAndTracesThem) {
    const Bytes list = {1, 0, 0, 0, 'I', 'N', 'A', 'M', 4, 0, 0, 0, 'x', 0, 0, 0};
    Wave64Bytes file = Wave64Bytes().Fmt(1, 2, 44100, 16).SummaryList(list);
    file.Chunk(std::string_view("a\0b\r", 4), Pattern(1536)).Data(Pattern(400), uint64_t{3} << 30);
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
    EXPECT_EQ(Report(file.File(uint64_t{1} << 40)), expected);
    std::string lines;
    for (const auto& [name, text] : expected) lines += "\t" + ToUTF8(name) + ": " + ToUTF8(text) + "\r\n";
    EXPECT_HAS(lines, trace);

    const PluginHost host;
    STKvCodecGetSet record{};
    ASSERT_EQ(Plugin().Get(host.handle, L"Property Elements", &record), 1);
    const XStr announced = L"\r" + XStr(record.Text1) + L"\r";
    for (const auto& [name, text] : expected) EXPECT_HAS(L"\r" + name + L"\r", announced);

    EXPECT_EQ(Report(Wave64Bytes().Fmt(1, 2, 44100, 16).File()), Sections()) << "no audio, no report";
}

}  // namespace w64
