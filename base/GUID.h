#pragma once

#include <array>
#include <cstdint>

namespace w64 {

// A 16-byte identifier in its stored byte order: a 32-bit group and two 16-bit groups, little-endian each,
// then eight bytes in order. Kept as bytes, so that it is read from and written to files unchanged.
struct GUID {
    std::array<uint8_t, 16> bytes{};

    bool operator==(const GUID&) const = default;
};

constexpr GUID MakeGUID(uint32_t group1, uint16_t group2, uint16_t group3, uint64_t tail) {
    GUID guid;
    for (unsigned i = 0; i < 4; ++i) guid.bytes[i] = static_cast<uint8_t>(group1 >> 8 * i);
    for (unsigned i = 0; i < 2; ++i) guid.bytes[4 + i] = static_cast<uint8_t>(group2 >> 8 * i);
    for (unsigned i = 0; i < 2; ++i) guid.bytes[6 + i] = static_cast<uint8_t>(group3 >> 8 * i);
    for (unsigned i = 0; i < 8; ++i) guid.bytes[8 + i] = static_cast<uint8_t>(tail >> (56 - 8 * i));
    return guid;
}

constexpr bool GUID_Equal(const GUID& a, const GUID& b) { return a == b; }

}  // namespace w64
