#pragma once

// Vectors of four doubles in the form that GCC and Clang share, and functions compiled once for the plain
// machine, once for AVX2 with FMA and once for AVX-512 with its many registers, chosen when the program is
// loaded. What such a function calls has to be inlined into it. Where there is no choosing, the plain form is
// all there is: the thread sanitizer is not ready yet when the choice is made, and the address sanitizer takes
// too long to build three.

#if defined(__x86_64__) && defined(__linux__) && defined(__GNUC__) && !defined(__clang__) &&                 \
    !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
#define W64_VECTOR_CLONES __attribute__((target_clones("default", "arch=x86-64-v3", "arch=x86-64-v4")))
#else
#define W64_VECTOR_CLONES
#endif
#define W64_INLINE [[gnu::always_inline]] inline

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
