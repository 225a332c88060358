#pragma once

#include "base/GUID.h"

#include <cstddef>
#include <initializer_list>
#include <string>

namespace w64 {

// The purpose of a chunk; None for bytes outside all chunks.
enum class ChunkKind { Audio, Format, Tags, Slack, Other, None };

constexpr size_t kChunkKinds = 6;

// Whether a chunk's identifier stands for one of these four-character codes.
bool IsOneOf(const GUID& identifier, std::initializer_list<const char*> codes);

ChunkKind KindOfChunk(const GUID& identifier);
const char* NameOf(ChunkKind kind);  // "audio"

// What a chunk with that four-character code holds: "broadcast extension", or "'abcd'" if unknown.
std::string ContentOf(const std::string& code);

}  // namespace w64
