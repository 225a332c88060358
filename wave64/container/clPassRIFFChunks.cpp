#include "wave64/container/clPassRIFFChunks.h"

#include "wave64/container/ChunkCodes.h"

namespace w64 {

bool clPassRIFFChunks::AddInternal(uint32_t code, const void* data, uint32_t size, bool beforeData) {
    STPassRIFFChunks chunk{code, {}};
    if (data && !chunk.Data.Assign(data, size)) return false;

    int position = Count();
    for (int i = Count(); beforeData && i-- > 0;) {
        if (CompareID(chunks_[i].ChunkID, "data", true)) {
            position = i;
            break;
        }
    }
    chunks_.Insert(position, std::move(chunk));
    return true;
}

int clPassRIFFChunks::FindChunk(std::string_view fourcc, bool anyCase) const {
    for (int i = 0; i < Count(); ++i) {
        if (CompareID(chunks_[i].ChunkID, fourcc, anyCase)) return i;
    }
    return -1;
}

}  // namespace w64
