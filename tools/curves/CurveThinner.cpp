#include "curves/CurveThinner.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tovix {
namespace {

/// A point as the interpolation sees it: logarithm of the frequency, and dB.
struct Vertex {
    double x;
    double y;
};

std::vector<Vertex> logarithmic(std::span<const ResponsePoint> curve) {
    std::vector<Vertex> vertices;
    vertices.reserve(curve.size());
    std::transform(curve.begin(), curve.end(), std::back_inserter(vertices), [](const ResponsePoint& point) {
        return Vertex{std::log(point.frequencyHz), point.gainDb};
    });
    return vertices;
}

/// Slopes of the lines from one vertex that pass every later one seen so far within the tolerance.
class SlopeRange {
public:
    SlopeRange(Vertex from, double toleranceDb) : m_from(from), m_toleranceDb(toleranceDb) {}

    [[nodiscard]] bool allows(Vertex to) const {
        const double slope = (to.y - m_from.y) / (to.x - m_from.x);
        return slope >= m_lowest && slope <= m_highest;
    }
    void narrowBy(Vertex passed) {
        const double width = passed.x - m_from.x;
        m_lowest = std::max(m_lowest, (passed.y - m_toleranceDb - m_from.y) / width);
        m_highest = std::min(m_highest, (passed.y + m_toleranceDb - m_from.y) / width);
    }
    [[nodiscard]] bool isEmpty() const { return m_lowest > m_highest; }

private:
    Vertex m_from;
    double m_toleranceDb;
    double m_lowest = -std::numeric_limits<double>::infinity();
    double m_highest = std::numeric_limits<double>::infinity();
};

/// Shortest path over the vertices; `none` stands for "no vertex".
class FewestPoints {
public:
    FewestPoints(std::span<const Vertex> vertices, double toleranceDb)
        : m_vertices(vertices), m_toleranceDb(toleranceDb), m_steps(vertices.size(), none),
          m_previous(vertices.size(), none) {
        startWhereTheHeadIsFlat();
        for (std::size_t i = 0; i < m_vertices.size(); ++i) {
            if (m_steps[i] != none) {
                extendFrom(i);
            }
        }
    }

    /// Indices of the kept vertices, rising.
    [[nodiscard]] std::vector<std::size_t> path() const {
        std::vector<std::size_t> kept;
        for (std::size_t i = bestEnd(); i != none; i = m_previous[i]) {
            kept.push_back(i);
        }
        std::reverse(kept.begin(), kept.end());
        return kept;
    }

private:
    static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

    void startWhereTheHeadIsFlat() {
        double lowest = m_vertices.front().y;
        double highest = lowest;
        for (std::size_t i = 0; i < m_vertices.size(); ++i) {
            const double y = m_vertices[i].y;
            lowest = std::min(lowest, y);
            highest = std::max(highest, y);
            if (y - lowest <= m_toleranceDb && highest - y <= m_toleranceDb) {
                m_steps[i] = 1;
            }
        }
    }

    void extendFrom(std::size_t i) {
        SlopeRange range(m_vertices[i], m_toleranceDb);
        for (std::size_t j = i + 1; j < m_vertices.size() && !range.isEmpty(); ++j) {
            if (range.allows(m_vertices[j]) && m_steps[i] + 1 < m_steps[j]) {
                m_steps[j] = m_steps[i] + 1;
                m_previous[j] = i;
            }
            range.narrowBy(m_vertices[j]);
        }
    }

    [[nodiscard]] std::size_t bestEnd() const {
        std::size_t best = none;
        double lowest = m_vertices.back().y;
        double highest = lowest;
        for (std::size_t i = m_vertices.size(); i-- > 0;) {
            const double y = m_vertices[i].y;
            lowest = std::min(lowest, y);
            highest = std::max(highest, y);
            const bool tailIsFlat = y - lowest <= m_toleranceDb && highest - y <= m_toleranceDb;
            if (tailIsFlat && m_steps[i] != none && (best == none || m_steps[i] < m_steps[best])) {
                best = i;
            }
        }
        return best;
    }

    std::span<const Vertex> m_vertices;
    double m_toleranceDb;
    std::vector<std::size_t> m_steps;
    std::vector<std::size_t> m_previous;
};

Points fewestPoints(std::span<const ResponsePoint> curve, std::span<const Vertex> vertices, double toleranceDb) {
    Points points;
    for (const std::size_t index : FewestPoints(vertices, toleranceDb).path()) {
        points.push_back(curve[index]);
    }
    return points;
}

} // namespace

double deviationDb(std::span<const ResponsePoint> wanted, std::span<const ResponsePoint> points) {
    ResponseInterpolator interpolator(points);
    double largest = 0.0;
    for (const ResponsePoint& point : wanted) {
        largest = std::max(largest, std::abs(interpolator.gainDb(point.frequencyHz) - point.gainDb));
    }
    return largest;
}

std::optional<ThinnedCurve> thinCurve(std::span<const ResponsePoint> curve,
                                      const std::function<bool(const Points&)>& fits) {
    if (curve.empty()) {
        return std::nullopt;
    }
    const auto vertices = logarithmic(curve);
    const auto [lowest, highest] = std::minmax_element(vertices.begin(), vertices.end(),
                                                       [](const Vertex& a, const Vertex& b) { return a.y < b.y; });
    // Wide enough for the rounding of points on one line; from the whole range on, one point stands for all.
    constexpr double resolutionDb = 1e-4;
    constexpr double roundingDb = 1e-9;
    double toleranceDb = highest->y - lowest->y + resolutionDb;
    Points best = fewestPoints(curve, vertices, toleranceDb);
    if (!fits(best)) {
        return std::nullopt;
    }
    Points exact = fewestPoints(curve, vertices, roundingDb);
    if (fits(exact)) {
        return ThinnedCurve{exact, deviationDb(curve, exact)};
    }
    double tooNarrowDb = 0.0;
    while (toleranceDb - tooNarrowDb > resolutionDb) {
        const double middleDb = (toleranceDb + tooNarrowDb) / 2.0;
        Points points = fewestPoints(curve, vertices, middleDb);
        if (fits(points)) {
            best = std::move(points);
            toleranceDb = middleDb;
        } else {
            tooNarrowDb = middleDb;
        }
    }
    return ThinnedCurve{best, deviationDb(curve, best)};
}

} // namespace tovix
