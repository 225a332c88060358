#pragma once

#include "base/XStr.h"

#include <string>
#include <string_view>

namespace w64 {

// Conversion of tag texts between UTF-8 and the decoder's blocks of 16-bit units.

// Surrogate pairs become single characters.
std::string ToPrintable(std::wstring_view units);

// Errors: UsageError for text that is not UTF-8 or has characters above U+FFFF.
XStr ToTagText(const std::string& text);

// The names of the tags that can be set, a few on each line.
std::string TagNamesInColumns();

}  // namespace w64
