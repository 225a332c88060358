#include "PluginHost.h"

namespace w64 {

namespace {

Bytes WithFmtOf(size_t size) {
    const Bytes format = Resized(Wave64Bytes::FmtBody(1, 2, 44100, 16), size);
    return Wave64Bytes().Chunk("fmt ", format).Data(Pattern(8)).File();
}

Bytes WithFields(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits) {
    return Wave64Bytes().Fmt(tag, channels, rate, bits).Data(Pattern(400)).File();
}

}  // namespace

TEST(HostileInput, FailsWithAMessageOrDecodesWhatIsThere) {
    constexpr uint64_t huge = uint64_t{1} << 63;
    const TempFolder folder;
    const Bytes good = WithFields(1, 2, 44100, 16);
    const char* badSize = "Error 'fmt ' chunk is a bad size.";
    const struct {
        const char* name;
        Bytes file;
        const char* error;  // null: no failure
        size_t decoded;
    } cases[] = {
        {"empty", {}, "Error cannot find 'fmt ' chunk.  [PullOutFMTnDATA]", 0},
        {"no data", Wave64Bytes().Fmt(1, 2, 44100, 16).File(), "Error cannot find 'data' chunk.", 0},
        {"fmt of 13", WithFmtOf(13), badSize, 0},
        {"fmt of 14", WithFmtOf(14), nullptr, 8},
        {"fmt of 128000", WithFmtOf(128000), nullptr, 8},
        {"fmt of 128001", WithFmtOf(128001), badSize, 0},
        {"fmt claims 2^63", Wave64Bytes().Data({}).Chunk("fmt ", {}, huge).File(huge), badSize, 0},
        {"fmt cut off", Resized(Wave64Bytes().Data({}).Chunk("fmt ", Bytes(18)).File(), 40 + 24 + 24 + 10),
         "Error cannot read 'fmt ' chunk from file.", 0},
        {"data cut off", Resized(good, good.size() - 100), "Error reading data from file.  [ReadDataBlock]",
         0},
        {"data claims 2^63", Wave64Bytes().Fmt(1, 2, 44100, 16).Data({}, huge - 8).File(huge - 1),
         "Error reading data from file.", 0},
        {"0 channels", WithFields(1, 0, 44100, 16), nullptr, 400},
        {"rate 0", WithFields(1, 2, 0, 16), nullptr, 400},
        {"0 bits", WithFields(1, 2, 44100, 0), nullptr, 400},
        {"all fields full", WithFields(1, 65535, 0xFFFFFFFF, 65535), nullptr, 0},
        {"float, all fields full", WithFields(3, 65535, 0xFFFFFFFF, 32), nullptr, 0},
    };
    for (const auto& c : cases) {
        PluginHost host;
        const bool opened = host.Open(folder.Write("a.w64", c.file)) == 1;
        EXPECT_EQ(host.DecodeAll().size(), c.decoded) << c.name;
        EXPECT_EQ(opened && host.block.EndOfStream == 1, c.error == nullptr) << c.name;
        EXPECT_HAS(c.error ? c.error : "", host.capture.Errors());
    }
}

// One byte changed at a time over the whole head of a good file: nothing may crash or hang.
TEST(HostileInput, SurvivesEveryChangedByte) {
    const TempFolder folder;
    const Bytes extensible = Wave64Bytes::ExtensibleBody(1, 2, 48000, 24, 3);
    const Bytes good =
        Wave64Bytes().Chunk("fmt ", extensible).Chunk("fact", Pattern(4)).Data(Pattern(600)).File();
    for (size_t i = 0; i < good.size() - 600; ++i) {
        for (const uint8_t value : Bytes{0x00, 0x7F, 0xFF}) {
            Bytes file = good;
            file[i] = value;
            PluginHost host;
            host.Open(folder.Write("a.w64", file));
            EXPECT_LE(host.DecodeAll().size(), file.size()) << i;
        }
    }
}

}  // namespace w64
