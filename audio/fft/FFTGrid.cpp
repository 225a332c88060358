#include "audio/fft/FFTGrid.h"

#include "audio/fft/VectorComplex.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace w64 {

using namespace fft;

namespace {

// exp(2 pi i numerator / denominator). The numerator is reduced first, which keeps large ones exact.
struct RootOfUnity {
    double re;
    double im;

    RootOfUnity(ptrdiff_t numerator, ptrdiff_t denominator) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(numerator % denominator) /
                             static_cast<double>(denominator);
        re = std::cos(angle);
        im = std::sin(angle);
    }
};

ptrdiff_t WithoutFactor(ptrdiff_t number, ptrdiff_t factor) {
    while (number % factor == 0) number /= factor;
    return number;
}

// The largest divisor up to the square root that makes rows and columns multiples of the lanes. Above 8, both
// take at least two passes.
ptrdiff_t RowsOf(ptrdiff_t points) {
    ptrdiff_t rows = kLanes;
    for (ptrdiff_t divisor = kLanes; divisor * divisor <= points; divisor += kLanes) {
        if (points % (divisor * kLanes) == 0) rows = divisor;
    }
    return rows;
}

// Butterflies: the transform of the numbers in the array.
W64_INLINE void Transform(Complex (&a)[4]) {
    const Complex sum = a[0] + a[2];
    const Complex difference = a[0] - a[2];
    const Complex oddSum = a[1] + a[3];
    const Complex oddDifference = TimesI(a[1] - a[3]);
    a[0] = sum + oddSum;
    a[1] = difference + oddDifference;
    a[2] = sum - oddSum;
    a[3] = difference - oddDifference;
}

W64_INLINE void Transform(Complex (&a)[8]) {
    constexpr double kRoot = std::numbers::sqrt2 / 2;
    Complex even[4] = {a[0], a[2], a[4], a[6]};
    Complex odd[4] = {a[1], a[3], a[5], a[7]};
    Transform(even);
    Transform(odd);
    odd[1] = kRoot * Complex(odd[1].re - odd[1].im, odd[1].re + odd[1].im);
    odd[2] = TimesI(odd[2]);
    odd[3] = kRoot * Complex(-odd[3].re - odd[3].im, odd[3].re - odd[3].im);
    for (int k = 0; k < 4; ++k) {
        a[k] = even[k] + odd[k];
        a[k + 4] = even[k] - odd[k];
    }
}

// cos and sin of 2 pi k / radix, k up to radix / 2, for the odd radices.
template <int kRadix>
struct Roots;
template <>
struct Roots<3> {
    static constexpr double kCos[] = {1, -0.5};
    static constexpr double kSin[] = {0, 0.86602540378443864676};
};
template <>
struct Roots<5> {
    static constexpr double kCos[] = {1, 0.30901699437494742410, -0.80901699437494742410};
    static constexpr double kSin[] = {0, 0.95105651629515357212, 0.58778525229247312917};
};
template <>
struct Roots<7> {
    static constexpr double kCos[] = {1, 0.62348980185873353053, -0.22252093395631440429,
                                      -0.90096886790241912624};
    static constexpr double kSin[] = {0, 0.78183148246802980871, 0.97492791218182360702,
                                      0.43388373911755812048};
};

// Odd radices: a[j] and a[radix - j] share their cosines and have opposite sines.
template <int kRadix>
W64_INLINE void Transform(Complex (&a)[kRadix]) {
    constexpr int kHalf = kRadix / 2;
    Complex sum[kHalf + 1];
    Complex difference[kHalf + 1];
    Complex all = a[0];
    for (int j = 1; j <= kHalf; ++j) {
        sum[j] = a[j] + a[kRadix - j];
        difference[j] = a[j] - a[kRadix - j];
        all = all + sum[j];
    }
    for (int k = 1; k <= kHalf; ++k) {
        Complex even = a[0];
        Complex odd(Vector{}, Vector{});
        for (int j = 1; j <= kHalf; ++j) {
            const int index = j * k % kRadix;
            const double cosine = Roots<kRadix>::kCos[std::min(index, kRadix - index)];
            const double sine = Roots<kRadix>::kSin[std::min(index, kRadix - index)];
            even = even + cosine * sum[j];
            odd = odd + (index <= kHalf ? sine : -sine) * difference[j];
        }
        odd = TimesI(odd);
        a[k] = even + odd;
        a[kRadix - k] = even - odd;
    }
    a[0] = all;
}

