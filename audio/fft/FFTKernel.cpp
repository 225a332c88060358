#include "audio/fft/FFTKernel.h"

#include "audio/fft/VectorComplex.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace w64 {

using namespace fft;

namespace {

constexpr ptrdiff_t kCachedGroups = 256;  // 16 KiB: stays in the first-level cache from level to level

// The angle of twiddle factor j.
double AngleOf(ptrdiff_t j) {
    double angle = 0;
    double weight = std::numbers::pi / 4;
    for (ptrdiff_t bits = j; bits != 0; bits /= 2, weight /= 2) {
        if (bits % 2 != 0) angle += weight;
    }
    return angle;
}

// Whether radix 4 alone does not lead from the groups to one: they are no power of 4.
bool HasOddLevels(ptrdiff_t groups) { return __builtin_ctz(static_cast<unsigned>(groups)) % 2 != 0; }

// The twiddle factor of a node and its powers, in each lane.
struct Powers {
    Complex first, second, third;
};

W64_INLINE Powers PowersOf(const Complex& factor) {
    const Complex second = factor * factor;
    return {factor, second, factor * second};
}

// The twiddle factors of a level, which has `nodes` nodes in each lane. The angle between two lanes is the
// same for all nodes.
struct Level {
    FFTTwiddles twiddles;
    Complex lanes;

    W64_INLINE Level(FFTTwiddles table, ptrdiff_t nodes)
        : twiddles(table),
          lanes(Vector{table.re[0], table.re[nodes], table.re[2 * nodes], table.re[3 * nodes]},
                Vector{table.im[0], table.im[nodes], table.im[2 * nodes], table.im[3 * nodes]}) {}

    W64_INLINE Complex Factor(ptrdiff_t node) const {
        return Complex(Broadcast(twiddles.re[node]), Broadcast(twiddles.im[node])) * lanes;
    }
};

// Radix-4 butterflies: from the four quarters of a polynomial, twiddle factors applied, to its remainders,
// and back, times 4.
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

// Radix 8 of x^m - 1, in place of a level of radix 2 and one of radix 4.
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
    const Complex rotated = {odd[3].im, -odd[3].re};
    odd[1] = TimesConjugate(odd[1], eighth);
    odd[2] = {odd[2].im, -odd[2].re};
    odd[3] = TimesConjugate(rotated, eighth);
    for (ptrdiff_t i = 0; i < 4; ++i) {
        a[i] = even[i] + odd[i];
        a[i + 4] = even[i] - odd[i];
    }
}

// The first level, from interleaved points to groups, and back. Lanes are in the order of LoadInterleaved.
W64_INLINE void SplitRoot(ptrdiff_t points, double* data) {
    const ptrdiff_t quarter = points / 2;  // doubles
    for (double* at = data; at < data + quarter; at += kGroup) {
        Complex a[4];
        for (ptrdiff_t i = 0; i < 4; ++i) a[i] = LoadInterleaved(at + i * quarter);
        Split(a);
        Transpose(a);
        std::swap(a[1], a[2]);
        for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(at + i * quarter, a[i]);
    }
}
W64_INLINE void JoinRoot(ptrdiff_t points, double* data) {
    const ptrdiff_t quarter = points / 2;
    for (double* at = data; at < data + quarter; at += kGroup) {
        Complex a[4];
        for (ptrdiff_t i = 0; i < 4; ++i) a[i] = LoadGroup(at + i * quarter);
        std::swap(a[1], a[2]);
        Transpose(a);
        Join(a);
        for (ptrdiff_t i = 0; i < 4; ++i) StoreInterleaved(at + i * quarter, a[i]);
    }
}

// One level of a node that spans `groups` groups.
W64_INLINE void SplitNode(ptrdiff_t groups, double* data, const Powers& powers) {
    const ptrdiff_t quarter = groups / 4 * kGroup;
    for (ptrdiff_t at = 0; at < quarter; at += kGroup) {
        Complex a[4];
        for (ptrdiff_t i = 0; i < 4; ++i) a[i] = LoadGroup(data + i * quarter + at);
        Split(a, powers);
        for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(data + i * quarter + at, a[i]);
    }
}
W64_INLINE void JoinNode(ptrdiff_t groups, double* data, const Powers& powers) {
    const ptrdiff_t quarter = groups / 4 * kGroup;
    for (ptrdiff_t at = 0; at < quarter; at += kGroup) {
        Complex a[4];
        for (ptrdiff_t i = 0; i < 4; ++i) a[i] = LoadGroup(data + i * quarter + at);
        Join(a, powers);
        for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(data + i * quarter + at, a[i]);
    }
}

// Radix 8 at the first level within a lane, where the groups are no power of 4.
struct EighthPowers {
    Complex power[8];

    W64_INLINE explicit EighthPowers(const Complex& factor) {
        power[1] = factor;
        for (ptrdiff_t i = 2; i < 8; ++i) power[i] = power[i / 2] * power[i - i / 2];
    }
};
W64_INLINE EighthPowers EighthsOf(FFTTwiddles twiddles) { return EighthPowers(Level(twiddles, 2).Factor(0)); }

