#include "filters/Elementary.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

namespace tovix {
namespace {

constexpr int mantissaBits = std::numeric_limits<double>::digits - 1;
constexpr int exponentBias = std::numeric_limits<double>::max_exponent - 1;
/// Added to a number of moderate size, it leaves the nearest integer in the lowest bits of the sum.
constexpr double roundingShift = 0x1.8p52;

/// sum of c(n) * x^n, given from the highest power down.
constexpr double polynomial(double, double first) noexcept {
    return first;
}
template <class... Rest> constexpr double polynomial(double x, double first, double second, Rest... rest) noexcept {
    return polynomial(x, first * x + second, rest...);
}

template <int n> constexpr double inverseFactorial = inverseFactorial<n - 1> / n;
template <> constexpr double inverseFactorial<1> = 1.0;

/// x as a multiple of `unit`, of which `unitLow` is what its double leaves out: the nearest integer and the rest.
struct Reduced {
    std::int64_t count;
    double rest;
};
Reduced reduced(double x, double unit, double unitLow) noexcept {
    const double shifted = x / unit + roundingShift;
    const double count = shifted - roundingShift;
    return {static_cast<std::int64_t>(std::bit_cast<std::uint64_t>(shifted) << 12U) >> 12U,
            x - count * unit - count * unitLow};
}

/// e^x for |x| <= 200.
double realExponential(double x) noexcept {
    // ln 2 with 32 bits, so that its multiples are exact, and the rest of it.
    constexpr double high = 0x1.62e42ffp-1;
    constexpr double low = -0x1.718432a1b0e26p-35;
    const Reduced power = reduced(x, high, low);
    const double fraction = polynomial(power.rest, inverseFactorial<11>, inverseFactorial<10>, inverseFactorial<9>,
                                       inverseFactorial<8>, inverseFactorial<7>, inverseFactorial<6>,
                                       inverseFactorial<5>, inverseFactorial<4>, inverseFactorial<3>, 0.5, 1.0, 1.0);
    const auto bits = static_cast<std::uint64_t>(power.count + exponentBias) << mantissaBits;
    return fraction * std::bit_cast<double>(bits);
}

} // namespace

double naturalLog(double x) noexcept {
    if (!std::isnormal(x) || x < 0.0) {
        return std::log(x);
    }
    const auto bits = std::bit_cast<std::uint64_t>(x);
    constexpr auto one = std::bit_cast<std::uint64_t>(1.0);
    constexpr std::uint64_t mantissaMask = (std::uint64_t{1} << mantissaBits) - 1;
    auto mantissa = std::bit_cast<double>((bits & mantissaMask) | one);
    auto exponent = static_cast<int>(bits >> mantissaBits) - exponentBias;
    if (mantissa > std::numbers::sqrt2) {
        mantissa *= 0.5;
        ++exponent;
    }
    // ln m = 2 artanh((m - 1) / (m + 1))
    const double s = (mantissa - 1.0) / (mantissa + 1.0);
    const double series = polynomial(s * s, 1.0 / 21, 1.0 / 19, 1.0 / 17, 1.0 / 15, 1.0 / 13, 1.0 / 11, 1.0 / 9,
                                     1.0 / 7, 1.0 / 5, 1.0 / 3, 1.0);
    return exponent * std::numbers::ln2 + 2.0 * s * series;
}

std::complex<double> exponential(std::complex<double> z) noexcept {
    constexpr double halfPi = std::numbers::pi / 2.0;
    constexpr double halfPiLow = 6.123233995736766e-17;
    const double magnitude = realExponential(std::clamp(z.real(), -200.0, 200.0));
    const Reduced quarter = reduced(z.imag(), halfPi, halfPiLow);
    const double x = quarter.rest;
    const double square = x * x;
    const double sine = x * polynomial(square, inverseFactorial<13>, -inverseFactorial<11>, inverseFactorial<9>,
                                       -inverseFactorial<7>, inverseFactorial<5>, -inverseFactorial<3>, 1.0);
    const double cosine = polynomial(square, -inverseFactorial<14>, inverseFactorial<12>, -inverseFactorial<10>,
                                     inverseFactorial<8>, -inverseFactorial<6>, inverseFactorial<4>, -0.5, 1.0);
    const bool isOdd = (quarter.count & 1) != 0;
    const double real = isOdd ? sine : cosine;
    const double imaginary = isOdd ? cosine : sine;
    return {(((quarter.count + 1) & 2) != 0 ? -magnitude : magnitude) * real,
            ((quarter.count & 2) != 0 ? -magnitude : magnitude) * imaginary};
}

} // namespace tovix
