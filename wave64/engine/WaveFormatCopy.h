#pragma once

#include "audio/format/XAudioWFX.h"
#include "interface/w64_decoder.h"

namespace w64 {

// The format as the other side of the boundary gets it: 40 bytes of an extensible record, else 18. The record
// must not claim more extra bytes than that (XAudioWFX::RemoveAnyExtra).
void CopyWaveFormat(const XAudioWFX& from, STKvWaveFormat& to);

}  // namespace w64