W64_INLINE void SplitNode8(ptrdiff_t groups, double* data, const EighthPowers& powers) {
    const ptrdiff_t eighth = groups / 8 * kGroup;
    for (ptrdiff_t at = 0; at < eighth; at += kGroup) {
        Complex a[8];
        a[0] = LoadGroup(data + at);
        for (ptrdiff_t i = 1; i < 8; ++i) a[i] = LoadGroup(data + i * eighth + at) * powers.power[i];
        Split8(a);
        for (ptrdiff_t i = 0; i < 8; ++i) StoreGroup(data + i * eighth + at, a[i]);
    }
}
W64_INLINE void JoinNode8(ptrdiff_t groups, double* data, const EighthPowers& powers) {
    const ptrdiff_t eighth = groups / 8 * kGroup;
    for (ptrdiff_t at = 0; at < eighth; at += kGroup) {
        Complex a[8];
        for (ptrdiff_t i = 0; i < 8; ++i) a[i] = LoadGroup(data + i * eighth + at);
        Join8(a);
        StoreGroup(data + at, a[0]);
        for (ptrdiff_t i = 1; i < 8; ++i) {
            StoreGroup(data + i * eighth + at, TimesConjugate(a[i], powers.power[i]));
        }
    }
}

// A quarter's levels down to nodes of four groups, and back. Depth first: each quarter, and each part of it
// that fits the first-level cache, goes through all of its levels before the next.
W64_INLINE void SplitQuarter(ptrdiff_t groups, double* data, FFTTwiddles twiddles) {
    ptrdiff_t size = groups;
    if (HasOddLevels(groups)) {
        SplitNode8(size, data, EighthsOf(twiddles));
        size /= 8;
    }
    for (; size > kCachedGroups; size /= 4) {
        const Level level(twiddles, groups / size);
        for (ptrdiff_t at = 0; at < groups; at += size)
            SplitNode(size, data + kGroup * at, PowersOf(level.Factor(at / size)));
    }
    const ptrdiff_t cached = size;
    for (ptrdiff_t first = 0; first < groups; first += cached) {
        for (size = cached; size > 4; size /= 4) {
            const Level level(twiddles, groups / size);
            for (ptrdiff_t at = first; at < first + cached; at += size) {
                SplitNode(size, data + kGroup * at, PowersOf(level.Factor(at / size)));
            }
        }
    }
}
W64_INLINE void JoinQuarter(ptrdiff_t groups, double* data, FFTTwiddles twiddles) {
    const ptrdiff_t all = HasOddLevels(groups) ? groups / 8 : groups;
    ptrdiff_t cached = all;
    while (cached > kCachedGroups) cached /= 4;
    for (ptrdiff_t first = 0; first < groups; first += cached) {
        for (ptrdiff_t size = 16; size <= cached; size *= 4) {
            const Level level(twiddles, groups / size);
            for (ptrdiff_t at = first; at < first + cached; at += size) {
                JoinNode(size, data + kGroup * at, PowersOf(level.Factor(at / size)));
            }
        }
    }
    for (ptrdiff_t size = 4 * cached; size <= all; size *= 4) {
        const Level level(twiddles, groups / size);
        for (ptrdiff_t at = 0; at < groups; at += size)
            JoinNode(size, data + kGroup * at, PowersOf(level.Factor(at / size)));
    }
    if (all != groups) JoinNode8(groups, data, EighthsOf(twiddles));
}

// The last two levels at once: one within four groups of each quarter, one across the quarters. Unrolled by
// hand, because loops keep the sixteen groups in memory.
struct Leaves {
    double* data;       // first of the four groups in the first quarter
    ptrdiff_t quarter;  // doubles
    Complex a[4][4];

    W64_INLINE void LoadAndSplit(ptrdiff_t i, const Powers& powers) {
        for (ptrdiff_t j = 0; j < 4; ++j) a[i][j] = LoadGroup(data + i * quarter + j * kGroup);
        Split(a[i], powers);
    }
    W64_INLINE void SplitAcrossAndStore(ptrdiff_t j, const Powers& powers) {
        Complex one[4] = {a[0][j], a[1][j], a[2][j], a[3][j]};
        Split(one, powers);
        for (ptrdiff_t i = 0; i < 4; ++i) StoreGroup(data + i * quarter + j * kGroup, one[i]);
    }
    W64_INLINE void LoadAndJoinAcross(ptrdiff_t j, const Powers& powers) {
        Complex one[4];
        for (ptrdiff_t i = 0; i < 4; ++i) one[i] = LoadGroup(data + i * quarter + j * kGroup);
        Join(one, powers);
        for (ptrdiff_t i = 0; i < 4; ++i) a[i][j] = one[i];
    }
    W64_INLINE void JoinAndStore(ptrdiff_t i, const Powers& powers) {
        Join(a[i], powers);
        for (ptrdiff_t j = 0; j < 4; ++j) StoreGroup(data + i * quarter + j * kGroup, a[i][j]);
    }
};

