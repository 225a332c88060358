#pragma once

#include <cstdint>

namespace w64 {

// How the texts of a summary list are stored.
enum class LISTText : uint32_t {
    Half = 0,   // 32-bit characters in half the room that they need: values lose their second half
    Wide = 1,   // whole values as 32-bit characters
    UTF16 = 2,  // whole values as 16-bit characters and a zero, as other software writes and reads them
};

}  // namespace w64
