#pragma once

#include <cstddef>

// Complex transforms of 2^k points, k at least 8.
//
// The transform evaluates the polynomial of its input at the roots of unity by taking remainders: node j of a
// level stands for x^m - u, with u depending on j only, and splits into x^(m/4) minus each fourth root of u.
// So all levels, and all sizes, share one table of twiddle factors in bit-reversed order, one per node. The
// four nodes of the first level go through all others side by side, as the lanes of a vector.
//
// Shape:  points are interleaved (re, im). Spectra, but those in order, have an order of their own, which does
//         not matter to what multiplies them point by point; they are as large.
// Owner:  all memory is the caller's, at any alignment; quickest at multiples of 32 bytes.

constexpr ptrdiff_t kFFTKernelMinPoints = 256;

// Twiddle factor j is exp(pi i v / 2), with v the number 0.b0 b1 b2 ... of the bits b of j, lowest first.
// Transforms of n points need the first n / 4 of them.
struct FFTTwiddles {
    const double* re;
    const double* im;
};

void FillFFTTwiddles(ptrdiff_t count, double* re, double* im);

// Twiddle factors of all nodes, lane by lane, for transforms of one number of points. A larger table, with which
// they take less time.
struct FFTLaneTwiddles {
    const double* factors;
};

constexpr ptrdiff_t FFTLaneTwiddleSize(ptrdiff_t points) { return points / 4 * 3; }
void FillFFTLaneTwiddles(ptrdiff_t points, double* factors);

// Spectrum of exp(+2 pi i jk / points) sums. `work` may be the input.
void FFTForward(ptrdiff_t points, const double* in, double* work, double* spectrum, FFTLaneTwiddles twiddles);

// From a spectrum back to `points` times the input, elsewhere.
void FFTInverse(ptrdiff_t points, const double* spectrum, double* out, FFTLaneTwiddles twiddles);

// As FFTForward of points of which only the first `given`, a multiple of 4, are not zero, but the spectrum
// times another is added to a sum, or becomes it when that is the first. The points are worthless then.
void FFTForwardAndAdd(ptrdiff_t points, double* data, ptrdiff_t given, const double* factor, bool first,
                      double* sum, FFTLaneTwiddles twiddles);

// As FFTInverse of the product of two spectra, but only points from `first` to before `end`, multiples of 4,
// come out, at every `spacing`th place.
void FFTInverseOfProduct(ptrdiff_t points, const double* spectrum, const double* factor, double* work,
                         ptrdiff_t first, ptrdiff_t end, double* out, ptrdiff_t spacing,
                         FFTLaneTwiddles twiddles);

// In place, frequencies from 0 on.
void FFTForwardInOrder(ptrdiff_t points, double* data, FFTTwiddles twiddles);
void FFTInverseInOrder(ptrdiff_t points, double* data, FFTTwiddles twiddles);

// The lowest `bits` bits of a number in reverse order.
constexpr ptrdiff_t ReverseBits(ptrdiff_t number, ptrdiff_t bits) {
    ptrdiff_t reversed = 0;
    for (; bits > 0; --bits, number /= 2) reversed = 2 * reversed + number % 2;
    return reversed;
}
