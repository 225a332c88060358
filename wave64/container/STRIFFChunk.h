#pragma once

#include "base/GUID.h"
#include "base/XMem.h"

#include <cstdint>

namespace w64 {

// A chunk of a file. Positions are absolute byte offsets. A copy has its own data.
struct STRIFFChunk {
    GUID ChunkGUID{};
    int64_t DataSize = 0;          // data bytes, without header and padding
    int64_t ChunkPosition = 0;     // where the 24-byte header starts
    int64_t FileDataPosition = 0;  // ChunkPosition + 24
    bool WriteHeader = false;      // the header on disk is out of date
    XMem ChunkData;                // still to be written; empty if the data is on disk
};

}  // namespace w64
