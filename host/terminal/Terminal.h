#pragma once

#include <cstddef>
#include <optional>

namespace w64 {

// What a standard stream is connected to.

// Nothing when it is not a terminal.
std::optional<size_t> TerminalColumns(int descriptor);

// Whether it is a terminal that shows colours, unless the user has turned them off for all programs (NO_COLOR).
bool ShowsColors(int descriptor);

}  // namespace w64
