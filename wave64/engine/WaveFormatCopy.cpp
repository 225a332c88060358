#include "wave64/engine/WaveFormatCopy.h"

#include <cstring>

namespace w64 {

void CopyWaveFormat(const XAudioWFX& from, STKvWaveFormat& to) {
    const size_t bytes = from.IsExtensible() ? sizeof(WAVEFORMATEXTENSIBLE) : sizeof(tWAVEFORMATEX);
    std::memcpy(to.Bytes, from.wfx(), bytes);
}

}  // namespace w64