// Where passes read and write, by groups of four numbers. A forward transform that reads and writes real and
// imaginary parts swapped is the inverse transform.
struct FromGroups {
    const double* groups;

    W64_INLINE Complex operator()(ptrdiff_t index) const { return LoadGroup(groups + index * kGroup); }
};
struct ToGroups {
    double* groups;

    W64_INLINE void operator()(ptrdiff_t index, const Complex& value) const {
        StoreGroup(groups + index * kGroup, value);
    }
};
struct FromSwappedGroups {
    const double* groups;

    W64_INLINE Complex operator()(ptrdiff_t index) const {
        const Complex value = LoadGroup(groups + index * kGroup);
        return {value.im, value.re};
    }
};
struct FromPoints {
    const double* points;

    W64_INLINE Complex operator()(ptrdiff_t index) const {
        const Complex value = LoadInterleaved(points + index * kGroup);
        return {__builtin_shufflevector(value.re, value.re, 0, 2, 1, 3),
                __builtin_shufflevector(value.im, value.im, 0, 2, 1, 3)};
    }
};
struct FromWeightedPoints {
    FromPoints points;
    const double* weights;

    W64_INLINE Complex operator()(ptrdiff_t index) const {
        const Vector weight = LoadVector(weights + index * kLanes);
        const Complex value = points(index);
        return {value.re * weight, value.im * weight};
    }
};
struct ToSumOfPowers {
    double* powers;

    W64_INLINE void operator()(ptrdiff_t index, const Complex& value) const {
        double* const to = powers + index * kLanes;
        StoreVector(to, LoadVector(to) + value.re * value.re + value.im * value.im);
    }
};
struct ToSwappedPoints {
    double* points;
    ptrdiff_t first;  // groups
    ptrdiff_t end;

    W64_INLINE void operator()(ptrdiff_t index, const Complex& value) const {
        if (index < first || index >= end) return;
        StoreInterleaved(points + (index - first) * kGroup,
                         {__builtin_shufflevector(value.im, value.im, 0, 2, 1, 3),
                          __builtin_shufflevector(value.re, value.re, 0, 2, 1, 3)});
    }
};

// A pass of T. G. Stockham's algorithm, which keeps natural order but cannot work in place. The limits of the
// loops are local copies: a store could change those of the pass, as far as the compiler knows.
template <int kRadix, class Source, class Target>
W64_INLINE void RunTwiddledPass(const FFTPass& pass, Source source, Target target) {
    const ptrdiff_t count = pass.count;
    const ptrdiff_t stride = pass.stride;
    const ptrdiff_t apart = stride * count;
    const double* factor = pass.twiddles.data();
    ptrdiff_t from = 0;
    ptrdiff_t to = 0;
    for (ptrdiff_t p = 0; p < count; ++p, to += (kRadix - 1) * stride) {
        Complex twiddle[kRadix];
        for (int j = 1; j < kRadix; ++j, factor += 2) {
            twiddle[j] = {Broadcast(factor[0]), Broadcast(factor[1])};
        }
        for (const ptrdiff_t end = from + stride; from < end; ++from, ++to) {
            Complex a[kRadix];
            for (int i = 0; i < kRadix; ++i) a[i] = source(from + apart * i);
            Transform(a);
            target(to, a[0]);
            for (int j = 1; j < kRadix; ++j) target(to + stride * j, a[j] * twiddle[j]);
        }
    }
}

// In the last pass all twiddle factors are 1.
template <int kRadix, class Source, class Target>
W64_INLINE void RunLastPass(const FFTPass& pass, Source source, Target target) {
    const ptrdiff_t stride = pass.stride;
    for (ptrdiff_t q = 0; q < stride; ++q) {
        Complex a[kRadix];
        for (int i = 0; i < kRadix; ++i) a[i] = source(q + stride * i);
        Transform(a);
        for (int j = 0; j < kRadix; ++j) target(q + stride * j, a[j]);
    }
}

