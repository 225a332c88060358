#pragma once

#include "audio/samples/Lanes.h"

namespace w64::lanes {

using Ints4 = int32_t __attribute__((vector_size(16)));
using Shorts = int16_t __attribute__((vector_size(16)));
using Longs2 = int64_t __attribute__((vector_size(16)));
using Bytes16 = uint8_t __attribute__((vector_size(16)));
using Bytes8 = uint8_t __attribute__((vector_size(8)));

// Eight samples as left-justified integers.

W64_INLINE_LANES void GetLanes(Samples8, const uint8_t* data, Ints& values) {
    Bytes8 bytes;
    LoadLanes(bytes, data);
    values = (__builtin_convertvector(bytes, Ints) - 128) << 24;
}

W64_INLINE_LANES void PutLanes(Samples8, uint8_t* data, const Ints& values) {
    StoreLanes(data, __builtin_convertvector((values >> 24) + 128, Bytes8));
}

W64_INLINE_LANES void GetLanes(Samples16, const uint8_t* data, Ints& values) {
    Shorts shorts;
    LoadLanes(shorts, data);
    values = __builtin_convertvector(shorts, Ints) << 16;
}

// The upper half of every integer. Packed within each half of the vector first, as crossing halves is slow.
W64_INLINE_LANES void PutLanes(Samples16, uint8_t* data, const Ints& values) {
    const auto bytes = (Bytes)values;
    const auto packed =
        (Longs)__builtin_shufflevector(bytes, bytes,                                            //
                                       2, 3, 6, 7, 10, 11, 14, 15, 2, 3, 6, 7, 10, 11, 14, 15,  //
                                       18, 19, 22, 23, 26, 27, 30, 31, 18, 19, 22, 23, 26, 27, 30, 31);
    const Longs2 joined = __builtin_shufflevector(packed, packed, 0, 2);
    StoreLanes(data, joined);
}

// Four samples from the start of the first 16 bytes, four from the end of the next, so nothing is read
// beyond.
W64_INLINE_LANES void GetLanes(Samples24, const uint8_t* data, Ints& values) {
    Bytes16 low;
    Bytes16 high;
    LoadLanes(low, data);
    LoadLanes(high, data + 8);
    const Bytes bytes =
        __builtin_shufflevector(low, high,                                             //
                                0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15,  //
                                16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
    const Bytes spread =
        __builtin_shufflevector(bytes, bytes,                                      //
                                0, 0, 1, 2, 3, 3, 4, 5, 6, 6, 7, 8, 9, 9, 10, 11,  //
                                20, 20, 21, 22, 23, 23, 24, 25, 26, 26, 27, 28, 29, 29, 30, 31);
    values = (Ints)spread & ~0xFF;
}

// Stores 8 bytes too many: one store is faster than two, and the next samples overwrite them.
W64_INLINE_LANES void PutLanes(Samples24, uint8_t* data, const Ints& values) {
    const auto bytes = (Bytes)values;
    const auto packed =
        (Ints)__builtin_shufflevector(bytes, bytes,                                         //
                                      1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, 0, 0, 0, 0,  //
                                      17, 18, 19, 21, 22, 23, 25, 26, 27, 29, 30, 31, 16, 16, 16, 16);
    const Ints joined = __builtin_shufflevector(packed, packed, 0, 1, 2, 4, 5, 6, 3, 7);
    StoreLanes(data, joined);
}

W64_INLINE_LANES void Truncate(const Doubles& low, const Doubles& high, Ints& whole) {
    const Ints4 lowWhole = __builtin_convertvector(low, Ints4);
    const Ints4 highWhole = __builtin_convertvector(high, Ints4);
    whole = __builtin_shufflevector(lowWhole, highWhole, 0, 1, 2, 3, 4, 5, 6, 7);
}

W64_INLINE_LANES void ToDoubles(const Ints& whole, Doubles& low, Doubles& high) {
    const Ints4 lowWhole = __builtin_shufflevector(whole, whole, 0, 1, 2, 3);
    const Ints4 highWhole = __builtin_shufflevector(whole, whole, 4, 5, 6, 7);
    low = __builtin_convertvector(lowWhole, Doubles);
    high = __builtin_convertvector(highWhole, Doubles);
}

}  // namespace w64::lanes
