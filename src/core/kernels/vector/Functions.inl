// Logarithm and exponential of base 2, in vectors of doubles. The polynomials have the smallest largest relative
// error over their range that one of their degree can have (found by exchange of extrema in 200 bits).
#pragma once

namespace tovix {
namespace {

/// Exponents and mantissas of a vector.
using Bits = unsigned long long __attribute__((vector_size(sizeof(Vector))));

constexpr int mantissaBits = 52;
constexpr unsigned long long mantissaMask = (1ULL << mantissaBits) - 1;
constexpr unsigned long long exponentBias = 1023;
constexpr unsigned long long oneBits = exponentBias << mantissaBits;
/// The square root of a half.
constexpr unsigned long long rootBits = __builtin_bit_cast(unsigned long long, 0x1.6a09e667f3bcdp-1);

[[gnu::always_inline]] inline Bits bitsOf(Vector v) noexcept {
    return __builtin_bit_cast(Bits, v);
}
[[gnu::always_inline]] inline Vector valueOf(Bits bits) noexcept {
    return __builtin_bit_cast(Vector, bits);
}
[[gnu::always_inline]] inline Bits allBits(unsigned long long value) noexcept {
    return Bits{} + value;
}

/// The sum of c(n) * x^n, given from the highest power down.
[[gnu::always_inline]] inline Vector polynomial(Vector, Vector sum) noexcept {
    return sum;
}
template <class... Rest>
[[gnu::always_inline]] inline Vector polynomial(Vector x, Vector sum, double next, Rest... rest) noexcept {
    return polynomial(x, multiplyAdd(sum, x, all(next)), rest...);
}

/// log2(x) for positive normal x: to 3e-16 of the larger of 1 and itself, and exactly 0 at 1.
[[gnu::always_inline]] inline Vector logarithm(Vector x) noexcept {
    // x = 2^e * m with m between the square roots of a half and of 2; e comes as the low bits of a number near 2^52.
    constexpr double exponentShift = 0x1p52;
    const Bits shifted = bitsOf(x) + allBits(oneBits - rootBits);
    const Bits exponentBits =
        (shifted >> mantissaBits) | allBits(__builtin_bit_cast(unsigned long long, exponentShift));
    const Vector exponent = valueOf(exponentBits) - all(exponentShift + static_cast<double>(exponentBias));
    const Vector m = valueOf((shifted & allBits(mantissaMask)) + allBits(rootBits));
    // ln m = 2 artanh((m - 1) / (m + 1))
    const Vector s = (m - all(1.0)) / (m + all(1.0));
    const Vector z = s * s;
    const Vector zz = z * z;
    const Vector even =
        polynomial(zz, all(0x1.f184c2246dfa7p-3), 0x1.484fac1e718c3p-2, 0x1.2776c516a93c7p-1, 0x1.71547652b82ffp+1);
    const Vector odd = polynomial(zz, all(0x1.0bb7be15be4b3p-2), 0x1.a617567728808p-2, 0x1.ec709dc39c9e6p-1);
    const Vector series = multiplyAdd(odd, z, even);
    return multiplyAdd(s, series, exponent);
}

/// 2^x for -1021 <= x <= 1021: to 1e-15 of itself, and exactly 1 at 0.
[[gnu::always_inline]] inline Vector powerOfTwo(Vector x) noexcept {
    // Added to x, it leaves the nearest integer in the lowest bits of the sum.
    constexpr double roundingShift = 0x1.8p52;
    const Vector shifted = x + all(roundingShift);
    const Vector rest = x - (shifted - all(roundingShift));
    const Vector square = rest * rest;
    const Vector even = polynomial(square, all(0x1.e3a9046bc3054p-28), 0x1.62c147a4afdfcp-20, 0x1.4309126c00bdfp-13,
                                   0x1.3b2ab6fbd6d05p-7, 0x1.ebfbdff82c431p-3, 1.0);
    const Vector odd = polynomial(square, all(0x1.b671b2f145372p-24), 0x1.ffcb58ca31191p-17, 0x1.5d87fe9b8efd1p-10,
                                  0x1.c6b08d703e17ap-5, 0x1.62e42fefa3a12p-1);
    const Vector power = multiplyAdd(odd, rest, even);
    return valueOf(bitsOf(power) + (bitsOf(shifted) << mantissaBits));
}

} // namespace
} // namespace tovix
