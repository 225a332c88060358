#pragma once

#include "base/XMem.h"
#include "base/XStr.h"

#include <cstddef>
#include <optional>

namespace w64 {

// Base64 with the alphabet of A-Z, a-z, 0-9, "+" and "/", padded with "=" to groups of four characters.
XStr ToBase64(const void* data, size_t bytes);

// The reverse; nothing where the text is not exactly what bytes encode to, so that a damaged text never
// passes for other bytes. std::bad_alloc when there is no memory.
std::optional<XMem> FromBase64(std::wstring_view text);

}  // namespace w64
