#pragma once

#include <string>

namespace w64 {

// JSON through a parser that is not the command's own, compiled once.

bool IsJson(const std::string& text);

// What is at a pointer such as "/0/chunks/2/name": a text as it is, other values as JSON. Empty where nothing is.
std::string JsonAt(const std::string& text, const std::string& pointer);

}  // namespace w64
