#pragma once

#include <cstddef>

// Complex transforms of 2^k points, k at least 8, that leave the spectrum in an order of its own. What
// multiplies spectra point by point does not mind, and is spared the reordering.
//
// The transform evaluates the polynomial of its input at the roots of unity by taking remainders: node j of a
// level stands for x^m - u, with u depending on j only, and splits into x^(m/4) minus each fourth root of u.
// So all levels, and all sizes, share one table of twiddle factors in bit-reversed order, one per node.
//
// Order:  leaf J of the tree is frequency k where k is J with its bits reversed. A block of 16 leaves holds,
//         for c = 0 .. 3, four real and then four imaginary parts, those of leaves 16 block + c + 4 (0 .. 3).
// Owner:  all memory is the caller's, at any alignment; quickest at multiples of 32 bytes.

constexpr ptrdiff_t kFFTKernelMinPoints = 256;

// Twiddle factor j is exp(pi i v / 2), with v the number 0.b0 b1 b2 ... of the bits b of j, lowest first.
// Transforms of n points need the first n / 4.
struct FFTTwiddles {
    const double* re;
    const double* im;
};

void FillFFTTwiddles(ptrdiff_t count, double* re, double* im);

// Spectrum of exp(+2 pi i jk / points) sums. The input is interleaved (re, im) and may be the output.
void FFTForward(ptrdiff_t points, const double* in, double* spectrum, FFTTwiddles twiddles);

// From a spectrum, which is overwritten, back to `points` times the interleaved input. The output may be the
// spectrum.
void FFTInverse(ptrdiff_t points, double* spectrum, double* out, FFTTwiddles twiddles);

// As FFTForward in place of points of which only the first `given`, a multiple of 4, are not zero, but the
// spectrum times another is added to a sum, or becomes it when that is the first. The data is then worthless.
void FFTForwardAndAdd(ptrdiff_t points, double* data, ptrdiff_t given, const double* factor, bool first,
                      double* sum, FFTTwiddles twiddles);

// As FFTInverse of the product of two spectra, which both stay, but only points from `first` to before `end`,
// multiples of 4, come out, at every `spacing`th place. `work` is as large as a spectrum.
void FFTInverseOfProduct(ptrdiff_t points, const double* spectrum, const double* factor, double* work,
                         ptrdiff_t first, ptrdiff_t end, double* out, ptrdiff_t spacing,
                         FFTTwiddles twiddles);

// Between the two: from the spectrum of n / 2 points, which are n real numbers in pairs, to that of the real
// numbers and back. Frequency 0 then has that of frequency n / 2 as its imaginary part. Needs n / 4 twiddles.
void FFTSplitReal(ptrdiff_t points, double* spectrum, FFTTwiddles twiddles);
void FFTJoinReal(ptrdiff_t points, double* spectrum, FFTTwiddles twiddles);

// From the spectrum to natural order, interleaved, and back.
void FFTReorder(ptrdiff_t points, double* spectrum);
void FFTReorderBack(ptrdiff_t points, double* interleaved);

// The lowest `bits` bits of a number in reverse order.
constexpr ptrdiff_t ReverseBits(ptrdiff_t number, ptrdiff_t bits) {
    ptrdiff_t reversed = 0;
    for (; bits > 0; --bits, number /= 2) reversed = 2 * reversed + number % 2;
    return reversed;
}

// One pair of frequencies, k and -k, from the spectrum of number pairs to that of the numbers, with the factor
// -i / 2 exp(pi i k / points), or back, with its conjugate. Works on vectors as on single numbers.
template <class Number>
struct FFTRealPair {
    Number re, im, mirrorRe, mirrorIm;

    [[gnu::always_inline]] void Combine(const Number& factorRe, const Number& factorIm) {
        const Number sumRe = 0.5 * (re + mirrorRe);
        const Number sumIm = 0.5 * (im - mirrorIm);
        const Number differenceRe = re - mirrorRe;
        const Number differenceIm = im + mirrorIm;
        const Number turnedRe = differenceRe * factorRe - differenceIm * factorIm;
        const Number turnedIm = differenceRe * factorIm + differenceIm * factorRe;
        re = sumRe + turnedRe;
        im = sumIm + turnedIm;
        mirrorRe = sumRe - turnedRe;
        mirrorIm = turnedIm - sumIm;
    }
};

// The first `leaves` of what the two steps for real numbers do, `back` or not, where at(J) gives the address
// of the real part of leaf J and the imaginary part is `stride` behind it. The frequencies k and -k lie in
// mirrored leaves of one octave.
template <class Address>
void CombineRealLeaves(ptrdiff_t leaves, bool back, FFTTwiddles twiddles, ptrdiff_t stride, Address at) {
    double* const zero = at(0);
    const double scale = back ? 0.5 : 1;
    const double sum = scale * (zero[0] + zero[stride]);
    zero[stride] = scale * (zero[0] - zero[stride]);
    zero[0] = sum;
    for (ptrdiff_t octave = 2; octave < leaves; octave *= 2) {
        for (ptrdiff_t leaf = octave; leaf < octave + octave / 2; ++leaf) {
            const double cosine = leaf % 2 == 0 ? twiddles.re[leaf / 2] : -twiddles.im[leaf / 2];
            const double sine = leaf % 2 == 0 ? twiddles.im[leaf / 2] : twiddles.re[leaf / 2];
            double* const here = at(leaf);
            double* const mirror = at(3 * octave - 1 - leaf);
            FFTRealPair<double> pair = {here[0], here[stride], mirror[0], mirror[stride]};
            pair.Combine(sine / 2, back ? cosine / 2 : -cosine / 2);
            here[0] = pair.re;
            here[stride] = pair.im;
            mirror[0] = pair.mirrorRe;
            mirror[stride] = pair.mirrorIm;
        }
    }
}
