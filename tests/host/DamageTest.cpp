#include "Wave64Bytes.h"
#include "Workshop.h"

#include <gtest/gtest.h>

namespace {

constexpr size_t kDataAt = 40 + 48 + 24;  // outer header, 18 bytes of format, header of the audio
constexpr size_t kFrameBytes = 6;

const Bytes kAudio = Pattern(60000);

Bytes File(std::optional<uint64_t> riffSize, std::optional<uint64_t> dataSize, const Bytes& audio = kAudio) {
    return Wave64Bytes().Fmt(1, 2, 48000, 24).Data(audio, dataSize).File(riffSize);
}

Bytes Resized(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

}  // namespace

TEST(Damage, IsAnErrorUnlessSalvageKeepsEveryWholeFrame) {
    const Bytes good = File({}, {});
    const size_t whole = kAudio.size() / kFrameBytes;
    const struct {
        const char* name;
        Bytes file;
        size_t frames;  // that are still there
        const char* lost;
    } cases[] = {
        {"cut off in the audio", Resized(good, kDataAt + 1000), 166, " lost 59,004 bytes"},
        {"cut off before the audio", Resized(good, kDataAt), 0, " lost 60,000 bytes"},
        {"audio claims more than there is", File({}, 24 + 70000), whole, " lost 10,000 bytes"},
        {"audio claims more than can be", File({}, UINT64_MAX), whole, " lost "},
        {"outer size too small", File(kDataAt + 600, {}), whole, " lost 0 bytes"},
        {"outer size 0", File(0, {}), whole, " lost 0 bytes"},
        {"both sizes 0", File(0, 0), whole, " lost 0 bytes"},
        {"audio size 0", File({}, 0), whole, " lost 0 bytes"},
        {"audio size as it was at the start", File(kDataAt, 24), whole, " lost 0 bytes"},
        {"audio size at the start, outer size right", File({}, 24), whole, " lost 0 bytes"},
        {"the same with silence", File({}, 24, Bytes(60000)), whole, " lost 0 bytes"},
        {"audio size of a moment before the crash", File({}, 24 + 6000), whole, " lost 0 bytes"},
        {"crashed and cut off", Resized(File(0, 24), kDataAt + 1000), 166, " lost 4 bytes"},
        {"both too small", Resized(File(kDataAt + 6, {}), kDataAt + 1000), 166, " lost 59,004 bytes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Workshop shop;
        shop.Write("a.w64", c.file);
        const Outcome refused = shop.Run("w64 decode a.w64");
        EXPECT_EQ(refused.status, 1);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "cut off or damaged; --salvage keeps", refused.errors);
        EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});

        const Outcome salvaged = shop.Run("w64 decode a.w64 --salvage -o a.raw");
        ASSERT_EQ(salvaged.status, 0) << salvaged.errors;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, c.lost, salvaged.errors);
        const Bytes kept = Slice(c.file, kDataAt, kDataAt + c.frames * kFrameBytes);
        EXPECT_EQ(shop.Read("a.raw"), kept);
        EXPECT_EQ(shop.Read("a.w64"), c.file);
        EXPECT_EQ(shop.Files(), (std::set<std::string>{"a.raw", "a.w64"}));

        ASSERT_EQ(shop.Run("w64 decode a.w64 --salvage -q --start 100 --end 150 -o b.raw").status, 0);
        EXPECT_EQ(shop.Read("b.raw"), Slice(kept, 100 * kFrameBytes, 150 * kFrameBytes));
    }
}

TEST(Damage, InfoSaysWhatIsMissing) {
    const Workshop shop;
    shop.Write("a.w64", Resized(File({}, {}), kDataAt + 1000));
    const Outcome info = shop.Run("w64 info a.w64");
    EXPECT_EQ(info.status, 1);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "cut off, 59,000 bytes are missing", info.errors);
}

TEST(Damage, WhatOnlyLooksOddIsDecoded) {
    const Bytes good = File({}, {});
    const struct {
        const char* name;
        Bytes file;
        size_t bytes;
    } cases[] = {
        {"more behind the last chunk", Resized(good, good.size() + 10), kAudio.size()},
        {"no audio, but another chunk",
         Wave64Bytes().Fmt(1, 2, 48000, 24).Data({}).Chunk("list", Pattern(40)).File(), 0},
        {"last frame incomplete", File({}, {}, Slice(kAudio, 0, 1000)), 996},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Workshop shop;
        shop.Write("a.w64", c.file);
        for (const std::string option : {"", " --salvage"}) {
            const Outcome outcome = shop.Run("w64 decode a.w64 -f -o a.raw" + option);
            EXPECT_EQ(outcome.status, 0) << outcome.errors;
            EXPECT_EQ(shop.Read("a.raw"), Slice(kAudio, 0, c.bytes));
        }
    }
}
