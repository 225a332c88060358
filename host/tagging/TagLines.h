#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace w64 {

// Tags as lines NAME=VALUE, in UTF-8. In values a line feed is \n, a carriage return \r and a backslash \\.

using TagText = std::pair<std::string, std::string>;  // name and value

std::string ToLine(const TagText& tag);  // with its end

// Empty lines do not count. Errors: UsageError with the number of the line.
std::vector<TagText> TagsOfLines(std::string_view lines);

// "Title=Song": everything after the first "=" is the value. Errors: UsageError.
TagText SplitAssignment(const std::string& assignment);

}  // namespace w64
