#pragma once

#include "host/decoder/DecoderInstance.h"
#include "host/terminal/Console.h"

#include <string>

namespace w64 {

// Passes on what the decoder found worth mentioning about `file`. It calls every length that disagrees with the
// header extra data; of a file that is too short the truth is added.
void PassOnNotes(const DecoderInstance& decoder, const std::string& file, Console& console);

}  // namespace w64
