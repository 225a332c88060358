#pragma once

#include "base/GUID.h"

#include <cstddef>
#include <string>

namespace w64 {

// What a chunk is there for, or that bytes lie in no chunk at all.
enum class ChunkKind { Audio, Format, Tags, Slack, Other, None };

constexpr size_t kChunkKinds = 6;

ChunkKind KindOfChunk(const GUID& identifier);
const char* NameOf(ChunkKind kind);  // "audio"

// What a chunk of that four-character code holds: "broadcast extension", or "'abcd'" where that is not known.
std::string ContentOf(const std::string& code);

}  // namespace w64
