#include "HostWorkshop.h"
#include "TagBytes.h"

namespace w64 {

namespace {

using Copying = HostTest;

constexpr size_t kFrameBytes = 6;
constexpr uint64_t kTime = uint64_t{5} << 32;        // of its first frame since midnight
const Bytes kAudio = Pattern(48'000 * kFrameBytes);  // 2 s

Bytes BroadcastExtension(uint64_t time) {
    Bytes bext(338, 'b');
    Append(bext, time);
    return bext + Bytes(301, 'c');
}

// With chunks on both sides of the audio.
Bytes Recorded() {
    return Wave64Bytes()
        .Chunk("bext", BroadcastExtension(kTime))
        .Fmt(1, 2, 24000, 24)
        .Chunk("fact", {0x80, 0xBB, 0, 0})
        .Chunk("cue ", Pattern(28))
        .Data(kAudio)
        .SummaryList(List({{"INAM", Text(u"Song")}}))
        .Chunk("levl", Pattern(9))
        .Chunk("iXML", Pattern(33))
        .File();
}

Bytes DataOf(const Bytes& file, std::string_view code) {
    for (size_t at = 40; at < file.size();) {
        const auto size = base::Load<uint64_t>(file.data() + at + 16);
        if (std::equal(code.begin(), code.end(), file.begin() + static_cast<std::ptrdiff_t>(at)))
            return Slice(file, at + 24, at + size);
        at += (size + 7) / 8 * 8;
    }
    return {};
}

uint64_t TimeOf(const Bytes& file) {
    return base::Load<uint64_t>(Resized(DataOf(file, "bext"), 346).data() + 338);
}

}  // namespace

TEST_F(Copying, TakesEveryFrameAndChunkAsItIs) {
    const Bytes whole = Recorded();
    shop.Write("a.w64", whole);
    EXPECT_EQ(shop.Do("w64 copy a.w64 b.w64 && cmp a.w64 b.w64").errors, "");
    const std::string note =
        "w64: a.w64: note: left out, as they are about the whole: markers (cue), peak levels\n";
    EXPECT_EQ(shop.Do("w64 copy a.w64 start.w64 --end 0:00.5").errors, note);
    EXPECT_EQ(shop.Do("w64 copy a.w64 rest.w64 --start 12000f && w64 check start.w64 rest.w64").errors, note);
    const Bytes start = shop.Read("start.w64");
    const Bytes rest = shop.Read("rest.w64");
    EXPECT_EQ(DataOf(start, "data"), Slice(kAudio, 0, 12'000 * kFrameBytes));
    EXPECT_EQ(DataOf(rest, "data"), Slice(kAudio, 12'000 * kFrameBytes));
    EXPECT_EQ(DataOf(rest, "bext"), BroadcastExtension(kTime + 12'000));
    EXPECT_EQ(DataOf(rest, "fact"), (Bytes{0xA0, 0x8C, 0, 0}));
    EXPECT_EQ(DataOf(rest, "fmt "), DataOf(whole, "fmt "));
    EXPECT_EQ(DataOf(rest, "iXML"), Pattern(33));
    EXPECT_EQ(DataOf(rest, "cue ") + DataOf(rest, "levl"), Bytes());
    EXPECT_EQ(shop.Tags("rest.w64"), "Title=Song");
    EXPECT_HAS("tags before the audio, 4,072 bytes kept free", shop.Do("w64 check rest.w64").output);

    shop.Do("w64 copy start.w64 rest.w64 a.w64 joined.w64");
    EXPECT_EQ(DataOf(shop.Read("joined.w64"), "data"), kAudio + kAudio);
    EXPECT_EQ(TimeOf(shop.Read("joined.w64")), kTime);
    shop.Do("w64 copy start.w64 rest.w64 across.w64 --start 11999f --end 12002f");
    EXPECT_EQ(DataOf(shop.Read("across.w64"), "data"),
              Slice(kAudio, 11'999 * kFrameBytes, 12'002 * kFrameBytes));
    EXPECT_EQ(TimeOf(shop.Read("across.w64")), kTime + 11'999);
}

TEST_F(Copying, SplitsIntoPartsThatJoin) {
    shop.Write("a.w64", Recorded());
    const struct {
        std::string how;
        std::vector<int64_t> starts;
    } cases[] = {{"--every 1s", {0, 24'000}},
                 {"--every 0.7s", {0, 16'800, 33'600}},
                 {"--at 5f,1.5,47999f", {0, 5, 36'000, 47'999}},
                 {"--size 105kB", {0, 16'662, 33'324}},
                 {"--size '0.1 MiB'", {0, 16'638, 33'276}},
                 {"--size 4GiB", {0}}};
    for (const auto& [how, starts] : cases) {
        SCOPED_TRACE(how);
        shop.Do("rm -f a-*; w64 split a.w64 " + how +
                " && w64 check -q a-*.w64 && w64 copy a-*.w64 -f joined.w64");
        EXPECT_EQ(DataOf(shop.Read("joined.w64"), "data"), kAudio);
        EXPECT_EQ(shop.Files().size(), starts.size() + 2);
        for (size_t i = 0; i < starts.size(); ++i) {
            const Bytes part = shop.Read("a-00" + std::to_string(i + 1) + ".w64");
            EXPECT_EQ(TimeOf(part), kTime + static_cast<uint64_t>(starts[i]));
            const int64_t end = i + 1 < starts.size() ? starts[i + 1] : 48'000;
            EXPECT_EQ(std::ssize(DataOf(part, "data")), (end - starts[i]) * int64_t{kFrameBytes});
            if (how == "--size 105kB" && i < 2) {
                EXPECT_EQ(part.size(), 105'000u);
            }
        }
    }

    shop.Do("w64 split a.w64 --channels -o 'of {name} {n}.w64' && w64 check -q of*");
    EXPECT_EQ(DataOf(shop.Read("of a left.w64"), "cue "), Pattern(28));
    const Bytes left = DataOf(shop.Read("of a left.w64"), "data");
    const Bytes right = DataOf(shop.Read("of a right.w64"), "data");
    Bytes dealt;
    for (size_t at = 0; at < left.size(); at += 3) {
        dealt = std::move(dealt) + Slice(left, at, at + 3) + Slice(right, at, at + 3);
    }
    EXPECT_EQ(dealt, kAudio);
}

TEST_F(Copying, RefusesWhatItCannotDoWithoutLoss) {
    const auto file = [](uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits) {
        return Wave64Bytes().Fmt(tag, channels, rate, bits).Data(Pattern(960)).File();
    };
    const auto speakers = [](uint32_t mask) {
        const Bytes record = Wave64Bytes::ExtensibleBody(1, 2, 48000, 24, mask);
        return Wave64Bytes().Chunk("fmt ", record).Data(Pattern(960)).File();
    };
    shop.Write("a.w64", file(1, 2, 48000, 24));
    shop.Write("usual.w64", speakers(3));
    shop.Do("w64 copy a.w64 usual.w64 all.w64 && w64 compare a.w64 a.w64");
    shop.Write("rate.w64", file(1, 2, 44100, 24));
    shop.Write("bits.w64", file(1, 2, 48000, 16));
    shop.Write("mono.w64", file(1, 1, 48000, 24));
    shop.Write("float.w64", file(3, 2, 48000, 32));
    shop.Write("sides.w64", speakers(0x600));
    shop.Write("mpeg.w64", Wave64Bytes().Fmt(85, 2, 48000, 0).Data(Pattern(960)).File());
    shop.Write("cut.w64", Resized(file(1, 2, 48000, 24), 500));
    shop.Write("a-left.w64", {});
    shop.ExpectRefused(
        {{"copy a.w64 rate.w64 b.w64", 1,
          "rate.w64: cannot be joined: it has 44100 Hz, the first file 48000 Hz"},
         {"copy a.w64 bits.w64 b.w64", 1, "it has 16 bits, the first file 24 bits"},
         {"copy a.w64 mono.w64 b.w64", 1, "it has 1 channel, the first file 2 channels"},
         {"copy a.w64 float.w64 b.w64", 1, "it has float, the first file PCM"},
         {"copy a.w64 sides.w64 b.w64", 1, "it has side left, side right, the first file the usual speakers"},
         {"copy mpeg.w64 b.w64 --end 1", 1, "MPEG Layer 3 audio can be copied whole only"},
         {"copy cut.w64 b.w64", 1,
          "cut.w64: the file is damaged; w64 repair makes it sound if it can: 'data'"},
         {"copy a.w64 a.w64 -f", 1, "the output would replace this file itself"},
         {"copy rate.w64 a.w64 a.w64 -f", 1, "the output would replace this file itself"},
         {"copy a.w64 mono.w64", 1, "'mono.w64' exists already"},
         {"copy a.w64 b.w64 --start 160f", 1, "the audio lasts 0:00:00.003 (160 frames)"},
         {"copy a.w64 b.w64 --start 9f --end 9f", 1, "no audio between"},
         {"copy a.w64 b.wav", 2, "should end in .w64"},
         {"copy a.w64", 2, "give the files to copy and, last, the file to write"},
         {"split a.w64 --channels", 1, "'a-left.w64' exists already"},
         {"split a.w64 --size 4kB", 1, "holds no audio: its headers and tags alone take 4,208 bytes"},
         {"split a.w64 --every 1x", 2, "'1x' is neither a time"},
         {"split a.w64 --size 1XB", 2, "'1XB' is not a size"},
         {"split a.w64 --at 9f,9f", 1, "should ascend"},
         {"split a.w64 --at 160f", 1, "--at is at or past the end"},
         {"split a.w64 --every 1h --channels", 2, "give one of --every"},
         {"split a.w64 --every 1h -o part.w64", 2, "should have {n}"},
         {"split mpeg.w64 --every 1h", 1, "MPEG Layer 3 audio can be copied whole only"}});
    shop.Do("w64 copy mpeg.w64 b.w64 && cmp mpeg.w64 b.w64");
}

}  // namespace w64
