#pragma once

#include <cstdint>

namespace w64 {

// The form of the texts in a summary list.
enum class LISTText : uint32_t {
    Half = 0,   // 32-bit characters in a field of half their size: values lose their second half
    Wide = 1,   // whole values as 32-bit characters
    UTF16 = 2,  // whole values as 16-bit characters and a zero, as other software uses
};

}  // namespace w64
