#include "audio/samples/SampleKernels.h"

// Vectors in the syntax that GCC and Clang share: for AVX2 on x86-64, which is checked at run time, and for
// the baseline elsewhere. Vectors are passed by reference, because the ABI for passing them by value depends
// on the instruction set.
#if defined(__x86_64__)
#define W64_LANES [[gnu::target("avx2")]]
#else
#define W64_LANES
#endif
#define W64_INLINE_LANES W64_LANES [[gnu::always_inline]] inline

namespace w64 {

namespace {

template <class Layout>
constexpr int64_t Bytes(int64_t samples) {
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

using Ints = int32_t __attribute__((vector_size(32)));
using Floats = float __attribute__((vector_size(32)));
using Doubles = double __attribute__((vector_size(32)));
using Longs = int64_t __attribute__((vector_size(32)));
using Bytes32 = uint8_t __attribute__((vector_size(32)));
using Ints4 = int32_t __attribute__((vector_size(16)));
using Shorts = int16_t __attribute__((vector_size(16)));
using Longs2 = int64_t __attribute__((vector_size(16)));
using Bytes16 = uint8_t __attribute__((vector_size(16)));
using Bytes8 = uint8_t __attribute__((vector_size(8)));

constexpr int64_t kLanes = 8;
constexpr double kFullScale = 2147483648.0;

template <class Vector>
W64_INLINE_LANES void LoadLanes(Vector& value, const void* from) {
    std::memcpy(&value, from, sizeof value);
}

template <class Vector>
W64_INLINE_LANES void StoreLanes(void* to, const Vector& value) {
    std::memcpy(to, &value, sizeof value);
}

// Out-of-range values are clipped before the cast, which would be undefined for them, and NaN becomes 0.
W64_INLINE_LANES void Truncate(const Doubles& scaled, double low, double high, Ints4& whole) {
    const Longs isNumber = scaled <= std::numeric_limits<double>::infinity();
    const Doubles lowest = Doubles{} + low;
    const Doubles highest = Doubles{} + high;
    Doubles clipped = scaled > lowest ? scaled : lowest;
    clipped = clipped < highest ? clipped : highest;
    whole = __builtin_convertvector((Doubles)((Longs)clipped & isNumber), Ints4);
}

// Rounds half away from zero: adds half a step outwards, truncates, clips to -limit .. limit - 1.
W64_INLINE_LANES void Round(const Doubles& value, double scale, double limit, Ints4& whole) {
    const Longs sign = (Longs)value & std::numeric_limits<int64_t>::min();
    const Doubles half = (Doubles)((Longs)(Doubles{} + 0.5) | sign);
    Truncate(value * scale + half, -limit, limit - 1, whole);
}

W64_INLINE_LANES void Join(const Ints4& low, const Ints4& high, Ints& values) {
    values = __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
}

// Eight samples as left-justified integers.

W64_INLINE_LANES void GetLanes(Samples8, const uint8_t* data, Ints& values) {
    Bytes8 bytes;
    LoadLanes(bytes, data);
    values = (__builtin_convertvector(bytes, Ints) - 128) << 24;
}

W64_INLINE_LANES void PutLanes(Samples8, uint8_t* data, const Ints& values) {
    StoreLanes(data, __builtin_convertvector((values >> 24) + 128, Bytes8));
}

W64_INLINE_LANES void GetLanes(Samples16, const uint8_t* data, Ints& values) {
    Shorts shorts;
    LoadLanes(shorts, data);
    values = __builtin_convertvector(shorts, Ints) << 16;
}

// The upper half of every integer. Packed within each half of the vector first, as crossing halves is slow.
W64_INLINE_LANES void PutLanes(Samples16, uint8_t* data, const Ints& values) {
    const auto bytes = (Bytes32)values;
    const auto packed =
        (Longs)__builtin_shufflevector(bytes, bytes,                                            //
                                       2, 3, 6, 7, 10, 11, 14, 15, 2, 3, 6, 7, 10, 11, 14, 15,  //
                                       18, 19, 22, 23, 26, 27, 30, 31, 18, 19, 22, 23, 26, 27, 30, 31);
    const Longs2 joined = __builtin_shufflevector(packed, packed, 0, 2);
    StoreLanes(data, joined);
}

// Four samples from the start of the first 16 bytes, four from the end of the next, so nothing is read
// beyond.
W64_INLINE_LANES void GetLanes(Samples24, const uint8_t* data, Ints& values) {
    Bytes16 low;
    Bytes16 high;
    LoadLanes(low, data);
    LoadLanes(high, data + 8);
    const Bytes32 bytes =
        __builtin_shufflevector(low, high,                                             //
                                0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15,  //
                                16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
    const Bytes32 spread =
        __builtin_shufflevector(bytes, bytes,                                      //
                                0, 0, 1, 2, 3, 3, 4, 5, 6, 6, 7, 8, 9, 9, 10, 11,  //
                                20, 20, 21, 22, 23, 23, 24, 25, 26, 26, 27, 28, 29, 29, 30, 31);
    values = (Ints)spread & ~0xFF;
}

// Stores 8 bytes too many: one store is faster than two, and the next samples overwrite them.
W64_INLINE_LANES void PutLanes(Samples24, uint8_t* data, const Ints& values) {
    const auto bytes = (Bytes32)values;
    const auto packed =
        (Ints)__builtin_shufflevector(bytes, bytes,                                         //
                                      1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, 0, 0, 0, 0,  //
                                      17, 18, 19, 21, 22, 23, 25, 26, 27, 29, 30, 31, 16, 16, 16, 16);
    const Ints joined = __builtin_shufflevector(packed, packed, 0, 1, 2, 4, 5, 6, 3, 7);
    StoreLanes(data, joined);
}

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
    Ints4 lowWhole;
    Ints4 highWhole;
    Truncate(low * kFullScale, -kFullScale, kFullScale - 1, lowWhole);
    Truncate(high * kFullScale, -kFullScale, kFullScale - 1, highWhole);
    Join(lowWhole, highWhole, values);
}

W64_INLINE_LANES void PutLanes(SamplesDBL, uint8_t* data, const Ints& values) {
    const Ints4 low = __builtin_shufflevector(values, values, 0, 1, 2, 3);
    const Ints4 high = __builtin_shufflevector(values, values, 4, 5, 6, 7);
    StoreLanes(data, __builtin_convertvector(low, Doubles) * (1 / kFullScale));
    StoreLanes(data + sizeof(Doubles), __builtin_convertvector(high, Doubles) * (1 / kFullScale));
}

W64_INLINE_LANES void GetLanes(NoSamples, const uint8_t*, Ints& values) { values = Ints{}; }

W64_INLINE_LANES void PutLanes(NoSamples, uint8_t*, const Ints&) {}

// Whether eight samples can be stored at `i`, with the bytes after them that the store also writes.
constexpr bool HasRoom(int64_t i, int64_t count) { return count - i >= kLanes + 3; }

template <class From, class To>
W64_LANES void ConvertInLanes(const uint8_t* source, uint8_t* target, int64_t count) {
    int64_t i = 0;
    for (; HasRoom(i, count); i += kLanes) {
        Ints values;
        GetLanes(From(), source + Bytes<From>(i), values);
        PutLanes(To(), target + Bytes<To>(i), values);
    }
    ConvertSingly<From, To>(source + Bytes<From>(i), target + Bytes<To>(i), count - i);
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
            Ints4 lowWhole;
            Ints4 highWhole;
            Round(low, To::kScale, To::kScale, lowWhole);
            Round(high, To::kScale, To::kScale, highWhole);
            Ints rounded;
            Join(lowWhole, highWhole, rounded);
            PutLanes(To(), target + Bytes<To>(i), rounded << To::kShift);
        }
    }
    RoundSingly<To>(values + i, target + Bytes<To>(i), count - i);
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
