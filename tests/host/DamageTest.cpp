#include "HostWorkshop.h"

namespace w64 {

namespace {

using Damage = HostTest;

constexpr size_t kDataAt = 40 + 48 + 24;  // outer header, 18 bytes of format, header of the audio
constexpr size_t kFrameBytes = 6;

const Bytes kAudio = Pattern(60000);

Bytes File(std::optional<uint64_t> riffSize, std::optional<uint64_t> dataSize, const Bytes& audio = kAudio) {
    return Wave64Bytes().Fmt(1, 2, 48000, 24).Data(audio, dataSize).File(riffSize);
}

}  // namespace

TEST_F(Damage, IsAnErrorUnlessSalvageKeepsEveryWholeFrame) {
    const Bytes good = File({}, {});
    const size_t whole = kAudio.size() / kFrameBytes;
    const std::tuple<const char*, Bytes, size_t, const char*> cases[] = {
        {"cut off in the audio", Resized(good, kDataAt + 1000), 166, " lost 59,004 bytes"},
        {"cut off before the audio", Resized(good, kDataAt), 0, " lost 60,000 bytes"},
        {"audio claims more than can be", File({}, UINT64_MAX), whole, "; more may be lost"},
        {"outer size too small", File(kDataAt + 600, {}), whole, " lost 0 bytes"},
        {"outer size 0", File(0, {}), whole, " lost 0 bytes"},
        {"both sizes 0", File(0, 0), whole, " lost 0 bytes"},
        {"audio size 0", File({}, 0), whole, " lost 0 bytes"},
        {"audio size as it was at the start", File(kDataAt, 24), whole, " lost 0 bytes"},
        {"audio size at the start, outer size right", File({}, 24), whole, " lost 0 bytes"},
        {"the same with silence", File({}, 24, Bytes(60000)), whole, " lost 0 bytes"},
        {"audio size of a moment before the crash", File({}, 24 + 6000), whole, " lost 0 bytes"},
        {"crashed and cut off", Resized(File(0, 24), kDataAt + 1000), 166, " lost 4 bytes"},
        {"one frame left", Resized(good, kDataAt + 7), 1,
         "salvaged 1 frame (0:00:00.000), lost 59,994 bytes"},
        {"both too small", Resized(File(kDataAt + 6, {}), kDataAt + 1000), 166, " lost 59,004 bytes"},
    };
    for (const auto& [name, file, framesThere, lost] : cases) {
        SCOPED_TRACE(name);
        shop.Write("a.w64", file);
        shop.Do("rm -f *.raw");
        shop.ExpectRefused({{"decode a.w64 --start 1f", 1, " of audio is there; --salvage keeps"},
                            {"info a.w64", 1, " of audio is there\n"}});
        const size_t start = std::min<size_t>(framesThere / 2, 100);
        const Outcome salvaged = shop.Do("w64 decode a.w64 --salvage -o a.raw && "
                                         "w64 decode a.w64 --salvage -q --start " +
                                         std::to_string(start) + "f --end 150f -o b.raw");
        EXPECT_HAS(lost, salvaged.errors);
        const Bytes kept = Slice(file, kDataAt, kDataAt + framesThere * kFrameBytes);
        const Bytes part = Slice(kept, start * kFrameBytes, 150 * kFrameBytes);
        EXPECT_TRUE(shop.Contents() == (Folder{{"a.raw", kept}, {"a.w64", file}, {"b.raw", part}}));
    }
    shop.Write("a.w64", File(uint64_t{1} << 63, uint64_t{1} << 63));
    EXPECT_HAS("size in its header cannot be right; 0:00:00.208 of audio", shop.Run("w64 plot a.w64").errors);
}

// Reports and settings are kept in memory.
TEST_F(Damage, IsToldWithoutRoomForTemporaryFiles) {
    shop.Write("a.w64", File(kDataAt + 600, {}));
    const char* const decode = "w64 decode a.w64 -o - --format raw 2>&1 >/dev/null; echo exit $?";
    const std::string told = shop.Run(decode).output;
    EXPECT_HAS("--salvage keeps what it still holds\nexit 1\n", told);
    EXPECT_EQ(shop.Run(std::string("(ulimit -f 0; ") + decode + ") | cat").output, told);

    const std::string noTemp = "unshare -m sh -c 'mount -t tmpfs -o ro none /tmp && ";
    if (shop.Run(noTemp + "w64 --version'").status != 0) {
        GTEST_SKIP() << "no file systems can be mounted here, or the build is in /tmp";
    }
    EXPECT_EQ(shop.Run(noTemp + decode + "'").output, told);
    shop.Write("b.w64", File({}, {}));
    shop.Do(noTemp +
            "w64 tags set b.w64 Title=x --in-place && w64 tags b.w64 && w64 info b.w64 && w64 options'");
}

TEST_F(Damage, WhatOnlyLooksOddIsDecoded) {
    const Bytes good = File({}, {});
    const std::pair<Bytes, size_t> cases[] = {
        {Resized(good, good.size() + 10), kAudio.size()},
        {Wave64Bytes().Fmt(1, 2, 48000, 24).Data({}).Chunk("list", Pattern(40)).File(), 0},
        {File({}, {}, Slice(kAudio, 0, 1000)), 996},  // the last frame is incomplete
    };
    for (const auto& [file, bytes] : cases) {
        shop.Write("a.w64", file);
        shop.Do("w64 decode a.w64 -fo a.raw && w64 decode a.w64 -fo b.raw --salvage");
        for (const char* name : {"a.raw", "b.raw"}) EXPECT_EQ(shop.Read(name), Slice(kAudio, 0, bytes));
    }
}

}  // namespace w64
