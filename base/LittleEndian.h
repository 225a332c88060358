#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace w64::base {

static_assert(std::endian::native == std::endian::little,
              "the file formats and sample layouts are little-endian");

// A value at any alignment.
template <class T>
T Load(const void* from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T>
void Store(void* to, T value) {
    std::memcpy(to, &value, sizeof value);
}

}  // namespace w64::base
