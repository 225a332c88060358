#include "PluginHost.h"
#include "Wave64Bytes.h"

#include <gtest/gtest.h>

namespace w64 {

namespace {

Bytes Cut(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

Bytes WithFmtOf(size_t size) {
    return Wave64Bytes()
        .Chunk("fmt ", Cut(Wave64Bytes::FmtBody(1, 2, 44100, 16), size))
        .Data(Pattern(8))
        .File();
}

Bytes WithFields(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits) {
    return Wave64Bytes().Fmt(tag, channels, rate, bits).Data(Pattern(400)).File();
}

}  // namespace

TEST(HostileInput, FailsWithAMessageOrDecodesWhatIsThere) {
    constexpr uint64_t huge = uint64_t{1} << 63;
    const TempFolder folder;
    const Bytes good = WithFields(1, 2, 44100, 16);
    Wave64Bytes tinyChunks;
    for (int i = 0; i < 500'000; ++i) tinyChunks.Chunk("bext", {});
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
        {"fmt cut off", Cut(Wave64Bytes().Data({}).Chunk("fmt ", Bytes(18)).File(), 40 + 24 + 24 + 10),
         "Error cannot read 'fmt ' chunk from file.", 0},
        {"data cut off", Cut(good, good.size() - 100), "Error reading data from file.  [ReadDataBlock]", 0},
        {"data claims 2^63", Wave64Bytes().Fmt(1, 2, 44100, 16).Data({}, huge - 8).File(huge - 1),
         "Error reading data from file.", 0},
        {"more chunks than are kept", tinyChunks.Fmt(1, 2, 44100, 16).Data(Pattern(400)).File(),
         "File error reading chunk.  [ScanFile]", 0},
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
        EXPECT_NE(host.capture.Errors().find(c.error ? c.error : ""), std::string::npos)
            << c.name << ": " << host.capture.Errors();
    }
}

// One byte changed at a time over the whole head of a good file: nothing may crash or hang.
TEST(HostileInput, SurvivesEveryChangedByte) {
    const TempFolder folder;
    const Bytes extensible = Wave64Bytes::ExtensibleBody(1, 2, 48000, 24, 3);
    const Bytes good =
        Wave64Bytes().Chunk("fmt ", extensible).Chunk("fact", Pattern(4)).Data(Pattern(600)).File();
    for (size_t i = 0; i < good.size() - 600; ++i) {
        for (const unsigned value : {0x00u, 0x01u, 0x7Fu, 0x80u, 0xFFu}) {
            Bytes file = good;
            file[i] = static_cast<uint8_t>(value);
            PluginHost host;
            host.Open(folder.Write("a.w64", file));
            EXPECT_LE(host.DecodeAll().size(), file.size()) << i;
        }
    }
}

}  // namespace w64
