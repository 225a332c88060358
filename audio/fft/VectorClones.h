#pragma once

namespace w64::fft {

// Vectors of four doubles, in the syntax that GCC and Clang share, and functions compiled three times: for
// plain x86-64, for AVX2 with FMA and for AVX-512 with its 32 registers. An ifunc resolver picks one when the
// program is loaded. What such a function calls must be inlined into it.
//
// Sanitized builds have the plain version only: ifunc resolvers run before ThreadSanitizer is initialised,
// and three versions take too long to compile under AddressSanitizer.

#if defined(__x86_64__) && defined(__linux__) && defined(__GNUC__) && !defined(__clang__) &&                 \
    !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
#define W64_VECTOR_CLONES __attribute__((target_clones("default", "arch=x86-64-v3", "arch=x86-64-v4")))
#else
#define W64_VECTOR_CLONES
#endif
#define W64_INLINE [[gnu::always_inline]] inline

// Functions of vectors twice as long are for processors that have them. For others GCC takes these apart, one number at
// a time, so clones would be slow there.
#if defined(__x86_64__) && defined(__linux__) && defined(__GNUC__) && !defined(__clang__)
#define W64_AVX512 __attribute__((target("arch=x86-64-v4")))
inline bool HasAVX512() { return __builtin_cpu_supports("x86-64-v4") != 0; }
#else
#define W64_AVX512
inline bool HasAVX512() { return false; }
#endif

using Vector = double __attribute__((vector_size(32)));

// At the alignment of its numbers. Clang heeds that only here, before the type that it is made of.
using VectorInMemory [[gnu::aligned(8), gnu::may_alias]] = Vector;
static_assert(alignof(VectorInMemory) == 8);

// Vectors are passed between inlined functions only, so how others would pass them is of no concern.
#pragma GCC diagnostic ignored "-Wpsabi"

W64_INLINE Vector LoadVector(const double* from) { return *reinterpret_cast<const VectorInMemory*>(from); }
W64_INLINE void StoreVector(double* to, const Vector& value) {
    *reinterpret_cast<VectorInMemory*>(to) = value;
}
W64_INLINE Vector Broadcast(double value) { return Vector{value, value, value, value}; }

}  // namespace w64::fft
