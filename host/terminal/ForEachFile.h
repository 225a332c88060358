#pragma once

#include "host/terminal/Console.h"

#include <functional>
#include <span>
#include <string>

namespace w64 {

// Calls `work` with each index of `files`, on up to `jobs` threads, and reports what it throws under the
// file's name. One failed file does not keep the others from being done; an interrupt keeps the rest from
// being begun. True when none has failed.
[[nodiscard]] bool ForEachFile(std::span<const std::string> files, unsigned jobs, Console& console,
                               const std::function<void(size_t)>& work);

}  // namespace w64
