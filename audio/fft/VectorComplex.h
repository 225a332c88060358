#pragma once

#include "audio/fft/VectorClones.h"

#include <cstddef>

namespace w64::fft {

// Four complex numbers at a time.

constexpr ptrdiff_t kLanes = 4;
constexpr ptrdiff_t kGroup = 2 * kLanes;  // doubles: four real parts, then their four imaginary parts

// Copied member by member: GCC's default copy goes through memory and stalls on store forwarding.
struct Complex {
    Vector re;
    Vector im;

    Complex() = default;
    W64_INLINE Complex(const Vector& real, const Vector& imaginary) : re(real), im(imaginary) {}
    W64_INLINE Complex(const Complex& other) : re(other.re), im(other.im) {}
    W64_INLINE Complex& operator=(const Complex& other) {
        re = other.re;
        im = other.im;
        return *this;
    }
};

W64_INLINE Complex operator+(const Complex& a, const Complex& b) { return {a.re + b.re, a.im + b.im}; }
W64_INLINE Complex operator-(const Complex& a, const Complex& b) { return {a.re - b.re, a.im - b.im}; }
W64_INLINE Complex operator*(double a, const Complex& b) { return {a * b.re, a * b.im}; }
W64_INLINE Complex operator*(const Complex& a, const Complex& b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
W64_INLINE Complex TimesConjugate(const Complex& a, const Complex& b) {
    return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}
W64_INLINE Complex TimesI(const Complex& a) { return {-a.im, a.re}; }

W64_INLINE Complex Conjugate(const Complex& a) { return {a.re, -a.im}; }

// Numbers m, m - 1, m - 2 and m - 3 from the groups that begin with m and m - 4.
W64_INLINE Vector Backwards(const Vector& first, const Vector& before) {
    return __builtin_shufflevector(first, before, 0, 7, 6, 5);
}
W64_INLINE Complex Backwards(const Complex& first, const Complex& before) {
    return {Backwards(first.re, before.re), Backwards(first.im, before.im)};
}

W64_INLINE Complex LoadGroup(const double* group) { return {LoadVector(group), LoadVector(group + kLanes)}; }
W64_INLINE void StoreGroup(double* group, const Complex& value) {
    StoreVector(group, value.re);
    StoreVector(group + kLanes, value.im);
}

// Four interleaved points. Their lanes are in the order 0, 2, 1, 3, which takes the fewest shuffles.
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

}  // namespace w64::fft
