#include "audio/fft/ChannelGrid.h"

#include "audio/fft/VectorComplex.h"

#include <cmath>
#include <numbers>

namespace w64 {

using namespace fft;

namespace {

constexpr ptrdiff_t kFineGroups = 16;

// Of four bins.
struct Twiddles {
    const double* coarse;
    const double* fine;

    W64_INLINE Complex operator()(ptrdiff_t group) const {
        const double* const at = coarse + group / kFineGroups * 2;
        return LoadGroup(fine + group % kFineGroups * kGroup) * Complex(Broadcast(at[0]), Broadcast(at[1]));
    }
};

// From the spectrum of the points to that of the frames.
struct Apart {
    static constexpr double kScale = 0.5;
    W64_INLINE static Complex Turned(const Complex& difference, const Complex& twiddle) {
        const Complex turned = difference * twiddle;
        return {turned.im, -turned.re};
    }
};
// And back, doubled.
struct Together {
    static constexpr double kScale = 1;
    W64_INLINE static Complex Turned(const Complex& difference, const Complex& twiddle) {
        return TimesI(TimesConjugate(difference, twiddle));
    }
};

// Bins k and half - k share their sum and difference. Groups from both ends meet in the middle. `above` begins with bin
// `half`.
template <class Way>
W64_INLINE void Combine(ptrdiff_t half, double* spectrum, const Complex& above, const Twiddles& twiddles) {
    double* low = spectrum;
    double* high = spectrum + 2 * half;
    Complex last = above;
    Complex lastMirror(Vector{}, Vector{});
    for (ptrdiff_t group = 0; group < half / (2 * kLanes); ++group, low += kGroup, high -= kGroup) {
        const Complex here = LoadGroup(low);
        const Complex next = LoadGroup(high - kGroup);
        const Complex there = Conjugate(Backwards(last, next));
        const Complex sum = Way::kScale * (here + there);
        const Complex turned = Way::Turned(Way::kScale * (here - there), twiddles(group));
        const Complex mirror = Conjugate(sum - turned);
        StoreGroup(low, sum + turned);
        StoreGroup(high, Backwards(mirror, lastMirror));
        last = next;
        lastMirror = mirror;
    }
    StoreGroup(low, Backwards(2 * Way::kScale * last, lastMirror));
}

W64_VECTOR_CLONES void TakeApart(ptrdiff_t half, double* spectrum, const Twiddles& twiddles) {
    Combine<Apart>(half, spectrum, LoadGroup(spectrum), twiddles);
}

W64_VECTOR_CLONES void PutTogether(ptrdiff_t half, double* spectrum, const Twiddles& twiddles) {
    Combine<Together>(half, spectrum, LoadGroup(spectrum + 2 * half), twiddles);
}

}  // namespace

ChannelGrid::ChannelGrid(ptrdiff_t frames, ptrdiff_t channels)
    : grid_(frames * channels / 2), channels_(channels) {
    if (channels == 2) return;
    constexpr ptrdiff_t kFineBins = kFineGroups * kLanes;
    const auto angleOf = [frames](ptrdiff_t bin) {
        return 2 * std::numbers::pi * static_cast<double>(bin) / static_cast<double>(frames);
    };
    for (ptrdiff_t bin = 0; bin <= frames / 4; bin += kFineBins) {
        coarse_.push_back(std::cos(angleOf(bin)));
        coarse_.push_back(std::sin(angleOf(bin)));
    }
    fine_.resize(2 * kFineBins);
    for (ptrdiff_t bin = 0; bin < kFineBins; ++bin) {
        double* const group = fine_.data() + bin / kLanes * kGroup + bin % kLanes;
        group[0] = std::cos(angleOf(bin));
        group[kLanes] = std::sin(angleOf(bin));
    }
}

void ChannelGrid::Forward(const double* frames, double* spectrum, double* work) {
    grid_.Forward(frames, spectrum, work);
    if (channels_ == 1) TakeApart(grid_.Points(), spectrum, {coarse_.data(), fine_.data()});
}

void ChannelGrid::Inverse(double* spectrum, double* frames, ptrdiff_t first, ptrdiff_t end, double* work) {
    if (channels_ == 1) PutTogether(grid_.Points(), spectrum, {coarse_.data(), fine_.data()});
    grid_.Inverse(spectrum, frames, first * channels_ / 2, end * channels_ / 2, work);
}

}  // namespace w64
