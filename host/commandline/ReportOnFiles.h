#pragma once

#include "host/terminal/Console.h"

#include <functional>
#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>

namespace w64 {

using Json = nlohmann::ordered_json;  // keeps the order in which keys are added

// Calls `describe` with each index of `files`. It prints text or, with `asJSON`, fills the object that it is given:
// a JSON array with an object per file is then printed, with the name as "file" and what was thrown as "error". If the
// name is not UTF-8, "file_bytes" is that name with %XX for each byte but letters, digits and "-._~/".
// Errors: as ForEachFile; Failure when standard output cannot be written.
[[nodiscard]] bool ReportOnFiles(std::span<const std::string> files, bool asJSON, Console& console,
                                 const std::function<void(size_t, Json*)>& describe);

// The same, `jobs` files at a time: `describe` writes its text to the stream that it is given. The texts, the
// notes and the errors are printed in the order of the files.
[[nodiscard]] bool ReportOnFiles(std::span<const std::string> files, bool asJSON, unsigned jobs,
                                 Console& console,
                                 const std::function<void(size_t, std::ostream&, Json*)>& describe);

}  // namespace w64
