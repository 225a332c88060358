#pragma once

#include "base/GUID.h"

#include <cstddef>

// What a chunk is there for, or that bytes lie in no chunk at all.
enum class ChunkKind { Audio, Format, Tags, Slack, Other, None };

constexpr size_t kChunkKinds = 6;

ChunkKind KindOfChunk(const GUID& identifier);
const char* NameOf(ChunkKind kind);  // "audio"
