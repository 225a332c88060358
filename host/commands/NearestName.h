#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace w64 {

// The one that can have been meant by what was typed.
std::optional<std::string> NearestName(std::string_view typed, const std::vector<std::string>& names);

}  // namespace w64
