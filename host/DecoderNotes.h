#pragma once

#include "host/Console.h"
#include "host/DecoderInstance.h"

#include <string>

// Passes on what the decoder found worth mentioning about `file`. It calls every length that disagrees with the
// header extra data; of a file that is too short the truth is added.
void PassOnNotes(const DecoderInstance& decoder, const std::string& file, Console& console);
