#pragma once

namespace w64 {

// Discrete Fourier, cosine and sine transforms of n numbers, n a power of two, in place and unscaled.
// Only the real transform has a caller here. The others are for codecs and analysis tools that build on this floor.
// Owner:  the caller owns all memory. `ip` has at least 2 entries, `w` the size stated for each transform.
//         Set ip[0] = 0 before the first call, which builds the tables in `w`; later calls use them, and
//         build larger ones when n has grown.
// Tables: ip[0] doubles of twiddle factors and cosines at w (makewt), then ip[1] cosines (makect).

// Complex transform of n / 2 points: a[2 j] and a[2 j + 1] are the real and imaginary parts of point j. The
// exponent is 2 pi i jk / (n / 2) for isgn = 1 and -2 pi i jk / (n / 2) for isgn = -1. w: n / 2.
void cdft(int n, int isgn, double* a, int* ip, double* w);

// Real transform. isgn = 1: a[2 k] = sum of a[j] cos(2 pi jk / n), a[2 k + 1] = sum of a[j] sin(2 pi jk / n)
// for 0 < k < n / 2; a[0] and a[1] are the cosine sums for k = 0 and k = n / 2. isgn = -1 is the inverse,
// times n / 2. w: n / 2.
void rdft(int n, int isgn, double* a, int* ip, double* w);

// Cosine transform. isgn = -1: sum of a[j] cos(pi (j + 1/2) k / n).
// isgn = 1: sum of a[j] cos(pi j (k + 1/2) / n). w: 3 n / 2.
void ddct(int n, int isgn, double* a, int* ip, double* w);

// Sine transform. isgn = -1: sum of a[j] sin(pi (j + 1/2) k / n) for 0 < k <= n.
// isgn = 1: sum over 0 < j <= n of a[j] sin(pi j (k + 1/2) / n). Index n is stored at a[0]. w: 3 n / 2.
void ddst(int n, int isgn, double* a, int* ip, double* w);

// Cosine transform of the n + 1 numbers a[0 .. n]: sum of a[j] cos(pi jk / n). t: work area of n / 2 + 1.
// w: 3 n / 4.
void dfct(int n, double* a, double* t, int* ip, double* w);

// Sine transform of a[1 .. n - 1]: sum of a[j] sin(pi jk / n); a[0] becomes 0. t: work area of n / 2 + 1.
// w: 3 n / 4.
void dfst(int n, double* a, double* t, int* ip, double* w);

// makewt builds nw doubles of twiddle factors and cosines at w, enough for rdft of 2 nw numbers; makect
// builds nc cosines at c = w + nw, enough for ddct of nc numbers.
void makewt(int nw, int* ip, double* w);
void makect(int nc, int* ip, double* c);

}  // namespace w64
