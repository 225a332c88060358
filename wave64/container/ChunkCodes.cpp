#include "wave64/container/ChunkCodes.h"

#include "base/LittleEndian.h"
#include "base/Saturating.h"

#include <algorithm>

namespace w64 {

namespace {

constexpr uint32_t Code(const char (&fourcc)[5]) {
    uint32_t code = 0;
    for (unsigned i = 0; i < 4; ++i) code |= static_cast<uint32_t>(static_cast<uint8_t>(fourcc[i])) << 8 * i;
    return code;
}

struct CodeAndGUID {
    uint32_t upper;  // the code, or its upper-case form
    uint32_t lower;
    GUID guid;
};

constexpr uint64_t kListTail = 0xA5D628DB04C10000;
constexpr uint64_t kChunkTail = 0x8CD100C04F8EDB8A;
constexpr GUID ChunkGUIDOf(uint32_t group1) { return MakeGUID(group1, 0xACF3, 0x11D3, kChunkTail); }

// "RIFF" has no lower-case form on purpose: "riff" is an ordinary code.
constexpr CodeAndGUID kKnownCodes[] = {
    {Code("RIFF"), Code("RIFF"), MakeGUID(0x66666972, 0x912E, 0x11CF, kListTail)},
    {Code("WAVE"), Code("WAVE"), ChunkGUIDOf(0x65766177)},
    {Code("LIST"), Code("list"), MakeGUID(0x7473696C, 0x912F, 0x11CF, kListTail)},
    {Code("FMT "), Code("fmt "), ChunkGUIDOf(0x20746D66)},
    {Code("FACT"), Code("fact"), ChunkGUIDOf(0x74636166)},
    {Code("DATA"), Code("data"), ChunkGUIDOf(0x61746164)},
    {Code("LEVL"), Code("levl"), ChunkGUIDOf(0x6C76656C)},
    {Code("JUNK"), Code("junk"), ChunkGUIDOf(0x6B6E756A)},
    {Code("BEXT"), Code("bext"), ChunkGUIDOf(0x74786562)},
    {Code("PAD "), Code("pad "), ChunkGUIDOf(0x20646170)},
    {kSummaryListCode, kSummaryListCode, MakeGUID(0x925F94BC, 0x525A, 0x11D2, 0x86DC00C04F8EDB8A)},
};

// Independent of the locale, which the host sets.
char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

uint32_t CodeInCase(std::string_view fourcc, char (*convert)(char)) {
    std::string converted(fourcc);
    std::ranges::transform(converted, converted.begin(), convert);
    return RIFFChnkID(converted);
}

}  // namespace

uint32_t RIFFChnkID(std::string_view fourcc) {
    char characters[4] = {};
    fourcc.copy(characters, sizeof characters);
    return base::Load<uint32_t>(characters);
}

std::string RIFFChnkID2CHR(uint32_t code) {
    std::string characters(4, '\0');
    base::Store(characters.data(), code);
    return characters;
}

std::string RIFFChnkGUID2CHR(const GUID& guid) {
    return RIFFChnkID2CHR(base::Load<uint32_t>(guid.bytes.data()));
}

GUID ConvertToGUID(uint32_t code) {
    for (const CodeAndGUID& known : kKnownCodes) {
        if (code == known.upper || code == known.lower) return known.guid;
    }
    return ChunkGUIDOf(code);
}

bool CompareGUID(const GUID& guid, uint32_t code) { return guid == ConvertToGUID(code); }

bool CompareID(uint32_t code, std::string_view fourcc, bool anyCase) {
    if (!anyCase) return code == RIFFChnkID(fourcc);
    return code == CodeInCase(fourcc, Upper) || code == CodeInCase(fourcc, Lower);
}

int GetPaddingBytes(int64_t n) { return n <= 0 ? 0 : static_cast<int>((8 - n % 8) % 8); }

int64_t Padded(int64_t n) { return SaturatingAdd(n, GetPaddingBytes(n)); }

}  // namespace w64
