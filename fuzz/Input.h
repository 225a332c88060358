#pragma once

#include "Bytes.h"

#include <cstdio>
#include <cstdlib>
#include <sanitizer/asan_interface.h>

namespace w64 {

// The bytes of one run, taken from the front to decide what happens. Past their end there are zeros.
class Input {
public:
    Input(const uint8_t* data, size_t size) : left_(data, data + size) {}
    explicit Input(const Bytes& bytes) : left_(bytes) {}

    bool IsUsedUp() const { return at_ == left_.size(); }

    template <class T>
    T Number() {
        return base::Load<T>(Resized(Take(sizeof(T)), sizeof(T)).data());
    }
    uint8_t Byte() { return Number<uint8_t>(); }

    // Two bytes choose, as no choice here has more outcomes.
    uint32_t Below(size_t limit) { return static_cast<uint32_t>(Number<uint16_t>() % limit); }
    template <class List>
    const auto& AnyOf(const List& list) {
        return list[Below(std::size(list))];
    }

    // As many bytes as there are.
    Bytes Take(size_t count) {
        const size_t from = at_;
        at_ = std::min(left_.size(), from + std::min(count, left_.size()));
        return Slice(left_, from, at_);
    }
    Bytes Rest() { return Take(left_.size()); }

private:
    Bytes left_;
    size_t at_ = 0;
};

inline void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "this must hold, and does not: %s\n", what);
    std::abort();
}

// Memory that is said to be readable is.
inline void Touch(const void* data, size_t bytes) {
    auto* from = const_cast<void*>(data);  // only looked at
    Require(bytes == 0 || !__asan_region_is_poisoned(from, bytes), "what a pointer leads to is there");
}

}  // namespace w64
