#include "W64Command.h"
#include "Wave64Bytes.h"

#include <gtest/gtest.h>

namespace {

constexpr size_t kDataAt = 40 + 48 + 24;  // outer header, 18 bytes of format, header of the audio
constexpr size_t kFrameBytes = 6;

const Bytes kAudio = Pattern(60000);

Bytes File(std::optional<uint64_t> riffSize, std::optional<uint64_t> dataSize) {
    return Wave64Bytes().Fmt(1, 2, 48000, 24).Data(kAudio, dataSize).File(riffSize);
}

Bytes First(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

Bytes Silent(Bytes file) {
    std::fill(file.begin() + kDataAt, file.end(), uint8_t{0});
    return file;
}

Bytes With(Bytes bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

struct Case {
    const char* name;
    Bytes file;
    size_t frames;  // that are still there
    const char* lost;
};

std::vector<Case> DamagedFiles() {
    const Bytes good = File({}, {});
    const size_t whole = kAudio.size() / kFrameBytes;
    return {
        {"cut off in the audio", First(good, kDataAt + 1000), 166, "59,004"},
        {"cut off before the audio", First(good, kDataAt), 0, "60,000"},
        {"audio claims more than there is", File({}, 24 + 70000), whole, "10,000"},
        {"audio claims more than can be", File({}, UINT64_MAX), whole, nullptr},
        {"outer size too small", File(kDataAt + 600, {}), whole, "0"},
        {"outer size 0", File(0, {}), whole, "0"},
        {"both sizes 0", File(0, 0), whole, "0"},
        {"audio size 0", File({}, 0), whole, "0"},
        {"audio size as it was at the start", File(kDataAt, 24), whole, "0"},
        {"audio size at the start, outer size right", File({}, 24), whole, "0"},
        {"the same with silence", Silent(File({}, 24)), whole, "0"},
        {"crashed and cut off", First(File(0, 24), kDataAt + 1000), 166, "4"},
        {"outer size too small and cut off", First(File(kDataAt + 6, {}), kDataAt + 1000), 166, "59,004"},
    };
}

}  // namespace

TEST(Damage, IsAnErrorAndLeavesNothing) {
    for (const Case& c : DamagedFiles()) {
        SCOPED_TRACE(c.name);
        const Workshop shop;
        shop.Write("a.w64", c.file);
        const Outcome outcome = shop.W64({"decode", "a.w64"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_NE(outcome.errors.find(
                      "w64: a.w64: the file is cut off or damaged; --salvage keeps what it still holds\n"),
                  std::string::npos)
            << outcome.errors;
        EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
    }
}

TEST(Damage, SalvageKeepsEveryWholeFrame) {
    for (const Case& c : DamagedFiles()) {
        SCOPED_TRACE(c.name);
        const Workshop shop;
        shop.Write("a.w64", c.file);
        const Outcome outcome = shop.W64({"decode", "a.w64", "--salvage", "-o", "a.raw"});
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
        Bytes expected(c.file.begin() + kDataAt,
                       c.file.begin() + static_cast<std::ptrdiff_t>(kDataAt + c.frames * kFrameBytes));
        EXPECT_EQ(shop.Read("a.raw"), expected);
        if (c.lost) {
            EXPECT_NE(outcome.errors.find(" lost " + std::string(c.lost) + " bytes"), std::string::npos)
                << outcome.errors;
        }
        EXPECT_EQ(shop.Read("a.w64"), c.file);
        EXPECT_EQ(shop.Files(), (std::set<std::string>{"a.raw", "a.w64"}));

        ASSERT_EQ(
            shop.W64({"decode", "a.w64", "--salvage", "-q", "--start", "100", "--end", "150", "-o", "b.raw"})
                .status,
            0);
        expected = First(expected, std::min<size_t>(expected.size(), 150 * kFrameBytes));
        expected.erase(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(
                                                                expected.size(), 100 * kFrameBytes)));
        EXPECT_EQ(shop.Read("b.raw"), expected);
    }
}

TEST(Damage, WhatOnlyLooksOddIsDecoded) {
    const Bytes good = File({}, {});
    const struct {
        const char* name;
        Bytes file;
        size_t bytes;
    } cases[] = {
        {"garbage behind the last chunk", With(good, Pattern(10)), kAudio.size()},

        {"no audio, but another chunk",
         Wave64Bytes().Fmt(1, 2, 48000, 24).Data({}).Chunk("list", Pattern(40)).File(), 0},
        {"last frame incomplete", Wave64Bytes().Fmt(1, 2, 48000, 24).Data(First(kAudio, 1000)).File(), 996},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Workshop shop;
        shop.Write("a.w64", c.file);
        for (const std::vector<std::string>& words :
             {std::vector<std::string>{"decode", "a.w64", "-f", "-o", "a.raw"},
              {"decode", "a.w64", "-f", "-o", "a.raw", "--salvage"}}) {
            const Outcome outcome = shop.W64(words);
            EXPECT_EQ(outcome.status, 0) << outcome.errors;
            EXPECT_EQ(shop.Read("a.raw"), First(kAudio, c.bytes));
        }
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(Damage, MemoryStaysBoundedWhateverTheFileClaims) {
    constexpr uint64_t huge = uint64_t{1} << 62;
    const Bytes files[] = {
        File(huge, huge - 200),
        Wave64Bytes()
            .Chunk("fmt ", Wave64Bytes::FmtBody(1, 65535, UINT32_MAX, 65535), huge)
            .Data(kAudio)
            .File(huge),
        Wave64Bytes().Fmt(1, 65535, UINT32_MAX, 8).Data(kAudio).File(),
    };
    for (const Bytes& file : files) {
        const Workshop shop;
        shop.Write("a.w64", file);
        for (const char* output : {"a.wav", "a.flac", "a.raw"}) {
            EXPECT_LT(shop.W64({"decode", "a.w64", "-o", output}).peakKilobytes, 64 * 1024);
            EXPECT_LT(shop.W64({"decode", "a.w64", "-f", "--salvage", "-o", output}).peakKilobytes,
                      64 * 1024);
        }
    }
}
#endif
