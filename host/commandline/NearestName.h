#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace w64 {

// The name that was probably meant, in capitals or not; nothing when none is close.
std::optional<std::string> NearestName(std::string_view typed, const std::vector<std::string>& names);

// "did you mean 'Title'?"
std::string Suggestion(std::string_view typed, const std::vector<std::string>& names,
                       const std::string& otherwise);

}  // namespace w64
