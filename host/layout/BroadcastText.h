#pragma once

#include "host/tagging/BroadcastExtension.h"

#include <cstdint>
#include <string>
#include <vector>

namespace w64 {

struct BroadcastField {
    const char* key;    // for programs
    const char* label;  // for people
    std::string text;   // may have any bytes
};

// The fields of a broadcast extension that are filled in, in words.
std::vector<BroadcastField> DescribeBroadcast(const BroadcastExtension& extension, uint32_t framesPerSecond);

}  // namespace w64
