#include "audio/FFTKernel.h"

#include "audio/VectorClones.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr ptrdiff_t kLanes = 4;
constexpr ptrdiff_t kGroup = 2 * kLanes;  // doubles: the real parts of four points, then the imaginary ones
constexpr ptrdiff_t kBlockPoints = 16;
constexpr ptrdiff_t kCachedPoints = 1024;  // what stays in the first-level cache from pass to pass

struct Complex {
    Vector re;
    Vector im;
};

W64_INLINE Complex operator+(const Complex& a, const Complex& b) { return {a.re + b.re, a.im + b.im}; }
W64_INLINE Complex operator-(const Complex& a, const Complex& b) { return {a.re - b.re, a.im - b.im}; }
W64_INLINE Complex operator*(const Complex& a, const Complex& b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
W64_INLINE Complex TimesConjugate(const Complex& a, const Complex& b) {
    return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}
W64_INLINE Complex TimesI(const Complex& a) { return {-a.im, a.re}; }

W64_INLINE Complex LoadGroup(const double* group) { return {LoadVector(group), LoadVector(group + kLanes)}; }
W64_INLINE void StoreGroup(double* group, const Complex& value) {
    StoreVector(group, value.re);
    StoreVector(group + kLanes, value.im);
}

// Four interleaved points; their lanes come in the order 0, 2, 1, 3, which takes the fewest moves.
W64_INLINE Complex LoadInterleaved(const double* points) {
    const Vector low = LoadVector(points);
    const Vector high = LoadVector(points + kLanes);
    return {__builtin_shufflevector(low, high, 0, 4, 2, 6), __builtin_shufflevector(low, high, 1, 5, 3, 7)};
}
W64_INLINE void StoreInterleaved(double* points, const Complex& value) {
    StoreVector(points, __builtin_shufflevector(value.re, value.im, 0, 4, 2, 6));
    StoreVector(points + kLanes, __builtin_shufflevector(value.re, value.im, 1, 5, 3, 7));
}

W64_INLINE void Transpose(Vector& a, Vector& b, Vector& c, Vector& d) {
    const Vector ab0 = __builtin_shufflevector(a, b, 0, 4, 2, 6);
    const Vector ab1 = __builtin_shufflevector(a, b, 1, 5, 3, 7);
    const Vector cd0 = __builtin_shufflevector(c, d, 0, 4, 2, 6);
    const Vector cd1 = __builtin_shufflevector(c, d, 1, 5, 3, 7);
    a = __builtin_shufflevector(ab0, cd0, 0, 1, 4, 5);
    b = __builtin_shufflevector(ab1, cd1, 0, 1, 4, 5);
    c = __builtin_shufflevector(ab0, cd0, 2, 3, 6, 7);
    d = __builtin_shufflevector(ab1, cd1, 2, 3, 6, 7);
}
W64_INLINE void Transpose(Complex (&c)[4]) {
    Transpose(c[0].re, c[1].re, c[2].re, c[3].re);
    Transpose(c[0].im, c[1].im, c[2].im, c[3].im);
}

// The twiddle factor of a node and its powers, one factor for all lanes or one for each.
struct Powers {
    Complex first, second, third;
};

W64_INLINE Powers PowersOf(const Complex& factor) {
    const Complex second = factor * factor;
    return {factor, second, factor * second};
}

W64_INLINE Powers PowersOfNode(FFTTwiddles twiddles, ptrdiff_t node) {
    const double re = twiddles.re[node];
    const double im = twiddles.im[node];
    const double re2 = re * re - im * im;
    const double im2 = 2 * re * im;
    const double re3 = re * re2 - im * im2;
    const double im3 = re * im2 + im * re2;
    return {
        {Broadcast(re), Broadcast(im)}, {Broadcast(re2), Broadcast(im2)}, {Broadcast(re3), Broadcast(im3)}};
}

// Four quarters of a polynomial whose twiddle factors are applied, to its remainders; and back, times four.
W64_INLINE void Split(Complex (&a)[4]) {
    const Complex sum = a[0] + a[2];
    const Complex difference = a[0] - a[2];
    const Complex oddSum = a[1] + a[3];
    const Complex oddDifference = TimesI(a[1] - a[3]);
    a[0] = sum + oddSum;
    a[1] = sum - oddSum;
    a[2] = difference + oddDifference;
    a[3] = difference - oddDifference;
}
W64_INLINE void Join(Complex (&a)[4]) {
    const Complex sum = a[0] + a[1];
    const Complex oddSum = a[2] + a[3];
    const Complex difference = a[0] - a[1];
    const Complex oddDifference = TimesI(a[2] - a[3]);
    a[0] = sum + oddSum;
    a[1] = difference - oddDifference;
    a[2] = sum - oddSum;
    a[3] = difference + oddDifference;
}

W64_INLINE void Split(Complex (&a)[4], const Powers& powers) {
    a[1] = a[1] * powers.first;
    a[2] = a[2] * powers.second;
    a[3] = a[3] * powers.third;
    Split(a);
}
W64_INLINE void Join(Complex (&a)[4], const Powers& powers) {
    Join(a);
    a[1] = TimesConjugate(a[1], powers.first);
    a[2] = TimesConjugate(a[2], powers.second);
    a[3] = TimesConjugate(a[3], powers.third);
}

// Eight eighths of x^m - 1, in place of one level of two and one of four.
W64_INLINE void Split8(Complex (&a)[8]) {
    constexpr double kRoot = std::numbers::sqrt2 / 2;
    Complex even[4];
    Complex odd[4];
    for (ptrdiff_t i = 0; i < 4; ++i) {
        even[i] = a[i] + a[i + 4];
        odd[i] = a[i] - a[i + 4];
    }
    const Complex eighth = {Broadcast(kRoot), Broadcast(kRoot)};
    odd[1] = odd[1] * eighth;
    odd[2] = TimesI(odd[2]);
    odd[3] = TimesI(odd[3] * eighth);
    Split(even);
    Split(odd);
    for (ptrdiff_t i = 0; i < 4; ++i) {
        a[i] = even[i];
        a[i + 4] = odd[i];
    }
}
W64_INLINE void Join8(Complex (&a)[8]) {
    constexpr double kRoot = std::numbers::sqrt2 / 2;
    Complex even[4] = {a[0], a[1], a[2], a[3]};
    Complex odd[4] = {a[4], a[5], a[6], a[7]};
    Join(even);
    Join(odd);
    const Complex eighth = {Broadcast(kRoot), Broadcast(kRoot)};
    const Complex turned = {odd[3].im, -odd[3].re};
    odd[1] = TimesConjugate(odd[1], eighth);
    odd[2] = {odd[2].im, -odd[2].re};
    odd[3] = TimesConjugate(turned, eighth);
    for (ptrdiff_t i = 0; i < 4; ++i) {
        a[i] = even[i] + odd[i];
        a[i + 4] = even[i] - odd[i];
    }
}

// Where the forward transform has its points from, four at a time from point `at` on.
struct FromPoints {
    const double* points;

    W64_INLINE Complex operator()(ptrdiff_t at) const { return LoadInterleaved(points + 2 * at); }
};
struct FromFirstPoints {
    const double* points;
    ptrdiff_t given;

    W64_INLINE Complex operator()(ptrdiff_t at) const {
        return at < given ? LoadInterleaved(points + 2 * at) : Complex{};
    }
};

// Where the inverse transform leaves them.
struct ToPoints {
    double* points;

    W64_INLINE void operator()(ptrdiff_t at, const Complex& value) const {
        StoreInterleaved(points + 2 * at, value);
    }
};
struct ToSpacedPoints {
    double* points;
    ptrdiff_t spacing;
    ptrdiff_t first;
    ptrdiff_t end;

    W64_INLINE void operator()(ptrdiff_t at, const Complex& value) const {
        if (at < first || at >= end) return;
        alignas(32) double four[kGroup];
        StoreInterleaved(four, value);
        double* to = points + 2 * spacing * (at - first);
        for (ptrdiff_t i = 0; i < kGroup; i += 2, to += 2 * spacing) std::copy_n(four + i, 2, to);
    }
};

// The first level, from interleaved points to groups, and back.
template <class Source>
W64_INLINE void SplitRoot4(ptrdiff_t points, Source source, double* out) {
    const ptrdiff_t quarter = points / 4;
    for (ptrdiff_t at = 0; at < quarter; at += kLanes) {
        Complex a[4];
        for (ptrdiff_t i = 0; i < 4; ++i) a[i] = source(i * quarter + at);
        Split(a);
        for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(out + 2 * (i * quarter + at), a[i]);
    }
}
template <class Source>
W64_INLINE void SplitRoot8(ptrdiff_t points, Source source, double* out) {
    const ptrdiff_t eighth = points / 8;
    for (ptrdiff_t at = 0; at < eighth; at += kLanes) {
        Complex a[8];
        for (ptrdiff_t i = 0; i < 8; ++i) a[i] = source(i * eighth + at);
        Split8(a);
        for (ptrdiff_t i = 0; i < 8; ++i) StoreGroup(out + 2 * (i * eighth + at), a[i]);
    }
}
template <class Target>
W64_INLINE void JoinRoot4(ptrdiff_t points, const double* in, Target target) {
    const ptrdiff_t quarter = points / 4;
    for (ptrdiff_t at = 0; at < quarter; at += kLanes) {
        Complex a[4];
        for (ptrdiff_t i = 0; i < 4; ++i) a[i] = LoadGroup(in + 2 * (i * quarter + at));
        Join(a);
        for (ptrdiff_t i = 0; i < 4; ++i) target(i * quarter + at, a[i]);
    }
}
template <class Target>
W64_INLINE void JoinRoot8(ptrdiff_t points, const double* in, Target target) {
    const ptrdiff_t eighth = points / 8;
    for (ptrdiff_t at = 0; at < eighth; at += kLanes) {
        Complex a[8];
        for (ptrdiff_t i = 0; i < 8; ++i) a[i] = LoadGroup(in + 2 * (i * eighth + at));
        Join8(a);
        for (ptrdiff_t i = 0; i < 8; ++i) target(i * eighth + at, a[i]);
    }
}

// One level of a node of `points` points.
W64_INLINE void SplitNode(ptrdiff_t points, double* data, FFTTwiddles twiddles, ptrdiff_t node) {
    const Powers powers = PowersOfNode(twiddles, node);
    const ptrdiff_t quarter = points / 4 * 2;
    for (ptrdiff_t at = 0; at < quarter; at += kGroup) {
        Complex a[4];
        for (ptrdiff_t i = 0; i < 4; ++i) a[i] = LoadGroup(data + i * quarter + at);
        Split(a, powers);
        for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(data + i * quarter + at, a[i]);
    }
}
W64_INLINE void JoinNode(ptrdiff_t points, double* data, FFTTwiddles twiddles, ptrdiff_t node) {
    const Powers powers = PowersOfNode(twiddles, node);
    const ptrdiff_t quarter = points / 4 * 2;
    for (ptrdiff_t at = 0; at < quarter; at += kGroup) {
        Complex a[4];
        for (ptrdiff_t i = 0; i < 4; ++i) a[i] = LoadGroup(data + i * quarter + at);
        Join(a, powers);
        for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(data + i * quarter + at, a[i]);
    }
}

// The last four levels. Between them the lanes, which were neighbouring points so far, become the four nodes.
W64_INLINE void SplitBlock(Complex (&a)[4], FFTTwiddles twiddles, ptrdiff_t node) {
    Split(a, PowersOfNode(twiddles, node));
    Transpose(a);
    std::swap(a[1], a[2]);  // from the order that interleaved points were loaded in
    Split(a, PowersOf({LoadVector(twiddles.re + 4 * node), LoadVector(twiddles.im + 4 * node)}));
}
W64_INLINE void JoinBlock(Complex (&a)[4], FFTTwiddles twiddles, ptrdiff_t node) {
    Join(a, PowersOf({LoadVector(twiddles.re + 4 * node), LoadVector(twiddles.im + 4 * node)}));
    std::swap(a[1], a[2]);
    Transpose(a);
    Join(a, PowersOfNode(twiddles, node));
}

// Where the forward transform leaves its spectrum, a group at a time.
struct ToSpectrum {
    double* spectrum;

    W64_INLINE void operator()(ptrdiff_t at, const Complex& value) const { StoreGroup(spectrum + at, value); }
};
struct ToProduct {
    const double* factor;
    double* product;

    W64_INLINE void operator()(ptrdiff_t at, const Complex& value) const {
        StoreGroup(product + at, value * LoadGroup(factor + at));
    }
};
struct ToSum {
    const double* factor;
    double* sum;

    W64_INLINE void operator()(ptrdiff_t at, const Complex& value) const {
        StoreGroup(sum + at, LoadGroup(sum + at) + value * LoadGroup(factor + at));
    }
};

// Where the inverse transform has it from.
struct FromSpectrum {
    const double* spectrum;

    W64_INLINE Complex operator()(ptrdiff_t at) const { return LoadGroup(spectrum + at); }
};
struct FromProduct {
    const double* spectrum;
    const double* factor;

    W64_INLINE Complex operator()(ptrdiff_t at) const {
        return LoadGroup(spectrum + at) * LoadGroup(factor + at);
    }
};

W64_INLINE Complex LoadReversed(const double* group) {
    const Complex value = LoadGroup(group);
    return {__builtin_shufflevector(value.re, value.re, 3, 2, 1, 0),
            __builtin_shufflevector(value.im, value.im, 3, 2, 1, 0)};
}
W64_INLINE void StoreReversed(double* group, const Complex& value) {
    StoreGroup(group, {__builtin_shufflevector(value.re, value.re, 3, 2, 1, 0),
                       __builtin_shufflevector(value.im, value.im, 3, 2, 1, 0)});
}

// All of a block with its mirror image in the octave; the factors are half the twiddles of the leaves, turned.
W64_INLINE void CombineBlocks(double* block, double* mirror, FFTTwiddles twiddles, ptrdiff_t node,
                              double sign) {
    const Complex low = {LoadVector(twiddles.re + 8 * node), LoadVector(twiddles.im + 8 * node)};
    const Complex high = {LoadVector(twiddles.re + 8 * node + 4), LoadVector(twiddles.im + 8 * node + 4)};
    const Complex twiddle[2] = {{__builtin_shufflevector(low.re, high.re, 0, 2, 4, 6),
                                 __builtin_shufflevector(low.im, high.im, 0, 2, 4, 6)},
                                {__builtin_shufflevector(low.re, high.re, 1, 3, 5, 7),
                                 __builtin_shufflevector(low.im, high.im, 1, 3, 5, 7)}};
    const Vector half = Broadcast(0.5);
    const Vector turn = Broadcast(0.5 * sign);
    for (ptrdiff_t c = 0; c < 4; ++c) {
        const Complex& t = twiddle[c / 2];
        const Complex a = LoadGroup(block + c * kGroup);
        const Complex b = LoadReversed(mirror + (3 - c) * kGroup);
        FFTRealPair<Vector> pair = {a.re, a.im, b.re, b.im};
        c % 2 == 0 ? pair.Combine(half * t.im, turn * t.re) : pair.Combine(half * t.re, -turn * t.im);
        StoreGroup(block + c * kGroup, {pair.re, pair.im});
        StoreReversed(mirror + (3 - c) * kGroup, {pair.mirrorRe, pair.mirrorIm});
    }
}

W64_VECTOR_CLONES void CombineOctaves(ptrdiff_t points, double* spectrum, FFTTwiddles twiddles, double sign) {
    for (ptrdiff_t octave = 2; octave < points / kBlockPoints; octave *= 2) {
        for (ptrdiff_t node = octave; node < octave + octave / 2; ++node) {
            double* const mirror = spectrum + 2 * kBlockPoints * (3 * octave - 1 - node);
            CombineBlocks(spectrum + 2 * kBlockPoints * node, mirror, twiddles, node, sign);
        }
    }
}

double* Leaf(double* spectrum, ptrdiff_t leaf) {
    return spectrum + leaf / kBlockPoints * 2 * kBlockPoints + leaf % 4 * kGroup + leaf % kBlockPoints / 4;
}

// Reordering goes by tiles of 16 by 16 points: those whose index has the same middle bits, as rows of
// neighbours. The tile of the reversed middle bits is where they belong, and the other way round.
constexpr ptrdiff_t kTile = 16;
using Tile = double[kTile][2 * kTile];

W64_INLINE void StoreTile(ptrdiff_t points, double* to, const Tile& tile) {
    for (ptrdiff_t row = 0; row < kTile; ++row) {
        std::copy_n(tile[row], 2 * kTile, to + 2 * row * (points / kTile));
    }
}

// Blocks to rows in natural order.
W64_INLINE void LoadBlocks(ptrdiff_t points, const double* from, Tile& tile) {
    const ptrdiff_t stride = points / kTile * 2;
    for (ptrdiff_t high = 0; high < 4; ++high) {
        for (ptrdiff_t c = 0; c < 4; ++c) {
            Complex a[4];
            for (ptrdiff_t i = 0; i < 4; ++i) a[i] = LoadGroup(from + (4 * i + high) * stride + c * kGroup);
            Transpose(a);
            for (ptrdiff_t i = 0; i < 4; ++i) {
                StoreInterleaved(tile[ReverseBits(4 * i + c, 4)] + kGroup * ReverseBits(high, 2), a[i]);
            }
        }
    }
}

// Rows in natural order to blocks.
W64_INLINE void LoadRows(ptrdiff_t points, const double* from, Tile& tile) {
    const ptrdiff_t stride = points / kTile * 2;
    for (ptrdiff_t high = 0; high < 4; ++high) {
        for (ptrdiff_t c = 0; c < 4; ++c) {
            Complex a[4];
            for (ptrdiff_t i = 0; i < 4; ++i) {
                a[i] = LoadInterleaved(from + ReverseBits(4 * i + c, 4) * stride +
                                       kGroup * ReverseBits(high, 2));
            }
            Transpose(a);
            for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(tile[4 * i + high] + c * kGroup, a[i]);
        }
    }
}

template <bool Back>
W64_INLINE void LoadTile(ptrdiff_t points, const double* from, Tile& tile) {
    if constexpr (Back)
        LoadRows(points, from, tile);
    else
        LoadBlocks(points, from, tile);
}

template <bool Back>
W64_INLINE void ReorderTiles(ptrdiff_t points, double* data) {
    const ptrdiff_t tiles = points / (kTile * kTile);
    const ptrdiff_t bits = __builtin_ctz(static_cast<unsigned>(tiles));
    for (ptrdiff_t index = 0; index < tiles; ++index) {
        const ptrdiff_t reversed = ReverseBits(index, bits);
        if (reversed < index) continue;
        double* const here = data + 2 * kTile * index;
        double* const there = data + 2 * kTile * reversed;
        alignas(32) Tile tile;
        alignas(32) Tile other;
        LoadTile<Back>(points, here, tile);
        LoadTile<Back>(points, there, other);
        StoreTile(points, there, tile);
        if (reversed != index) StoreTile(points, here, other);
    }
}

W64_VECTOR_CLONES void Reorder(ptrdiff_t points, double* data, bool back) {
    back ? ReorderTiles<true>(points, data) : ReorderTiles<false>(points, data);
}

// Powers of four are split by four all the way, the others by eight first.
ptrdiff_t RootRadix(ptrdiff_t points) {
    return __builtin_ctz(static_cast<unsigned>(points)) % 2 == 0 ? 4 : 8;
}

template <class Source, class Target>
W64_INLINE void SplitAll(ptrdiff_t points, Source source, double* data, FFTTwiddles twiddles, Target target) {
    const ptrdiff_t radix = RootRadix(points);
    radix == 4 ? SplitRoot4(points, source, data) : SplitRoot8(points, source, data);
    ptrdiff_t size = points / radix;
    for (; size > kCachedPoints; size /= 4) {
        for (ptrdiff_t node = 0; node < points / size; ++node) {
            SplitNode(size, data + 2 * node * size, twiddles, node);
        }
    }
    const ptrdiff_t cached = size;
    for (ptrdiff_t first = 0; first < points; first += cached) {
        for (size = cached; size > kBlockPoints; size /= 4) {
            for (ptrdiff_t at = first; at < first + cached; at += size) {
                SplitNode(size, data + 2 * at, twiddles, at / size);
            }
        }
        for (ptrdiff_t at = first; at < first + cached; at += kBlockPoints) {
            const ptrdiff_t block = 2 * at;
            Complex a[4];
            for (ptrdiff_t i = 0; i < 4; ++i) a[i] = LoadGroup(data + block + i * kGroup);
            SplitBlock(a, twiddles, at / kBlockPoints);
            for (ptrdiff_t i = 0; i < 4; ++i) target(block + i * kGroup, a[i]);
        }
    }
}

template <class Source, class Target>
W64_INLINE void JoinAll(ptrdiff_t points, Source source, double* data, Target target, FFTTwiddles twiddles) {
    const ptrdiff_t radix = RootRadix(points);
    ptrdiff_t cached = points / radix;
    while (cached > kCachedPoints) cached /= 4;
    for (ptrdiff_t first = 0; first < points; first += cached) {
        for (ptrdiff_t at = first; at < first + cached; at += kBlockPoints) {
            const ptrdiff_t block = 2 * at;
            Complex a[4];
            for (ptrdiff_t i = 0; i < 4; ++i) a[i] = source(block + i * kGroup);
            JoinBlock(a, twiddles, at / kBlockPoints);
            for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(data + block + i * kGroup, a[i]);
        }
        for (ptrdiff_t size = 4 * kBlockPoints; size <= cached; size *= 4) {
            for (ptrdiff_t at = first; at < first + cached; at += size) {
                JoinNode(size, data + 2 * at, twiddles, at / size);
            }
        }
    }
    for (ptrdiff_t size = 4 * cached; size <= points / radix; size *= 4) {
        for (ptrdiff_t node = 0; node < points / size; ++node) {
            JoinNode(size, data + 2 * node * size, twiddles, node);
        }
    }
    radix == 4 ? JoinRoot4(points, data, target) : JoinRoot8(points, data, target);
}

}  // namespace

