#pragma once

#include "base/XStr.h"

#include <cstdint>

namespace w64 {

// Numbers for display, the same in every locale.
class XInternational {
public:
    // Digits in groups of three: 1,234,567.
    static XStr Int2Str(int64_t value);

    // "512 bytes" below 1,024; from there two decimals of the largest fitting unit: "1.50 KB", MB, GB.
    static XStr FileSize2Str(int64_t bytes);
};

}  // namespace w64
