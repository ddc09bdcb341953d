#include "convolution/RightAngleTransform.h"

#include "convolution/UnitCircle.h"

#include <algorithm>
#include <bit>
#include <complex>
#include <cstring>

namespace tovix {
namespace {

/// `count` or the next number above it that has no prime factor but 2, 3 and 5.
std::size_t smoothFrom(std::size_t count) noexcept {
    for (;; ++count) {
        std::size_t rest = count;
        for (const std::size_t prime : {2U, 3U, 5U}) {
            while (rest % prime == 0) {
                rest /= prime;
            }
        }
        if (rest == 1) {
            return count;
        }
    }
}

/// Writes `value` to lane `lane` of a row.
void setPoint(float* row, std::size_t lanes, std::size_t lane, std::complex<double> value) noexcept {
    row[lane] = static_cast<float>(value.real());
    row[lanes + lane] = static_cast<float>(value.imag());
}

} // namespace

RightAngleTransform RightAngleTransform::make(const VectorLoops& loops, std::size_t blockFrames) noexcept {
    RightAngleTransform transform;
    transform.m_pLoops = &loops;
    transform.m_blockFrames = blockFrames;
    const std::size_t rowCount = smoothFrom((blockFrames + loops.lanes - 1) / loops.lanes);
    const std::size_t restFloats = (rowCount - blockFrames / loops.lanes) * loops.lanes;
    // No count has more prime factors than bits.
    transform.m_radices = RtArray<std::uint8_t>::make(32);
    transform.m_weights = RtArray<float>::make(2 * rowCount * loops.lanes);
    transform.m_twiddles = RtArray<float>::make(2 * rowCount * loops.lanes);
    transform.m_restIn = RtArray<float>::make(restFloats);
    transform.m_restOut = RtArray<float>::make(restFloats);
    if (!transform) {
        return {};
    }
    transform.m_tables.rowCount = rowCount;
    transform.factorise();
    return transform.fillTables() ? std::move(transform) : RightAngleTransform{};
}

/// Few passes over the rows: 3 and 2 make 6, three of 2 make 8 where the registers have room for it, and the rest 4.
void RightAngleTransform::factorise() noexcept {
    std::size_t rest = m_tables.rowCount;
    std::size_t count = 0;
    const auto take = [&](std::size_t radix) {
        m_radices[count++] = static_cast<std::uint8_t>(radix);
        rest /= radix;
    };
    while (rest % 5 == 0) {
        take(5);
    }
    while (rest % 3 == 0) {
        const bool leavesTwo = std::countr_zero(rest) % 2 == 1;
        take(leavesTwo ? 6 : 3);
    }
    while (rest > 1) {
        const bool isEight = rest % 8 == 0 && rest != 16 && m_pLoops->largestRadix >= 8;
        take(isEight ? 8 : rest == 2 ? 2 : 4);
    }
    if (count == 0) {
        take(1);
    }
    // The first pass and the last one back have weights and overlap besides: they get the smallest butterflies.
    std::reverse(m_radices.data(), m_radices.data() + count);
    m_tables.radices = m_radices.data();
    m_tables.passCount = count;
}

/// All the tables are powers of e^(i * pi / 2N), which is a (4N)-th root of one.
bool RightAngleTransform::fillTables() noexcept {
    const std::size_t lanes = m_pLoops->lanes;
    const std::size_t points = pointCount();
    const UnitCircle circle = UnitCircle::make(4 * points);
    if (!circle) {
        return false;
    }
    for (std::size_t n = 0; n < points; ++n) {
        setPoint(m_weights.data() + n / lanes * 2 * lanes, lanes, n % lanes, circle.root(n));
    }
    float* row = m_twiddles.data();
    std::size_t span = m_tables.rowCount;
    for (std::size_t pass = 0; pass < m_tables.passCount; ++pass) {
        const std::size_t radix = m_radices[pass];
        const std::size_t groups = m_tables.rowCount / span;
        span /= radix;
        for (std::size_t first = 0; first < span * lanes; first += lanes) {
            for (std::size_t leg = 1; leg < radix; ++leg, row += 2 * lanes) {
                for (std::size_t lane = 0; lane < lanes; ++lane) {
                    const std::size_t turns = (first + lane) * leg * groups;
                    setPoint(row, lanes, lane, std::conj(circle.root(4 * turns)));
                }
            }
        }
    }
    m_tables.weights = m_weights.data();
    m_tables.twiddles = m_twiddles.data();
    return true;
}

void RightAngleTransform::forwardColumns(const float* samples, float* work) const noexcept {
    const std::size_t lanes = m_pLoops->lanes;
    const std::size_t fullRows = m_blockFrames / lanes;
    std::memcpy(m_restIn.data(), samples + fullRows * lanes, m_blockFrames % lanes * sizeof(float));
    m_pLoops->forwardColumns(m_tables, {0, columnSteps()}, {samples, fullRows, m_restIn.data()}, work);
}

void RightAngleTransform::forward(const float* samples, float* work, float* spectrum,
                                  std::size_t strideFloats) const noexcept {
    forwardColumns(samples, work);
    m_pLoops->forwardLanes(work, m_tables.rowCount, spectrum, strideFloats);
}

void RightAngleTransform::inverseColumns(float* work, float* samples, const float* overlapBefore,
                                         float* overlap) const noexcept {
    const std::size_t lanes = m_pLoops->lanes;
    const std::size_t fullRows = m_blockFrames / lanes;
    m_pLoops->inverseColumns(
        m_tables, {0, columnSteps()}, work,
        {samples, fullRows, m_restOut.data(), overlapBefore + lanes, overlap + lanes, m_blockFrames});
    std::memcpy(samples + fullRows * lanes, m_restOut.data(), m_blockFrames % lanes * sizeof(float));
}

void RightAngleTransform::forwardPart(const ColumnSteps& steps, const float* samples, float* work) const noexcept {
    m_pLoops->forwardColumns(m_tables, steps, {samples, m_tables.rowCount, nullptr}, work);
}

void RightAngleTransform::inversePart(const ColumnSteps& steps, float* work, float* samples,
                                      const float* overlapBefore, float* overlap) const noexcept {
    const std::size_t lanes = m_pLoops->lanes;
    const std::size_t fullRows = m_blockFrames / lanes;
    m_pLoops->inverseColumns(
        m_tables, steps, work,
        {samples, fullRows, samples + fullRows * lanes, overlapBefore + lanes, overlap + lanes, m_blockFrames});
}

} // namespace tovix
