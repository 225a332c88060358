#include "PluginHost.h"
#include "Wave64Bytes.h"

#include <gtest/gtest.h>

namespace {

Bytes FmtOf(size_t size) {
    Bytes body = Wave64Bytes::FmtBody(1, 2, 44100, 16);
    body.resize(size);
    return body;
}

Bytes TinyChunks(int count) {
    Wave64Bytes file;
    for (int i = 0; i < count; ++i) file.Chunk("bext", {});
    return file.Fmt(1, 2, 44100, 16).Data(Pattern(400)).File();
}

Bytes Cut(Bytes file, size_t size) {
    file.resize(size);
    return file;
}

}  // namespace

TEST(HostileInput, FailsWithAMessageOrDecodesWhatIsThere) {
    constexpr uint64_t huge = uint64_t{1} << 63;
    const TempFolder folder;
    const Bytes good = Wave64Bytes().Fmt(1, 2, 44100, 16).Data(Pattern(400)).File();
    const struct {
        const char* name;
        Bytes file;
        const char* error;  // null: no failure
        size_t decoded;
    } cases[] = {
        {"empty", {}, "Error cannot find 'fmt ' chunk.  [PullOutFMTnDATA]", 0},
        {"39 bytes", Cut(good, 39), "Error: File too small for RIFF.  [ScanFile]", 0},
        {"no fmt", Wave64Bytes().Data(Pattern(8)).File(), "Error cannot find 'fmt ' chunk.", 0},
        {"no data", Wave64Bytes().Fmt(1, 2, 44100, 16).File(), "Error cannot find 'data' chunk.", 0},
        {"fmt of 13", Wave64Bytes().Chunk("fmt ", FmtOf(13)).Data(Pattern(8)).File(),
         "Error 'fmt ' chunk is a bad size.", 0},
        {"fmt of 14", Wave64Bytes().Chunk("fmt ", FmtOf(14)).Data(Pattern(8)).File(), nullptr, 8},
        {"fmt of 128000", Wave64Bytes().Chunk("fmt ", FmtOf(128000)).Data(Pattern(8)).File(), nullptr, 8},
        {"fmt of 128001", Wave64Bytes().Chunk("fmt ", FmtOf(128001)).Data(Pattern(8)).File(),
         "is a bad size.", 0},
        {"fmt cut off", Cut(Wave64Bytes().Data({}).Chunk("fmt ", FmtOf(18)).File(), 40 + 24 + 24 + 10),
         "Error cannot read 'fmt ' chunk from file.", 0},
        {"data cut off", Cut(good, good.size() - 100), "Error reading data from file.  [ReadDataBlock]", 0},
        {"data claims 2 GiB",
         Wave64Bytes().Fmt(1, 2, 44100, 16).Data({}, uint64_t{1} << 31).File(uint64_t{1} << 32),
         "Error reading data from file.", 0},
        {"data claims 2^63", Wave64Bytes().Fmt(1, 2, 44100, 16).Data({}, huge - 8).File(huge - 1),
         "Error reading data from file.", 0},
        {"fmt claims 2^63", Wave64Bytes().Data({}).Chunk("fmt ", {}, huge).File(huge), "is a bad size.", 0},
        {"ten thousand tiny chunks", TinyChunks(10000), nullptr, 400},
        {"more chunks than are kept", TinyChunks(500001), "File error reading chunk.  [ScanFile]", 0},
        {"0 channels", Wave64Bytes().Fmt(1, 0, 44100, 16).Data(Pattern(400)).File(), nullptr, 400},
        {"rate 0", Wave64Bytes().Fmt(1, 2, 0, 16).Data(Pattern(400)).File(), nullptr, 400},
        {"0 bits", Wave64Bytes().Fmt(1, 2, 44100, 0).Data(Pattern(400)).File(), nullptr, 400},
        {"all fields full", Wave64Bytes().Fmt(1, 65535, 0xFFFFFFFF, 65535).Data(Pattern(400)).File(), nullptr,
         0},
        {"float, all fields full", Wave64Bytes().Fmt(3, 65535, 0xFFFFFFFF, 32).Data(Pattern(400)).File(),
         nullptr, 0},
    };
    for (const auto& c : cases) {
        PluginHost host;
        const bool opened = host.Open(folder.Write("a.w64", c.file)) == 1;
        EXPECT_EQ(host.DecodeAll().size(), c.decoded) << c.name;
        EXPECT_EQ(opened && host.block.EndOfStream == 1, c.error == nullptr) << c.name;
        if (c.error) {
            EXPECT_NE(host.capture.Errors().find(c.error), std::string::npos)
                << c.name << ": " << host.capture.Errors();
        }
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