W64_INLINE void SplitLeaves(ptrdiff_t points, double* data, FFTTwiddles twiddles) {
    const ptrdiff_t quarter = points / 2;
    const ptrdiff_t groups = quarter / kGroup;
    const Level fours(twiddles, groups / 4);
    const Level ones(twiddles, groups);
    for (ptrdiff_t group = 0; group < groups; group += 4) {
        Leaves leaves{data + group * kGroup, quarter, {}};
        const Powers powers = PowersOf(fours.Factor(group / 4));
        leaves.LoadAndSplit(0, powers);
        leaves.LoadAndSplit(1, powers);
        leaves.LoadAndSplit(2, powers);
        leaves.LoadAndSplit(3, powers);
        leaves.SplitAcrossAndStore(0, PowersOf(ones.Factor(group)));
        leaves.SplitAcrossAndStore(1, PowersOf(ones.Factor(group + 1)));
        leaves.SplitAcrossAndStore(2, PowersOf(ones.Factor(group + 2)));
        leaves.SplitAcrossAndStore(3, PowersOf(ones.Factor(group + 3)));
    }
}
W64_INLINE void JoinLeaves(ptrdiff_t points, double* data, FFTTwiddles twiddles) {
    const ptrdiff_t quarter = points / 2;
    const ptrdiff_t groups = quarter / kGroup;
    const Level fours(twiddles, groups / 4);
    const Level ones(twiddles, groups);
    for (ptrdiff_t group = 0; group < groups; group += 4) {
        Leaves leaves{data + group * kGroup, quarter, {}};
        leaves.LoadAndJoinAcross(0, PowersOf(ones.Factor(group)));
        leaves.LoadAndJoinAcross(1, PowersOf(ones.Factor(group + 1)));
        leaves.LoadAndJoinAcross(2, PowersOf(ones.Factor(group + 2)));
        leaves.LoadAndJoinAcross(3, PowersOf(ones.Factor(group + 3)));
        const Powers powers = PowersOf(fours.Factor(group / 4));
        leaves.JoinAndStore(0, powers);
        leaves.JoinAndStore(1, powers);
        leaves.JoinAndStore(2, powers);
        leaves.JoinAndStore(3, powers);
    }
}

// Copies a group as four interleaved points, and back.
struct ToInterleaved {
    W64_INLINE void operator()(const double* group, double* points) const {
        StoreInterleaved(points, LoadGroup(group));
    }
};
struct FromInterleaved {
    W64_INLINE void operator()(const double* points, double* group) const {
        StoreGroup(group, LoadInterleaved(points));
    }
};

template <class Change>
W64_INLINE void SwapChanged(double* here, double* there, Change change) {
    alignas(32) double kept[kGroup];
    StoreGroup(kept, LoadGroup(here));
    change(there, here);
    change(kept, there);
}

// Bit reversal. A group of an outer quarter changes places with one of the same quarter, a group of one
// middle quarter with one of the other.
template <class Change>
W64_INLINE void Reorder(ptrdiff_t points, double* data, Change change) {
    const ptrdiff_t quarter = points / 2;  // doubles
    const ptrdiff_t groups = quarter / kGroup;
    const ptrdiff_t bits = __builtin_ctz(static_cast<unsigned>(groups));
    for (ptrdiff_t group = 0; group < groups; ++group) {
        const ptrdiff_t reversed = ReverseBits(group, bits);
        double* const here = data + kGroup * group;
        double* const there = data + kGroup * reversed;
        SwapChanged(here + quarter, there + 2 * quarter, change);
        if (group > reversed) continue;
        for (ptrdiff_t outer : {ptrdiff_t{0}, 3 * quarter}) {
            if (group == reversed)
                change(here + outer, here + outer);
            else
                SwapChanged(here + outer, there + outer, change);
        }
    }
}

}  // namespace

W64_VECTOR_CLONES void FFTForward(ptrdiff_t points, double* data, FFTTwiddles twiddles) {
    SplitRoot(points, data);
    const ptrdiff_t groups = points / 16;
    for (ptrdiff_t i = 0; i < 4; ++i) SplitQuarter(groups, data + i * groups * kGroup, twiddles);
    SplitLeaves(points, data, twiddles);
    Reorder(points, data, ToInterleaved{});
}

W64_VECTOR_CLONES void FFTInverse(ptrdiff_t points, double* data, FFTTwiddles twiddles) {
    Reorder(points, data, FromInterleaved{});
    JoinLeaves(points, data, twiddles);
    const ptrdiff_t groups = points / 16;
    for (ptrdiff_t i = 0; i < 4; ++i) JoinQuarter(groups, data + i * groups * kGroup, twiddles);
    JoinRoot(points, data);
}

void FillFFTTwiddles(ptrdiff_t count, double* re, double* im) {
    for (ptrdiff_t j = 0; j < count; ++j) {
        re[j] = std::cos(AngleOf(j));
        im[j] = std::sin(AngleOf(j));
    }
}

}  // namespace w64
