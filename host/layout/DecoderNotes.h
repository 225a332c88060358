#pragma once

#include "host/decoder/DecoderInstance.h"
#include "host/terminal/Console.h"

#include <string>

namespace w64 {

// Passes on the decoder's notes about `file`. To the decoder every length that disagrees with the header is extra
// data; when the file is too short, a note says so.
void PassOnNotes(const DecoderInstance& decoder, const std::string& file, Console& console);

}  // namespace w64
