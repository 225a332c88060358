#include "audio/fft/FFT.h"

#include "audio/fft/FFTKernel.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace w64 {

namespace {

// The first half of a table holds twiddle factors in bit-reversed order, the second half cos(pi k / points)
// for k = 0 .. points / 2 - 1. A transform of fewer points uses the cosines at a stride.
struct Tables {
    FFTTwiddles twiddles;
    const double* cosines;
    ptrdiff_t points;
};

// Complex twiddle factors in a table of nw doubles. The smallest tables hold nothing else.
int TwiddlesIn(int nw) { return (nw + 2) / 4; }

Tables TablesFor(int n, int* ip, double* w) {
    if (ip[0] == 0 || n > 2 * ip[0]) makewt(std::max(n / 2, 1), ip, w);
    const ptrdiff_t twiddles = TwiddlesIn(ip[0]);
    return {{w, w + twiddles}, w + 2 * twiddles, ip[0]};
}

// Radix 2, level by level, for fewer points than the kernel takes. The output is in bit-reversed order.
void SmallForward(ptrdiff_t points, double* a, const FFTTwiddles& twiddles) {
    for (ptrdiff_t half = points / 2; half > 0; half /= 2) {
        for (ptrdiff_t node = 0; node < points / 2 / half; ++node) {
            const double re = node % 2 == 0 ? twiddles.re[node / 2] : -twiddles.im[node / 2];
            const double im = node % 2 == 0 ? twiddles.im[node / 2] : twiddles.re[node / 2];
            for (ptrdiff_t i = 2 * node * half; i < (2 * node + 1) * half; ++i) {
                double* const low = a + 2 * i;
                double* const high = low + 2 * half;
                const double rotatedRe = high[0] * re - high[1] * im;
                const double rotatedIm = high[0] * im + high[1] * re;
                high[0] = low[0] - rotatedRe;
                high[1] = low[1] - rotatedIm;
                low[0] += rotatedRe;
                low[1] += rotatedIm;
            }
        }
    }
}

void SmallReorder(ptrdiff_t points, double* a) {
    const ptrdiff_t bits = __builtin_ctz(static_cast<unsigned>(points));
    for (ptrdiff_t i = 0; i < points; ++i) {
        const ptrdiff_t reversed = ReverseBits(i, bits);
        if (i < reversed) std::swap_ranges(a + 2 * i, a + 2 * i + 2, a + 2 * reversed);
    }
}

// Between two conjugations the forward transform is the inverse one.
void Conjugate(ptrdiff_t points, double* a) {
    for (ptrdiff_t i = 0; i < points; ++i) a[2 * i + 1] = -a[2 * i + 1];
}

void Transform(ptrdiff_t points, bool back, double* a, const FFTTwiddles& twiddles) {
    if (points < kFFTKernelMinPoints) {
        if (back) Conjugate(points, a);
        SmallForward(points, a, twiddles);
        SmallReorder(points, a);
        if (back) Conjugate(points, a);
    } else if (back) {
        FFTInverse(points, a, twiddles);
    } else {
        FFTForward(points, a, twiddles);
    }
}

// From the spectrum of pairs of real numbers, taken as complex points, to the spectrum of the numbers:
// frequencies k and -k are combined with the factor -i / 2 exp(pi i k / points). Back, with its conjugate.
void CombineReal(ptrdiff_t points, bool back, double* a, const Tables& tables) {
    const double scale = back ? 0.5 : 1;
    const double sum = scale * (a[0] + a[1]);
    a[1] = scale * (a[0] - a[1]);
    a[0] = sum;
    const ptrdiff_t stride = tables.points / points;
    const double sign = back ? 0.5 : -0.5;
    for (ptrdiff_t k = 1; k < points / 2; ++k) {
        double* const here = a + 2 * k;
        double* const mirror = a + 2 * (points - k);
        const double factorRe = 0.5 * tables.cosines[(points / 2 - k) * stride];
        const double factorIm = sign * tables.cosines[k * stride];
        const double sumRe = 0.5 * (here[0] + mirror[0]);
        const double sumIm = 0.5 * (here[1] - mirror[1]);
        const double differenceRe = here[0] - mirror[0];
        const double differenceIm = here[1] + mirror[1];
        const double rotatedRe = differenceRe * factorRe - differenceIm * factorIm;
        const double rotatedIm = differenceRe * factorIm + differenceIm * factorRe;
        here[0] = sumRe + rotatedRe;
        here[1] = sumIm + rotatedIm;
        mirror[0] = sumRe - rotatedRe;
        mirror[1] = rotatedIm - sumIm;
    }
}

// cos(pi k / 2n); the sine is the entry at n - k.
struct QuarterWave {
    const double* table;
    int stride;

