#pragma once

#include <cstddef>

namespace w64 {

// Complex transforms of 2^k points, k at least 8.
//
// The transform evaluates the input, as a polynomial, at the roots of unity by taking remainders (C. M.
// Fiduccia 1972): node j of a level stands for x^m - u, where u depends on j only, and splits into x^(m/4)
// minus each fourth root of u. So all levels and all sizes share one table of twiddle factors in bit-reversed
// order, one per node. The four nodes of the first level run through all others side by side, as the lanes of
// a vector.
//
// Shape:  points and frequencies are interleaved (re, im), in natural order.
// Owner:  the caller owns all memory, at any alignment; fastest at multiples of 32 bytes.

constexpr ptrdiff_t kFFTKernelMinPoints = 256;

// Twiddle factor j is exp(pi i v / 2), where v is the binary fraction 0.b0 b1 b2 ... of the bits of j, lowest
// first. A transform of n points needs the first n / 4 of them.
struct FFTTwiddles {
    const double* re;
    const double* im;
};

void FillFFTTwiddles(ptrdiff_t count, double* re, double* im);

// In place, with exp(+2 pi i jk / points). The inverse gives `points` times the input.
void FFTForward(ptrdiff_t points, double* data, FFTTwiddles twiddles);
void FFTInverse(ptrdiff_t points, double* data, FFTTwiddles twiddles);

// The lowest `bits` bits of a number in reverse order.
constexpr ptrdiff_t ReverseBits(ptrdiff_t number, ptrdiff_t bits) {
    ptrdiff_t reversed = 0;
    for (; bits > 0; --bits, number /= 2) reversed = 2 * reversed + number % 2;
    return reversed;
}

}  // namespace w64
