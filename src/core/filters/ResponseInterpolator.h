#pragma once

#include <span>

namespace tovix {

/// One point of a wanted magnitude response.
struct ResponsePoint {
    double frequencyHz;
    double gainDb;
};

/// Gain over frequency through a list of points: linear in dB over the logarithm of frequency between two points,
/// flat below the first and above the last. [control]; lookups in rising order cost one logarithm each.
///
/// The formula is not guarded: after a point at 0 Hz or below, which has no finite logarithm, and after a gain of
/// minus infinity, a lookup up to the next point gives NaN.
class ResponseInterpolator {
public:
    /// Borrows `points`, in rising order of frequency; they must outlive the interpolator.
    explicit ResponseInterpolator(std::span<const ResponsePoint> points) noexcept : m_points(points) {}

    /// Gain in dB; 0 when there is no point. The result does not depend on earlier lookups.
    double gainDb(double frequencyHz) noexcept;

private:
    [[nodiscard]] bool bracketHolds(double frequencyHz) const noexcept;
    void moveBracket(double frequencyHz) noexcept;

    std::span<const ResponsePoint> m_points;
    // The last lookup lay above m_pLower and not above m_pUpper; null where there is no such point.
    const ResponsePoint* m_pLower = nullptr;
    const ResponsePoint* m_pUpper = nullptr;
    double m_lowerLog = 0.0;
    double m_logWidth = 0.0;
};

} // namespace tovix
