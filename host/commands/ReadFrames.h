#pragma once

#include "host/formats/FrameReader.h"
#include "host/terminal/Console.h"
#include "host/terminal/Progress.h"

#include <functional>
#include <span>
#include <string>

namespace w64 {

// Hands all frames of a file to `take`, block by block. Samples that are infinite or NaN, which read as 0, are noted
// under its name.
// Errors: Interrupt.
void ReadFrames(FrameReader& reader, const std::string& name, Progress::Share& share, Console& console,
                const std::function<void(std::span<const double>)>& take);

}  // namespace w64
