#pragma once

#include <complex>

namespace tovix {

/// Elementary functions in double precision from their power series. [control]
///
/// The Windows toolchain's own are several times slower than its arithmetic, and an equalizer's design takes tens of
/// thousands of them. These give the same bits on every platform.

/// ln(x), to 3e-16 of the larger of 1 and itself; what std::log gives where x is not a normal positive number.
double naturalLog(double x) noexcept;

/// e^z, to 1e-12 of its magnitude while the imaginary part stays below 1000. A real part beyond 200 counts as 200 and
/// one below -200 as -200, which single precision cannot hold either.
std::complex<double> exponential(std::complex<double> z) noexcept;

} // namespace tovix
