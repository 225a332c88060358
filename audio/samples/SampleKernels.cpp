#include "audio/samples/SampleKernels.h"

#if defined(__x86_64__)
#include "audio/samples/EightLanes.h"
#else
#include "audio/samples/FourLanes.h"
#endif

namespace w64 {

using namespace lanes;

namespace {

using lanes::GetLanes;
using lanes::PutLanes;

template <class Layout>
constexpr int64_t BytesOf(int64_t samples) {
    return samples * Layout::kBits / 8;
}

template <class From, class To>
void ConvertSingly(const uint8_t* source, uint8_t* target, int64_t count) {
    for (int64_t i = 0; i < count; ++i) To::PutInt(target, i, From::GetInt(source, i));
}

template <class To>
void RoundSingly(const double* values, uint8_t* target, int64_t count) {
    for (int64_t i = 0; i < count; ++i) To::PutDbl(target, i, values[i]);
}

constexpr double kFullScale = 2147483648.0;

// So that they can be cast to integers, which would be undefined for values out of range. NaN becomes 0.
W64_INLINE_LANES void Clip(Doubles& scaled, double low, double high) {
    const Longs isNumber = scaled <= std::numeric_limits<double>::infinity();
    const Doubles lowest = Doubles{} + low;
    const Doubles highest = Doubles{} + high;
    Doubles clipped = scaled > lowest ? scaled : lowest;
    clipped = clipped < highest ? clipped : highest;
    scaled = (Doubles)((Longs)clipped & isNumber);
}

// Scaled values, to be truncated, which rounds half away from zero: half a step outwards, within -limit .. limit - 1.
W64_INLINE_LANES void ScaleToRound(Doubles& value, double scale, double limit) {
    const Longs sign = (Longs)value & std::numeric_limits<int64_t>::min();
    const Doubles half = (Doubles)((Longs)(Doubles{} + 0.5) | sign);
    value = value * scale + half;
    Clip(value, -limit, limit - 1);
}

// Samples as left-justified integers.

W64_INLINE_LANES void GetLanes(Samples32, const uint8_t* data, Ints& values) { LoadLanes(values, data); }

W64_INLINE_LANES void PutLanes(Samples32, uint8_t* data, const Ints& values) { StoreLanes(data, values); }

W64_INLINE_LANES void GetLanes(SamplesFlt, const uint8_t* data, Ints& values) {
    constexpr auto kScale = static_cast<float>(kFullScale);
    Floats scaled;
    LoadLanes(scaled, data);
    scaled *= kScale;
    const Ints isBelow = scaled < kScale;
    const Ints isAbove = scaled >= kScale;
    const Floats lowest = Floats{} - kScale;
    Floats clipped = (Floats)((Ints)scaled & isBelow);
    clipped = clipped > lowest ? clipped : lowest;
    values = __builtin_convertvector(clipped, Ints) | (isAbove & std::numeric_limits<int32_t>::max());
}

W64_INLINE_LANES void PutLanes(SamplesFlt, uint8_t* data, const Ints& values) {
    StoreLanes(data, __builtin_convertvector(values, Floats) * static_cast<float>(1 / kFullScale));
}

W64_INLINE_LANES void GetLanes(SamplesDBL, const uint8_t* data, Ints& values) {
    Doubles low;
    Doubles high;
    LoadLanes(low, data);
    LoadLanes(high, data + sizeof low);
    low *= kFullScale;
    high *= kFullScale;
    Clip(low, -kFullScale, kFullScale - 1);
    Clip(high, -kFullScale, kFullScale - 1);
    Truncate(low, high, values);
}

W64_INLINE_LANES void PutLanes(SamplesDBL, uint8_t* data, const Ints& values) {
    Doubles low;
    Doubles high;
    ToDoubles(values, low, high);
    StoreLanes(data, low * (1 / kFullScale));
    StoreLanes(data + sizeof low, high * (1 / kFullScale));
}

W64_INLINE_LANES void GetLanes(NoSamples, const uint8_t*, Ints& values) { values = Ints{}; }

W64_INLINE_LANES void PutLanes(NoSamples, uint8_t*, const Ints&) {}

// Whether kLanes samples can be stored at `i`, with the bytes after them that the store also writes.
constexpr bool HasRoom(int64_t i, int64_t count) { return count - i >= kLanes + 3; }

template <class From, class To>
W64_LANES void ConvertInLanes(const uint8_t* source, uint8_t* target, int64_t count) {
    int64_t i = 0;
    for (; HasRoom(i, count); i += kLanes) {
        Ints values;
        GetLanes(From(), source + BytesOf<From>(i), values);
        PutLanes(To(), target + BytesOf<To>(i), values);
    }
    ConvertSingly<From, To>(source + BytesOf<From>(i), target + BytesOf<To>(i), count - i);
}

template <class To>
W64_LANES void RoundInLanes(const double* values, uint8_t* target, int64_t count) {
    int64_t i = 0;
    if constexpr (To::kIsInteger) {
        for (; HasRoom(i, count); i += kLanes) {
            Doubles low;
            Doubles high;
            LoadLanes(low, values + i);
            LoadLanes(high, values + i + kLanes / 2);
            ScaleToRound(low, To::kScale, To::kScale);
            ScaleToRound(high, To::kScale, To::kScale);
            Ints rounded;
            Truncate(low, high, rounded);
            PutLanes(To(), target + BytesOf<To>(i), rounded << To::kShift);
        }
    }
    RoundSingly<To>(values + i, target + BytesOf<To>(i), count - i);
}

using ConvertLoop = void (*)(const uint8_t*, uint8_t*, int64_t);
using RoundLoop = void (*)(const double*, uint8_t*, int64_t);

void ConvertPortably(SampleMode from, const uint8_t* source, SampleMode to, uint8_t* target, int64_t count) {
    const auto loop = WithLayout(from, [to]<class From>(From) {
        return WithLayout(to, []<class To>(To) -> ConvertLoop { return ConvertSingly<From, To>; });
    });
    loop(source, target, count);
}

void RoundPortably(const double* values, SampleMode to, uint8_t* target, int64_t count) {
    const auto loop = WithLayout(to, []<class To>(To) -> RoundLoop { return RoundSingly<To>; });
    loop(values, target, count);
}

void ConvertByVectors(SampleMode from, const uint8_t* source, SampleMode to, uint8_t* target, int64_t count) {
    const auto loop = WithLayout(from, [to]<class From>(From) {
        return WithLayout(to, []<class To>(To) -> ConvertLoop { return ConvertInLanes<From, To>; });
    });
    loop(source, target, count);
}

void RoundByVectors(const double* values, SampleMode to, uint8_t* target, int64_t count) {
    const auto loop = WithLayout(to, []<class To>(To) -> RoundLoop { return RoundInLanes<To>; });
    loop(values, target, count);
}

bool HasVectors() {
#if defined(__x86_64__)
    return __builtin_cpu_supports("avx2");
#else
    return true;
#endif
}

}  // namespace

const SampleKernels& PortableKernels() {
    static constexpr SampleKernels kKernels{ConvertPortably, RoundPortably};
    return kKernels;
}

const SampleKernels* VectorKernels() {
    static constexpr SampleKernels kKernels{ConvertByVectors, RoundByVectors};
    static const bool hasVectors = HasVectors();
    return hasVectors ? &kKernels : nullptr;
}

const SampleKernels& FastestKernels() {
    const SampleKernels* vectors = VectorKernels();
    return vectors ? *vectors : PortableKernels();
}

}  // namespace w64
