#pragma once

#include "base/XMem.h"
#include "base/XObj.h"

#include <cstdint>
#include <string_view>

namespace w64 {

// A chunk of another file on its way into a new one.
struct STPassRIFFChunks {
    uint32_t ChunkID = 0;  // four-character code
    XMem Data;
};

// The chunks that a new file takes over, in the order that they will have there.
class clPassRIFFChunks {
public:
    // Copies `size` bytes. With beforeData the chunk goes before the last 'data' chunk, if there is one.
    // False, and nothing added, when there is no memory.
    [[nodiscard]] bool AddInternal(uint32_t code, const void* data, uint32_t size, bool beforeData);

    // Index of the first chunk of that code, else -1; anyCase as in CompareID.
    int FindChunk(std::string_view fourcc, bool anyCase) const;

    int Count() const { return chunks_.Count(); }
    const STPassRIFFChunks& operator[](int index) const { return chunks_[index]; }

private:
    XObj<STPassRIFFChunks> chunks_;
};

}  // namespace w64
