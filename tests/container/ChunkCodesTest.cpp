#include "wave64/container/ChunkCodes.h"

#include <gtest/gtest.h>

namespace {

std::string Hex(const GUID& guid) {
    std::string text;
    for (const uint8_t byte : guid.bytes) {
        text += "0123456789ABCDEF"[byte >> 4];
        text += "0123456789ABCDEF"[byte & 15];
    }
    return text;
}

}  // namespace

TEST(ChunkCodes, BecomeTheStoredIdentifiers) {
    const std::string listTail = "2E91CF11A5D628DB04C10000";
    const std::string tail = "F3ACD3118CD100C04F8EDB8A";
    const std::pair<const char*, std::string> cases[] = {
        {"RIFF", "72696666" + listTail},
        {"riff", "72696666" + tail},  // only the upper-case code has an identifier of its own
        {"WAVE", "77617665" + tail},
        {"wave", "77617665" + tail},
        {"LIST", "6C6973742F91CF11A5D628DB04C10000"},
        {"list", "6C6973742F91CF11A5D628DB04C10000"},
        {"fmt ", "666D7420" + tail},
        {"FMT ", "666D7420" + tail},
        {"Fmt ", "466D7420" + tail},
        {"FACT", "66616374" + tail},
        {"DATA", "64617461" + tail},
        {"LEVL", "6C65766C" + tail},
        {"JUNK", "6A756E6B" + tail},
        {"BEXT", "62657874" + tail},
        {"PAD ", "70616420" + tail},
        {"\xBC\x94\x5F\x92", "BC945F925A52D21186DC00C04F8EDB8A"},
        {"iXML", "69584D4C" + tail},
    };
    for (const auto& [code, expected] : cases)
        EXPECT_EQ(Hex(ConvertToGUID(RIFFChnkID(code))), expected) << code;
    EXPECT_EQ(RIFFChnkID("fmt "), 0x20746D66u);
    EXPECT_EQ(RIFFChnkID2CHR(0x20746D66), "fmt ");
}

TEST(ChunkCodes, PaddingGoesToTheNextMultipleOfEight) {
    const std::pair<int64_t, int> cases[] = {{0, 0},  {1, 7},  {7, 1},        {8, 0},
                                             {13, 3}, {-1, 0}, {INT64_MAX, 1}};
    for (const auto& [n, padding] : cases) EXPECT_EQ(GetPaddingBytes(n), padding) << n;
}