W64_VECTOR_CLONES void FFTForward(ptrdiff_t points, const double* in, double* spectrum,
                                  FFTTwiddles twiddles) {
    SplitAll(points, FromPoints{in}, spectrum, twiddles, ToSpectrum{spectrum});
}

W64_VECTOR_CLONES void FFTInverse(ptrdiff_t points, double* spectrum, double* out, FFTTwiddles twiddles) {
    JoinAll(points, FromSpectrum{spectrum}, spectrum, ToPoints{out}, twiddles);
}

W64_VECTOR_CLONES void FFTForwardAndAdd(ptrdiff_t points, double* data, ptrdiff_t given, const double* factor,
                                        bool first, double* sum, FFTTwiddles twiddles) {
    const FromFirstPoints source{data, given};
    first ? SplitAll(points, source, data, twiddles, ToProduct{factor, sum})
          : SplitAll(points, source, data, twiddles, ToSum{factor, sum});
}

W64_VECTOR_CLONES void FFTInverseOfProduct(ptrdiff_t points, const double* spectrum, const double* factor,
                                           double* work, ptrdiff_t first, ptrdiff_t end, double* out,
                                           ptrdiff_t spacing, FFTTwiddles twiddles) {
    JoinAll(points, FromProduct{spectrum, factor}, work, ToSpacedPoints{out, spacing, first, end}, twiddles);
}

