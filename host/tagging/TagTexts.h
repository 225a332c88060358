#pragma once

#include "base/XStr.h"

#include <string>
#include <string_view>

namespace w64 {

// Tag texts on their way between a person and the decoder, whose blocks carry 16-bit units.

// Pairs of surrogates become the characters that they stand for.
std::string ToPrintable(std::wstring_view units);

// Errors: UsageError for text that is no UTF-8 or has characters past 16 bits.
XStr ToTagText(const std::string& text);

// The names of the tags that can be set, a few on each line.
std::string TagNamesInColumns();

}  // namespace w64