template <class Run>
W64_INLINE void WithRadix(int radix, Run run) {
    switch (radix) {
    case 3:
        return run.template Pass<3>();
    case 4:
        return run.template Pass<4>();
    case 5:
        return run.template Pass<5>();
    case 7:
        return run.template Pass<7>();
    default:
        return run.template Pass<8>();
    }
}

template <bool kLast, class Source, class Target>
struct PassRun {
    const FFTPass& pass;
    Source source;
    Target target;

    template <int kRadix>
    W64_INLINE void Pass() {
        if constexpr (kLast)
            RunLastPass<kRadix>(pass, source, target);
        else
            RunTwiddledPass<kRadix>(pass, source, target);
    }
};
template <class Source, class Target>
using Twiddled = PassRun<false, Source, Target>;
template <class Source, class Target>
using Last = PassRun<true, Source, Target>;

// From one cached buffer to the other.
W64_VECTOR_CLONES void RunMiddlePass(const FFTPass& pass, const double* in, double* out) {
    WithRadix(pass.radix, Twiddled<FromGroups, ToGroups>{pass, {in}, {out}});
}

W64_VECTOR_CLONES void RunLastPassOfColumns(const FFTPass& pass, const double* in, double* out) {
    WithRadix(pass.radix, Last<FromGroups, ToGroups>{pass, {in}, {out}});
}

// All passes between the first, whose output is `out`, and the last, whose input is returned.
const double* RunMiddlePasses(std::span<const FFTPass> passes, double* out, double* other) {
    for (const FFTPass& pass : passes.subspan(1, passes.size() - 2)) {
        RunMiddlePass(pass, out, other);
        std::swap(out, other);
    }
    return out;
}

// Every `step`-th group of a source or target, from `first` on.
template <class Source>
struct Column {
    Source source;
    ptrdiff_t first;
    ptrdiff_t step;

    W64_INLINE Complex operator()(ptrdiff_t row) const { return source(first + row * step); }
};
template <class Target>
struct RowTarget {
    Target target;
    ptrdiff_t first;
    ptrdiff_t step;

    W64_INLINE void operator()(ptrdiff_t column, const Complex& value) const {
        target(first + column * step, value);
    }
};

// Transforms four columns and returns where the result is.
template <class Source>
W64_INLINE const double* TransformColumns(const FFTGridView& view, Source source, ptrdiff_t group) {
    const FFTPass& first = view.columnPasses.front();
    const Column<Source> column{source, group, view.columns / kLanes};
    WithRadix(first.radix, Twiddled<Column<Source>, ToGroups>{first, column, {view.cached[0]}});
    const double* in = RunMiddlePasses(view.columnPasses, view.cached[0], view.cached[1]);
    double* const out = view.cached[in == view.cached[0] ? 1 : 0];
    RunLastPassOfColumns(view.columnPasses.back(), in, out);
    return out;
}

// Multiplies row p of column c by exp(2 pi i p c / points), then makes rows the lanes.
W64_INLINE void TwiddleAndTranspose(const FFTGridView& view, const double* column, ptrdiff_t group) {
    const Complex first = LoadGroup(view.twiddles + group * kGroup);
    const Complex second = first * first;
    const Complex step = second * second;
    Complex twiddles[4] = {{Broadcast(1), Vector{}}, first, second, second * first};
    double* out = view.grid + group * kLanes * kGroup;
    for (ptrdiff_t row = 0; row < view.rows; row += kLanes, out += view.columns * kGroup) {
        Complex a[4];
        for (ptrdiff_t i = 0; i < 4; ++i) {
            a[i] = LoadGroup(column + (row + i) * kGroup) * twiddles[i];
            twiddles[i] = twiddles[i] * step;
        }
        Transpose(a);
        for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(out + i * kGroup, a[i]);
    }
}

template <class Target>
W64_INLINE void TransformRows(const FFTGridView& view, ptrdiff_t group, Target target) {
    RunMiddlePass(view.rowPasses.front(), view.grid + group * view.columns * kGroup, view.cached[0]);
    const double* in = RunMiddlePasses(view.rowPasses, view.cached[0], view.cached[1]);
    const FFTPass& last = view.rowPasses.back();
    const RowTarget<Target> row{target, group, view.rows / kLanes};
    WithRadix(last.radix, Last<FromGroups, RowTarget<Target>>{last, {in}, row});
}

