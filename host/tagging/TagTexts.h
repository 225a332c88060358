#pragma once

#include "base/XStr.h"
#include "tags/NTag.h"

#include <string>
#include <string_view>

namespace w64 {

// Conversion of tag texts between UTF-8 and the decoder's blocks of 16-bit units.

// Whether the decoder hands out a whole chunk as this tag.
bool IsRawChunk(const STInternalTag& tag);

// Surrogate pairs become single characters.
std::string ToPrintable(std::wstring_view units);

// Errors: UsageError for text that is not UTF-8.
XStr ToTagText(const std::string& text);

}  // namespace w64
