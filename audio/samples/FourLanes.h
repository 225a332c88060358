#pragma once

#include "audio/samples/Lanes.h"

namespace w64::lanes {

// Bytes in another order, of which a processor makes one table lookup.
template <int... places>
W64_INLINE_LANES void Shuffle(Bytes& bytes) {
    bytes = __builtin_shufflevector(bytes, bytes, places...);
}

// Four samples as left-justified integers.

W64_INLINE_LANES void GetLanes(Samples8, const uint8_t* data, Ints& values) {
    values = Ints{};
    std::memcpy(&values, data, 4);
    auto bytes = (Bytes)values;
    Shuffle<4, 4, 4, 0, 4, 4, 4, 1, 4, 4, 4, 2, 4, 4, 4, 3>(bytes);
    values = (Ints)bytes ^ std::numeric_limits<int32_t>::min();
}

W64_INLINE_LANES void PutLanes(Samples8, uint8_t* data, const Ints& values) {
    auto bytes = (Bytes)(values ^ std::numeric_limits<int32_t>::min());
    Shuffle<3, 7, 11, 15, 3, 7, 11, 15, 3, 7, 11, 15, 3, 7, 11, 15>(bytes);
    StoreLanes(data, ((Ints)bytes)[0]);
}

W64_INLINE_LANES void GetLanes(Samples16, const uint8_t* data, Ints& values) {
    values = Ints{};
    std::memcpy(&values, data, 8);
    auto bytes = (Bytes)values;
    Shuffle<8, 8, 0, 1, 8, 8, 2, 3, 8, 8, 4, 5, 8, 8, 6, 7>(bytes);
    values = (Ints)bytes;
}

W64_INLINE_LANES void PutLanes(Samples16, uint8_t* data, const Ints& values) {
    auto bytes = (Bytes)values;
    Shuffle<2, 3, 6, 7, 10, 11, 14, 15, 2, 3, 6, 7, 10, 11, 14, 15>(bytes);
    StoreLanes(data, ((Longs)bytes)[0]);
}

// Reads 4 bytes of the next samples too.
W64_INLINE_LANES void GetLanes(Samples24, const uint8_t* data, Ints& values) {
    Bytes bytes;
    LoadLanes(bytes, data);
    Shuffle<0, 0, 1, 2, 3, 3, 4, 5, 6, 6, 7, 8, 9, 9, 10, 11>(bytes);
    values = (Ints)bytes & ~0xFF;
}

// Stores 4 bytes too many: one store is faster than two, and the next samples overwrite them.
W64_INLINE_LANES void PutLanes(Samples24, uint8_t* data, const Ints& values) {
    auto bytes = (Bytes)values;
    Shuffle<1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, 0, 0, 0, 0>(bytes);
    StoreLanes(data, bytes);
}

// By way of 64-bit integers, as NEON converts vectors of those.
W64_INLINE_LANES void Truncate(const Doubles& low, const Doubles& high, Ints& whole) {
    const auto lowWhole = (Ints) __builtin_convertvector(low, Longs);
    const auto highWhole = (Ints) __builtin_convertvector(high, Longs);
    whole = __builtin_shufflevector(lowWhole, highWhole, 0, 2, 4, 6);
}

W64_INLINE_LANES void ToDoubles(const Ints& whole, Doubles& low, Doubles& high) {
    const auto lowUpper = (Longs)__builtin_shufflevector(whole, whole, 0, 0, 1, 1);
    const auto highUpper = (Longs)__builtin_shufflevector(whole, whole, 2, 2, 3, 3);
    low = __builtin_convertvector(lowUpper >> 32, Doubles);
    high = __builtin_convertvector(highUpper >> 32, Doubles);
}

}  // namespace w64::lanes
