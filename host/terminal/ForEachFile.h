#pragma once

#include "host/terminal/Console.h"

#include <functional>
#include <span>
#include <string>

namespace w64 {

// Calls `work` with each index of `files`, on up to `jobs` threads, and reports what it throws under the
// file's name. After a failed file the others are still done; after an interrupt no new one is begun. True when
// all are done.
[[nodiscard]] bool ForEachFile(std::span<const std::string> files, unsigned jobs, Console& console,
                               const std::function<void(size_t)>& work);

}  // namespace w64
