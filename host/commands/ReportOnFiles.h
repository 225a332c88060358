#pragma once

#include "host/terminal/Console.h"

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>

namespace w64 {

// Calls `describe` with each index of `files`. It prints text, unless there is an object for it to fill: then
// a JSON array is printed with an object for every file, its name as "file" and what was thrown as "error".
// Errors: as ForEachFile; Failure when standard output takes no more.
[[nodiscard]] bool ReportOnFiles(std::span<const std::string> files, bool asJSON, Console& console,
                                 const std::function<void(size_t, nlohmann::ordered_json*)>& describe);

}  // namespace w64
