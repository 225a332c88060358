#include "host/layout/ChunkKind.h"

#include "wave64/container/ChunkCodes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

namespace w64 {

namespace {

constexpr std::array<std::pair<std::string_view, const char*>, 24> kContents = {
    {{"fmt ", "format"},
     {"data", "audio"},
     {"fact", "number of frames"},
     {"junk", "padding"},
     {"pad ", "padding"},
     {"bext", "broadcast extension"},
     {"ixml", "iXML"},
     {"axml", "audio definition model"},
     {"chna", "audio definition tracks"},
     {"cart", "cart information"},
     {"list", "RIFF list"},
     {"id3 ", "ID3 tags"},
     {"_pmx", "XMP metadata"},
     {"disp", "display text"},
     {"cue ", "markers (cue)"},
     {"mark", "markers"},
     {"plst", "playlist"},
     {"levl", "peak levels"},
     {"umid", "unique material identifier"},
     {"inst", "instrument"},
     {"smpl", "sampler settings"},
     {"acid", "loop settings"},
     {"regn", "regions"},
     {"strg", "texts of markers"}}};

}  // namespace

bool IsOneOf(const GUID& identifier, std::initializer_list<const char*> codes) {
    return std::ranges::any_of(codes,
                               [&](const char* code) { return CompareGUID(identifier, RIFFChnkID(code)); });
}

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

std::string ContentOf(const std::string& code) {
    std::string lower = code;
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    const auto* found = std::ranges::find(kContents, lower, &std::pair<std::string_view, const char*>::first);
    if (found != kContents.end()) return found->second;
    const bool isText = std::ranges::all_of(code, [](unsigned char c) { return std::isprint(c) != 0; });
    return isText ? "'" + code + "'" : "unknown chunk";
}

}  // namespace w64
