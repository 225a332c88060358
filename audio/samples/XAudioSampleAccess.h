#pragma once

#include "base/LittleEndian.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace w64 {

// Single samples in memory: index i is the i-th sample of an interleaved stream that starts at `data`, at any
// alignment, little-endian. Integers are right-justified, floats become doubles.
// The scaling functions are the only place where a double is rounded or clipped.

inline int32_t _RD8(const void* data, int64_t i) { return static_cast<const uint8_t*>(data)[i] - 128; }

inline int32_t _RD16(const void* data, int64_t i) {
    return base::Load<int16_t>(static_cast<const uint8_t*>(data) + 2 * i);
}

inline int32_t _RD24(const void* data, int64_t i) {
    const uint8_t* bytes = static_cast<const uint8_t*>(data) + 3 * i;
    return bytes[0] + bytes[1] * 256 + static_cast<int8_t>(bytes[2]) * 65536;
}

inline int32_t _RD32(const void* data, int64_t i) {
    return base::Load<int32_t>(static_cast<const uint8_t*>(data) + 4 * i);
}

inline double _RDFlt(const void* data, int64_t i) {
    return static_cast<double>(base::Load<float>(static_cast<const uint8_t*>(data) + 4 * i));
}

inline double _RDDBL(const void* data, int64_t i) {
    return base::Load<double>(static_cast<const uint8_t*>(data) + 8 * i);
}

inline void _WR8(void* data, int64_t i, int32_t value) {
    static_cast<uint8_t*>(data)[i] = static_cast<uint8_t>(static_cast<uint32_t>(value) + 128);
}

inline void _WR16(void* data, int64_t i, int32_t value) {
    base::Store(static_cast<uint8_t*>(data) + 2 * i, static_cast<int16_t>(value));
}

inline void _WR24(void* data, int64_t i, int32_t value) {
    uint8_t* bytes = static_cast<uint8_t*>(data) + 3 * i;
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
    bytes[2] = static_cast<uint8_t>(value >> 16);
}

inline void _WR32(void* data, int64_t i, int32_t value) {
    base::Store(static_cast<uint8_t*>(data) + 4 * i, value);
}

inline void _WRFlt(void* data, int64_t i, double value) {
    base::Store(static_cast<uint8_t*>(data) + 4 * i, static_cast<float>(value));
}

inline void _WRDBL(void* data, int64_t i, double value) {
    base::Store(static_cast<uint8_t*>(data) + 8 * i, value);
}

inline double _INT32ToDBL(int32_t value) { return value / 2147483648.0; }

// Truncates, deliberately: a change of bit depth never rounds. Out-of-range values are clipped before the
// cast, which would be undefined for them, and NaN becomes 0. Scaling by a power of two is exact, so a float
// gives the same result whether or not it is widened first, and faster if not.
template <class Float>
int32_t TruncToInt32(Float value) {
    constexpr auto kFullScale = static_cast<Float>(2147483648.0);
    const Float scaled = value * kFullScale;
    const bool fits = scaled >= -kFullScale && scaled < kFullScale;
    const auto whole = static_cast<int32_t>(fits ? scaled : Float{0});
    if (scaled >= kFullScale) return std::numeric_limits<int32_t>::max();
    return scaled < -kFullScale ? std::numeric_limits<int32_t>::min() : whole;
}

inline int32_t _DBLToINT32(double value) { return TruncToInt32(value); }

// Rounds half away from zero, then clips to -limit .. limit - 1; NaN becomes 0.
inline int32_t _DBLRndNClip(double value, double scale, double limit) {
    if (std::isnan(value)) return 0;
    const double rounded = value * scale + (value > 0 ? 0.5 : -0.5);
    return static_cast<int32_t>(std::clamp(rounded, -limit, limit - 1));
}

static_assert(std::numeric_limits<float>::is_iec559, "a double too large for a float must become infinite");

// The stored layouts. GetInt and PutInt carry a sample as a left-justified 32-bit integer, *Raw
// right-justified in its own width, *Dbl as -1.0 to just under 1.0. Integers narrow toward minus infinity;
// floats never clip.

template <int32_t Read(const void*, int64_t), void Write(void*, int64_t, int32_t), int Bits>
struct IntSamples {
    static constexpr int kBits = Bits;
    static constexpr bool kIsInteger = true;
    static constexpr int kShift = 32 - Bits;
    static constexpr double kScale = static_cast<double>(int64_t{1} << (Bits - 1));

    static int32_t GetIntRaw(const void* data, int64_t i) { return Read(data, i); }
    static void PutIntRaw(void* data, int64_t i, int32_t value) { Write(data, i, value); }
    static int32_t GetInt(const void* data, int64_t i) { return Read(data, i) << kShift; }
    static void PutInt(void* data, int64_t i, int32_t value) { Write(data, i, value >> kShift); }
    static double GetDbl(const void* data, int64_t i) { return Read(data, i) / kScale; }
    static void PutDbl(void* data, int64_t i, double value) {
        Write(data, i, _DBLRndNClip(value, kScale, kScale));
    }
};

template <class Float, double Read(const void*, int64_t), void Write(void*, int64_t, double)>
struct FloatSamples {
    static constexpr int kBits = 8 * sizeof(Float);
    static constexpr bool kIsInteger = false;

    static int32_t GetIntRaw(const void* data, int64_t i) { return GetInt(data, i); }
    static void PutIntRaw(void* data, int64_t i, int32_t value) { PutInt(data, i, value); }
    static int32_t GetInt(const void* data, int64_t i) {
        return TruncToInt32(base::Load<Float>(static_cast<const uint8_t*>(data) + kBits / 8 * i));
    }
    static void PutInt(void* data, int64_t i, int32_t value) { Write(data, i, _INT32ToDBL(value)); }
    static double GetDbl(const void* data, int64_t i) { return Read(data, i); }
    static void PutDbl(void* data, int64_t i, double value) { Write(data, i, value); }
};

// Samples that are not known: silence, and nowhere to write.
struct NoSamples {
    static constexpr int kBits = 0;
    static constexpr bool kIsInteger = false;

    static int32_t GetIntRaw(const void* /*data*/, int64_t /*i*/) { return 0; }
    static void PutIntRaw(void* /*data*/, int64_t /*i*/, int32_t /*value*/) {}
    static int32_t GetInt(const void* /*data*/, int64_t /*i*/) { return 0; }
    static void PutInt(void* /*data*/, int64_t /*i*/, int32_t /*value*/) {}
    static double GetDbl(const void* /*data*/, int64_t /*i*/) { return 0; }
    static void PutDbl(void* /*data*/, int64_t /*i*/, double /*value*/) {}
};

using Samples8 = IntSamples<_RD8, _WR8, 8>;
using Samples16 = IntSamples<_RD16, _WR16, 16>;
using Samples24 = IntSamples<_RD24, _WR24, 24>;
using Samples32 = IntSamples<_RD32, _WR32, 32>;
using SamplesFlt = FloatSamples<float, _RDFlt, _WRFlt>;
using SamplesDBL = FloatSamples<double, _RDDBL, _WRDBL>;

}  // namespace w64
