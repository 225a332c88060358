#pragma once

#include "host/decoder/DecoderInstance.h"
#include "host/terminal/Console.h"

#include <string>

namespace w64 {

// What is wrong with the sizes in a file, in particular where it is cut off, and how much audio is there, as a sentence;
// empty where they are right. The decoder's messages do not say so.
std::string DescribeDamage(const std::string& file);

// The decoder's errors with `file`, and on a line of its own the damage.
std::string WithDamage(const std::string& errors, const std::string& file);

// Passes on the decoder's notes about `file`. The decoder calls any mismatch of the file's length extra data; if the
// file is too short, one more note says so.
void PassOnNotes(const DecoderInstance& decoder, const std::string& file, Console& console);

}  // namespace w64
