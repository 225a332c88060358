#pragma once

#include "audio/samples/XAudioSampleAccess.h"

#include <cstring>

// Samples in vectors, in the syntax that GCC and Clang share: eight at a time for AVX2 on x86-64, which is checked
// at run time, and four elsewhere, as GCC takes vectors apart that are longer than the processor's. EightLanes.h and
// FourLanes.h have what depends on that. Vectors are passed by reference, because the ABI for passing them by
// value depends on the instruction set.
#if defined(__x86_64__)
#define W64_LANES [[gnu::target("avx2")]]
#else
#define W64_LANES
#endif
#define W64_INLINE_LANES W64_LANES [[gnu::always_inline]] inline

namespace w64::lanes {

#if defined(__x86_64__)
constexpr int64_t kLanes = 8;
#else
constexpr int64_t kLanes = 4;
#endif

using Bytes = uint8_t __attribute__((vector_size(4 * kLanes)));
using Ints = int32_t __attribute__((vector_size(4 * kLanes)));
using Floats = float __attribute__((vector_size(4 * kLanes)));
using Doubles = double __attribute__((vector_size(4 * kLanes)));  // of half of the samples
using Longs = int64_t __attribute__((vector_size(4 * kLanes)));

template <class Vector>
W64_INLINE_LANES void LoadLanes(Vector& value, const void* from) {
    std::memcpy(&value, from, sizeof value);
}

template <class Vector>
W64_INLINE_LANES void StoreLanes(void* to, const Vector& value) {
    std::memcpy(to, &value, sizeof value);
}

}  // namespace w64::lanes
