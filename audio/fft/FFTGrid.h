#pragma once

#include "audio/fft/CacheLineAllocator.h"

#include <cstddef>
#include <span>
#include <vector>

namespace w64 {

// One pass of a transform: `count` sets of twiddle factors, and `stride` butterflies with each set.
struct FFTPass {
    int radix;
    ptrdiff_t count;
    ptrdiff_t stride;
    std::vector<double> twiddles;  // (re, im), radix - 1 of them in each set
};

// What the transform's inner functions see of an FFTGrid.
struct FFTGridView {
    ptrdiff_t rows;
    ptrdiff_t columns;
    std::span<const FFTPass> columnPasses;
    std::span<const FFTPass> rowPasses;
    const double* twiddles;
    double* grid;
    double* cached[2];
};

// Complex transforms of any size that is a product of small primes, from natural order to natural order,
// unscaled, with exp(+2 pi i nk / points).
//
// The points form a grid of R rows and C columns: point n = C r + c, frequency k = p + R q (J. W. Cooley,
// J. W. Tukey 1965, in the four steps of D. H. Bailey 1990).
//
//         points                           work                           spectrum
//       c 0 1 2 3   ...               c 0 1 2 3   ...                  p 0 1 2 3   ...
//     r +---------+------           p +-----------------             q +---------+------
//     0 | | | | | |               0 | ----------------->             0 | | | | | |
//     1 | | | | | |    1, 2, 3    1 | ----------------->      4      1 | | | | | |
//     2 | | | | | |   --------->  2 | ----------------->  -------->  2 | | | | | |
//     . | v v v v |               3 | ----------------->             . | v v v v |
//       +---------+------           +-----------------                 +---------+------
//
//     1. Transform four columns, the lanes of vectors, over r.
//     2. Multiply row p of column c by the twiddle factor exp(2 pi i p c / points).
//     3. Transpose in squares of 4 x 4, so that rows become lanes.
//     4. Transform four rows over c; they become columns of the spectrum.
//
// The passes within a column or row go back and forth between two buffers that fit the first-level cache:
//
//     points --pass--> cached 0 --pass--> cached 1 --pass--> cached 0 --2, 3--> work
//     work   --pass--> cached 0 --pass--> cached 1 ---------pass---------> spectrum
//
// Shape:  points are interleaved (re, im); a spectrum is groups of four real parts and then their four
//         imaginary parts.
// Owner:  the caller owns all memory, two doubles per point; fastest at multiples of 64 bytes.
class FFTGrid {
public:
    // Multiples of 16 with no prime factor above 7, except the smallest.
    static bool Takes(ptrdiff_t points);

    explicit FFTGrid(ptrdiff_t points);

    ptrdiff_t Points() const { return rows_ * columns_; }

    // The spectrum may replace the points; `work` must be separate.
    void Forward(const double* points, double* spectrum, double* work);

    // The inverse, times Points(). Writes points `first` to `end` - 1 only, both limits multiples of 4, the
    // first of them at points[0]. The points may replace the spectrum.
    void Inverse(const double* spectrum, double* points, ptrdiff_t first, ptrdiff_t end, double* work);

    // Adds the powers at all frequencies of points times a real weight each. The spectrum itself is not stored.
    void AddPowers(const double* points, const double* weights, double* powers, double* work);

private:
    FFTGridView View(double* work);

    ptrdiff_t rows_;
    ptrdiff_t columns_;
    std::vector<FFTPass> columnPasses_;  // of rows_ points
    std::vector<FFTPass> rowPasses_;     // of columns_ points
    AlignedDoubles twiddles_;            // exp(2 pi i column / points), in groups
    AlignedDoubles cached_[2];
};

}  // namespace w64
