#pragma once

#include "memory/AlignedArray.h"

#include <complex>
#include <cstddef>

namespace tovix {

/// The `count`-th roots of one, to within one rounding of double precision: each is the product of two out of two
/// short tables, which is much faster than its sine and cosine.
class UnitCircle {
public:
    /// [control] count >= 1; empty (`!*this`) when there is no memory.
    static UnitCircle make(std::size_t count) noexcept;

    /// [control]
    explicit operator bool() const noexcept { return m_coarse && m_fine; }

    /// [control] e^(2 * pi * i * turns / count), for any number of turns.
    [[nodiscard]] std::complex<double> root(std::size_t turns) const noexcept {
        const std::size_t rest = turns < m_count ? turns : turns % m_count;
        const Point& a = m_coarse[rest >> m_fineBits];
        const Point& b = m_fine[rest & ((std::size_t{1} << m_fineBits) - 1)];
        return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
    }

private:
    struct Point {
        double re;
        double im;
    };

    std::size_t m_count = 1;
    /// Turns between two points of the coarse table, as a power of 2.
    std::size_t m_fineBits = 0;
    HeapArray<Point> m_coarse;
    HeapArray<Point> m_fine;
};

} // namespace tovix
