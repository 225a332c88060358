#include "host/ChunkKind.h"

#include "wave64/container/ChunkCodes.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace {

bool IsOneOf(const GUID& identifier, std::initializer_list<const char*> codes) {
    return std::ranges::any_of(codes,
                               [&](const char* code) { return CompareGUID(identifier, RIFFChnkID(code)); });
}

}  // namespace

ChunkKind KindOfChunk(const GUID& identifier) {
    if (IsOneOf(identifier, {"data"})) return ChunkKind::Audio;
    if (IsOneOf(identifier, {"fmt "})) return ChunkKind::Format;
    if (IsOneOf(identifier, {"JUNK", "PAD "})) return ChunkKind::Slack;
    const bool isTags =
        CompareGUID(identifier, kSummaryListCode) ||
        IsOneOf(identifier, {"LIST", "bext", "iXML", "axml", "cart", "id3 ", "ID3 ", "_PMX", "DISP"});
    return isTags ? ChunkKind::Tags : ChunkKind::Other;
}

const char* NameOf(ChunkKind kind) {
    constexpr std::array<const char*, kChunkKinds> kNames = {"audio", "format", "tags",
                                                             "slack", "other",  "none"};
    return kNames[static_cast<size_t>(kind)];
}
