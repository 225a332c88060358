#include "wave64/container/ChunkCodes.h"
#include "Wave64Bytes.h"

#include <gtest/gtest.h>

namespace w64 {

namespace {

Bytes Converted(std::string_view code) {
    const GUID guid = ConvertToGUID(RIFFChnkID(code));
    return {guid.bytes.begin(), guid.bytes.end()};
}

Bytes Stored(const Wave64Bytes& chunk) {
    const Bytes file = chunk.File();
    return {file.begin() + 40, file.begin() + 56};
}

}  // namespace

TEST(ChunkCodes, BecomeTheStoredIdentifiers) {
    for (const std::string code : {"wave", "fmt ", "fact", "data", "levl", "junk", "bext", "pad "}) {
        std::string upper = code;
        std::ranges::transform(code, upper.begin(), [](char c) { return c == ' ' ? c : c - 'a' + 'A'; });
        EXPECT_EQ(Converted(code), Stored(Wave64Bytes().Chunk(code, {}))) << code;
        EXPECT_EQ(Converted(upper), Converted(code)) << code;
    }
    for (const char* code : {"Fmt ", "iXML", "riff"})  // only the upper-case "RIFF" has one of its own
        EXPECT_EQ(Converted(code), Stored(Wave64Bytes().Chunk(code, {}))) << code;
    const Bytes list = {'l', 'i', 's', 't', 0x2F, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 4, 0xC1, 0, 0};
    EXPECT_EQ(Converted("LIST"), list);
    EXPECT_EQ(Converted("list"), list);
    EXPECT_EQ(Converted("\xBC\x94\x5F\x92"), Stored(Wave64Bytes().SummaryList({})));
    EXPECT_EQ(RIFFChnkID("fmt "), 0x20746D66u);
    EXPECT_EQ(GetPaddingBytes(-1), 0);
}

}  // namespace w64
