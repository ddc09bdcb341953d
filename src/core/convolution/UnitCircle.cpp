#include "convolution/UnitCircle.h"

#include <bit>
#include <cmath>
#include <numbers>

namespace tovix {

UnitCircle UnitCircle::make(std::size_t count) noexcept {
    UnitCircle circle;
    circle.m_count = count;
    circle.m_fineBits = static_cast<std::size_t>(std::bit_width(count)) / 2;
    circle.m_coarse = HeapArray<Point>::make((count >> circle.m_fineBits) + 1);
    circle.m_fine = HeapArray<Point>::make(std::size_t{1} << circle.m_fineBits);
    if (circle) {
        const double angle = 2.0 * std::numbers::pi / static_cast<double>(count);
        const auto point = [angle](std::size_t turns) {
            const double phase = angle * static_cast<double>(turns);
            return Point{std::cos(phase), std::sin(phase)};
        };
        for (std::size_t i = 0; i < circle.m_fine.size(); ++i) {
            circle.m_fine[i] = point(i);
        }
        for (std::size_t i = 0; i < circle.m_coarse.size(); ++i) {
            circle.m_coarse[i] = point(i << circle.m_fineBits);
        }
    }
    return circle;
}

} // namespace tovix
