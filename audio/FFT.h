#pragma once

// Discrete Fourier, cosine and sine transforms of n numbers, n a power of two, in place and unscaled.
// Owner:  all memory is the caller's. `ip` has 2 entries or more, and `w` as many as stated. ip[0] = 0, set
//         before the first call, asks for tables to be built in them; later calls use these, and build larger
//         ones when n has grown.
// Tables: ip[0] doubles of twiddle factors and cosines from w on (makewt), then ip[1] of cosines (makect).

// Complex, of n / 2 points: (a[2 j], a[2 j + 1]) are real and imaginary part. The sums are with
// exp(2 pi i jk / (n / 2)) for isgn = 1, with exp(-2 pi i jk / (n / 2)) for -1. w: n / 2.
void cdft(int n, int isgn, double* a, int* ip, double* w);

// Real. isgn = 1: a[2 k] = sum of a[j] cos(2 pi jk / n), a[2 k + 1] = sum of a[j] sin(2 pi jk / n) for
// 0 < k < n / 2; a[0] and a[1] are the cosine sums for k = 0 and k = n / 2. isgn = -1 is the way back, to
// n / 2 times the numbers. w: n / 2.
void rdft(int n, int isgn, double* a, int* ip, double* w);

// Cosine. isgn = -1: sum of a[j] cos(pi (j + 1/2) k / n); isgn = 1: sum of a[j] cos(pi j (k + 1/2) / n).
// w: 3 n / 2.
void ddct(int n, int isgn, double* a, int* ip, double* w);

// Sine. isgn = -1: sum of a[j] sin(pi (j + 1/2) k / n) for 0 < k <= n; isgn = 1: sum over 0 < j <= n of
// a[j] sin(pi j (k + 1/2) / n). Index n is at a[0]. w: 3 n / 2.
void ddst(int n, int isgn, double* a, int* ip, double* w);

// Cosine, of the n + 1 numbers a[0 .. n]: sum of a[j] cos(pi jk / n). t, for work: n / 2 + 1. w: 3 n / 4.
void dfct(int n, double* a, double* t, int* ip, double* w);

// Sine, of a[1 .. n - 1]: sum of a[j] sin(pi jk / n); a[0] becomes 0. t, for work: n / 2 + 1. w: 3 n / 4.
void dfst(int n, double* a, double* t, int* ip, double* w);

// Build nw doubles of twiddle factors at w, enough for rdft of 2 nw numbers, and nc of cosines at c, which is
// w + nw, enough for ddct of nc numbers.
void makewt(int nw, int* ip, double* w);
void makect(int nc, int* ip, double* c);
