#pragma once

#include "base/XMem.h"
#include "base/XStr.h"

#include <cstddef>
#include <optional>

namespace w64 {

// Base64 with the alphabet of A-Z, a-z, 0-9, "+" and "/", padded with "=" to groups of four characters.
XStr ToBase64(const void* data, size_t bytes);

// Decodes. Nothing unless the text is exactly what the encoder produces, so that damaged text is never taken
// for other bytes. Throws std::bad_alloc.
std::optional<XMem> FromBase64(std::wstring_view text);

}  // namespace w64
