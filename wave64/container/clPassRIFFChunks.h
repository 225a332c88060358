#pragma once

#include "base/XMem.h"
#include "base/XObj.h"

#include <cstdint>
#include <string_view>

namespace w64 {

// A chunk to be copied from another file into a new one.
struct STPassRIFFChunks {
    uint32_t ChunkID = 0;  // four-character code
    XMem Data;
};

// The chunks that a new file takes over, in file order.
class clPassRIFFChunks {
public:
    // Copies `size` bytes. With beforeData the chunk goes before the last 'data' chunk, if there is one.
    // False, with nothing added, when out of memory.
    [[nodiscard]] bool AddInternal(uint32_t code, const void* data, uint32_t size, bool beforeData);

    // Index of the first chunk with that code, else -1; anyCase as in CompareID.
    int FindChunk(std::string_view fourcc, bool anyCase) const;

    int Count() const { return chunks_.Count(); }
    const STPassRIFFChunks& operator[](int index) const { return chunks_[index]; }

private:
    XObj<STPassRIFFChunks> chunks_;
};

}  // namespace w64
