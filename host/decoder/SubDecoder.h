#pragma once

namespace w64 {

// Whether the decoder of MPEG audio, which the Wave64 decoder loads from the folder of this program, is there and
// takes packets.
bool HasSubDecoder();

}  // namespace w64