void FillFFTTwiddles(ptrdiff_t count, double* re, double* im) {
    for (ptrdiff_t j = 0; j < count; ++j) {
        double angle = 0;
        double weight = std::numbers::pi / 4;
        for (ptrdiff_t bits = j; bits != 0; bits /= 2, weight /= 2) {
            if (bits % 2 != 0) angle += weight;
        }
        re[j] = std::cos(angle);
        im[j] = std::sin(angle);
    }
}

void FFTSplitReal(ptrdiff_t points, double* spectrum, FFTTwiddles twiddles) {
    CombineRealLeaves(2 * kBlockPoints, false, twiddles, kLanes,
                      [&](ptrdiff_t leaf) { return Leaf(spectrum, leaf); });
    CombineOctaves(points, spectrum, twiddles, -1);
}

void FFTJoinReal(ptrdiff_t points, double* spectrum, FFTTwiddles twiddles) {
    CombineRealLeaves(2 * kBlockPoints, true, twiddles, kLanes,
                      [&](ptrdiff_t leaf) { return Leaf(spectrum, leaf); });
    CombineOctaves(points, spectrum, twiddles, 1);
}

void FFTReorder(ptrdiff_t points, double* spectrum) { Reorder(points, spectrum, false); }

void FFTReorderBack(ptrdiff_t points, double* interleaved) { Reorder(points, interleaved, true); }
