#pragma once

#include "audio/CacheLineAllocator.h"

#include <cstddef>
#include <span>
#include <vector>

// One pass of a transform: a butterfly of so many numbers for each of `count` twiddle factors, each for `stride`
// neighbours.
struct FFTPass {
    int radix;
    ptrdiff_t count;
    ptrdiff_t stride;
    std::vector<double> twiddles;  // radix - 1 pairs (re, im) for each butterfly
};

struct FFTGridView {
    ptrdiff_t rows;
    ptrdiff_t columns;
    std::span<const FFTPass> columnPasses;
    std::span<const FFTPass> rowPasses;
    const double* turns;
    double* grid;
    double* cached[2];
};

// Complex transforms of any number of points that is a product of small primes, from natural order to natural
// order, unscaled, with exp(+2 pi i jk / points).
//
// The points are a grid of rows and columns: all columns are transformed, turned by twiddle factors, then all
// rows (J. W. Cooley, J. W. Tukey 1965, in the four steps of D. H. Bailey 1990). Four columns or four rows at a
// time are the lanes of vectors, and small enough to stay in the first-level cache for all passes.
//
// Shape:  points are interleaved (re, im); a spectrum is groups of four real and then four imaginary parts.
// Owner:  all memory given is the caller's, two doubles a point, quickest at multiples of 64 bytes.
class FFTGrid {
public:
    // Multiples of 16 without prime factors above 7, but for the smallest.
    static bool Takes(ptrdiff_t points);

    explicit FFTGrid(ptrdiff_t points);

    ptrdiff_t Points() const { return rows_ * columns_; }

    // The spectrum may take the place of the points; `work` is another.
    void Forward(const double* points, double* spectrum, double* work);

    // Back to `Points()` times the points, of which those from `first` to before `end`, multiples of 4, come out,
    // in the place of the spectrum or elsewhere.
    void Inverse(const double* spectrum, double* points, ptrdiff_t first, ptrdiff_t end, double* work);

private:
    FFTGridView View(double* work);

    ptrdiff_t rows_;
    ptrdiff_t columns_;
    std::vector<FFTPass> columnPasses_;  // of rows_ points
    std::vector<FFTPass> rowPasses_;     // of columns_ points
    Numbers turns_;                      // exp(2 pi i column / points), in groups
    Numbers cached_[2];
};
