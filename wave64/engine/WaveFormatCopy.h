#pragma once

#include "audio/format/XAudioWFX.h"
#include "interface/w64_decoder.h"

namespace w64 {

// Copies the format into a boundary record: 40 bytes if it is extensible, else 18. It must not claim extra bytes
// beyond those (XAudioWFX::RemoveAnyExtra).
void CopyWaveFormat(const XAudioWFX& from, STKvWaveFormat& to);

}  // namespace w64