    double Cosine(ptrdiff_t k) const { return table[k * stride]; }
};

QuarterWave Cosines(int n, int* ip, double* w) {
    TablesFor(n, ip, w);
    if (n > ip[1]) makect(n, ip, w + ip[0]);
    return {w + ip[0], ip[1] / n};
}

// A cosine transform at k is cos(pi k / 2n) P + sin(pi k / 2n) Q, where P and Q are the cosine and sine sums
// of a real transform. These rotate between the two, for k and n - k at once.
void RotateToSums(int n, double* a, const QuarterWave& wave) {
    for (ptrdiff_t k = 1; k < n / 2; ++k) {
        const double p = wave.Cosine(k) * a[k] + wave.Cosine(n - k) * a[n - k];
        const double q = wave.Cosine(n - k) * a[k] - wave.Cosine(k) * a[n - k];
        a[k] = 0.5 * (p + q);
        a[n - k] = 0.5 * (p - q);
    }
    a[n / 2] *= wave.Cosine(n / 2);
}
void RotateFromSums(int n, double* a, const QuarterWave& wave) {
    for (ptrdiff_t k = 1; k < n / 2; ++k) {
        const double p = 0.5 * (a[k] + a[n - k]);
        const double q = 0.5 * (a[k] - a[n - k]);
        a[k] = wave.Cosine(k) * p + wave.Cosine(n - k) * q;
        a[n - k] = wave.Cosine(n - k) * p - wave.Cosine(k) * q;
    }
    a[n / 2] *= wave.Cosine(n / 2);
}

}  // namespace

void makewt(int nw, int* ip, double* w) {
    ip[0] = nw;
    ip[1] = 0;
    const int twiddles = TwiddlesIn(nw);
    FillFFTTwiddles(twiddles, w, w + twiddles);
    for (int k = 0; k < nw - 2 * twiddles; ++k) w[2 * twiddles + k] = std::cos(std::numbers::pi * k / nw);
}

void makect(int nc, int* ip, double* c) {
    ip[1] = nc;
    for (ptrdiff_t k = 0; k < nc; ++k) c[k] = std::cos(std::numbers::pi / 2 * static_cast<double>(k) / nc);
}

void cdft(int n, int isgn, double* a, int* ip, double* w) {
    Transform(n / 2, isgn < 0, a, TablesFor(n, ip, w).twiddles);
}

void rdft(int n, int isgn, double* a, int* ip, double* w) {
    const ptrdiff_t points = n / 2;
    const Tables tables = TablesFor(n, ip, w);
    if (isgn < 0) CombineReal(points, true, a, tables);
    Transform(points, isgn < 0, a, tables.twiddles);
    if (isgn >= 0) CombineReal(points, false, a, tables);
}

// The sum of the neighbours a[2 j - 1] and a[2 j] goes with the cosine, their difference with the sine of the
// angle halfway between them, and those are the angles of a real transform. isgn = 1 is the transpose.
void ddct(int n, int isgn, double* a, int* ip, double* w) {
    if (n < 2) return;
    const QuarterWave wave = Cosines(n, ip, w);
    if (isgn < 0) {
        const double last = a[n - 1];
        for (ptrdiff_t j = n - 2; j > 0; j -= 2) {
            const double odd = a[j - 1];
            a[j + 1] = odd - a[j];
            a[j] += odd;
        }
        a[0] *= 2;
        a[1] = 2 * last;
        rdft(n, -1, a, ip, w);
        RotateFromSums(n, a, wave);
    } else {
        RotateToSums(n, a, wave);
        rdft(n, 1, a, ip, w);
        const double last = a[1];
        for (ptrdiff_t j = 2; j < n; j += 2) {
            const double even = a[j];
            a[j] = even - a[j + 1];
            a[j - 1] = even + a[j + 1];
        }
        a[n - 1] = last;
    }
}

// sin(pi (j + 1/2) (n - k) / n) is cos(pi (j + 1/2) k / n) with the sign flipped for odd j.
void ddst(int n, int isgn, double* a, int* ip, double* w) {
    if (isgn >= 0) std::reverse(a + 1, a + n);
    if (isgn < 0) {
        for (ptrdiff_t j = 1; j < n; j += 2) a[j] = -a[j];
    }
    ddct(n, isgn, a, ip, w);
    if (isgn < 0) std::reverse(a + 1, a + n);
    if (isgn >= 0) {
        for (ptrdiff_t k = 1; k < n; k += 2) a[k] = -a[k];
    }
}

// a[j] + a[n - j] gives the even k, by the same transform at half the size; a[j] - a[n - j] gives the odd k.
void dfct(int n, double* a, double* t, int* ip, double* w) {
    const int half = n / 2;
    if (half == 0) {
        a[0] += std::exchange(a[1], a[0] - a[1]);
        return;
    }
    for (ptrdiff_t j = 0; j < half; ++j) {
        t[j] = a[j] + a[n - j];
        a[j] -= a[n - j];
    }
    t[half] = a[half];
    ddct(half, 1, a, ip, w);
    dfct(half, t, a + half, ip, w);
    for (ptrdiff_t k = half - 1; k >= 0; --k) a[2 * k + 1] = a[k];
    for (ptrdiff_t k = 0; k <= half; ++k) a[2 * k] = t[k];
}

void dfst(int n, double* a, double* t, int* ip, double* w) {
    const int half = n / 2;
    a[0] = 0;
    if (half == 0) return;
    for (ptrdiff_t j = 1; j < half; ++j) {
        t[j] = a[j] - a[n - j];
        a[j] += a[n - j];
    }
    a[0] = a[half];
    ddst(half, 1, a, ip, w);
    dfst(half, t, a + half, ip, w);
    for (ptrdiff_t k = half - 1; k >= 0; --k) a[2 * k + 1] = a[k];
    for (ptrdiff_t k = 0; k < half; ++k) a[2 * k] = t[k];
}

}  // namespace w64