template <class Source, class Target>
W64_INLINE void TransformGrid(const FFTGridView& view, Source source, Target target) {
    for (ptrdiff_t group = 0; group < view.columns / kLanes; ++group) {
        TwiddleAndTranspose(view, TransformColumns(view, source, group), group);
    }
    for (ptrdiff_t group = 0; group < view.rows / kLanes; ++group) TransformRows(view, group, target);
}

W64_VECTOR_CLONES void TransformForward(const FFTGridView& view, const double* points, double* spectrum) {
    TransformGrid(view, FromPoints{points}, ToGroups{spectrum});
}

W64_VECTOR_CLONES void TransformBack(const FFTGridView& view, const double* spectrum, double* points,
                                     ptrdiff_t first, ptrdiff_t end) {
    TransformGrid(view, FromSwappedGroups{spectrum}, ToSwappedPoints{points, first, end});
}

W64_VECTOR_CLONES void TransformToPowers(const FFTGridView& view, const double* points, const double* weights,
                                         double* powers) {
    TransformGrid(view, FromWeightedPoints{{points}, weights}, ToSumOfPowers{powers});
}

// Radices 8 and 4 for the powers of two, in as few passes as possible, then the odd radices.
std::vector<FFTPass> PassesOf(ptrdiff_t points) {
    std::vector<FFTPass> passes;
    ptrdiff_t left = points;
    ptrdiff_t stride = 1;
    const auto add = [&](int radix) {
        const ptrdiff_t count = left / radix;
        FFTPass& pass = passes.emplace_back(FFTPass{radix, count, stride, {}});
        for (ptrdiff_t p = 0; p < count; ++p) {
            for (int j = 1; j < radix; ++j) {
                const RootOfUnity twiddle(p * j, left);
                pass.twiddles.insert(pass.twiddles.end(), {twiddle.re, twiddle.im});
            }
        }
        left = count;
        stride *= radix;
    };
    while (left % 2 == 0) {
        const int twos = __builtin_ctzll(static_cast<unsigned long long>(left));
        add(twos % 3 == 0 ? 8 : 4);
    }
    for (const int radix : {3, 5, 7}) {
        while (left % radix == 0) add(radix);
    }
    return passes;
}

}  // namespace

bool FFTGrid::Takes(ptrdiff_t points) {
    if (points <= 0 || points % (kLanes * kLanes) != 0) return false;
    ptrdiff_t left = points >> __builtin_ctzll(static_cast<unsigned long long>(points));
    for (const ptrdiff_t factor : {3, 5, 7}) left = WithoutFactor(left, factor);
    return left == 1 && RowsOf(points) > 8;
}

FFTGrid::FFTGrid(ptrdiff_t points)
    : rows_(RowsOf(points)), columns_(points / rows_), columnPasses_(PassesOf(rows_)),
      rowPasses_(PassesOf(columns_)), twiddles_(static_cast<size_t>(2 * columns_)) {
    for (ptrdiff_t column = 0; column < columns_; ++column) {
        const RootOfUnity twiddle(column, points);
        double* const group = twiddles_.data() + column / kLanes * kGroup + column % kLanes;
        group[0] = twiddle.re;
        group[kLanes] = twiddle.im;
    }
    for (AlignedDoubles& place : cached_) place.resize(static_cast<size_t>(columns_ * kGroup));
}

FFTGridView FFTGrid::View(double* work) {
    return {rows_,
            columns_,
            columnPasses_,
            rowPasses_,
            twiddles_.data(),
            work,
            {cached_[0].data(), cached_[1].data()}};
}

void FFTGrid::Forward(const double* points, double* spectrum, double* work) {
    TransformForward(View(work), points, spectrum);
}

void FFTGrid::Inverse(const double* spectrum, double* points, ptrdiff_t first, ptrdiff_t end, double* work) {
    TransformBack(View(work), spectrum, points, first / kLanes, end / kLanes);
}

void FFTGrid::AddPowers(const double* points, const double* weights, double* powers, double* work) {
    TransformToPowers(View(work), points, weights, powers);
}

}  // namespace w64
