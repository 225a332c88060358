#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace w64 {

// Allocates at cache-line boundaries and leaves new elements uninitialised.
template <class Number>
struct CacheLineAllocator {
    using value_type = Number;

    CacheLineAllocator() = default;
    template <class Other>
    CacheLineAllocator(const CacheLineAllocator<Other>& /*other*/) {}

    Number* allocate(size_t count) {
        return static_cast<Number*>(::operator new(count * sizeof(Number), kAlignment));
    }
    void deallocate(Number* numbers, size_t /*count*/) { ::operator delete(numbers, kAlignment); }
    template <class Other>
    void construct(Other* number) {
        ::new (static_cast<void*>(number)) Other;
    }
    template <class Other, class Value>
    void construct(Other* number, const Value& value) {
        ::new (static_cast<void*>(number)) Other(value);
    }
    bool operator==(const CacheLineAllocator&) const = default;

    static constexpr std::align_val_t kAlignment{64};
};
using AlignedDoubles = std::vector<double, CacheLineAllocator<double>>;
using AlignedFloats = std::vector<float, CacheLineAllocator<float>>;

}  // namespace w64
