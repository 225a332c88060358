#pragma once

#include "base/LittleEndian.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

namespace w64 {

using Bytes = std::vector<uint8_t>;

template <class T>
void Append(Bytes& bytes, T value) {
    const size_t at = bytes.size();
    bytes.resize(at + sizeof value);
    base::Store(bytes.data() + at, value);
}

// Bytes that repeat only after 251, so that no block of a power of two looks like its neighbour.
inline Bytes Pattern(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i % 251);
    return bytes;
}

// What there is of the bytes in [from, to).
inline Bytes Slice(const Bytes& bytes, size_t from, size_t to = SIZE_MAX) {
    const auto at = [&](size_t offset) {
        return bytes.begin() + static_cast<std::ptrdiff_t>(std::min(offset, bytes.size()));
    };
    return {at(from), at(to)};
}

inline Bytes Resized(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

inline Bytes operator+(Bytes bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

}  // namespace w64
