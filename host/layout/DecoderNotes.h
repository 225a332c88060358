#pragma once

#include "host/decoder/DecoderInstance.h"
#include "host/terminal/Console.h"

#include <string>

namespace w64 {

// Passes on the decoder's notes about `file`. The decoder calls any mismatch of the file's length extra data; if the
// file is too short, one more note says so.
void PassOnNotes(const DecoderInstance& decoder, const std::string& file, Console& console);

}  // namespace w64
