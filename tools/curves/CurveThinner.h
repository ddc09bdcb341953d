#pragma once

#include "curves/Curve.h"

#include <functional>
#include <optional>
#include <span>

namespace tovix {

/// Points of a curve that stand for all of it.
struct ThinnedCurve {
    Points points;
    /// Largest distance between the two curves at any frequency.
    double deviationDb = 0.0;
};

/// [control], any thread. Largest distance in dB between the curve through `points` and the one through `wanted`, at
/// the frequencies of `wanted`. Both as ResponseInterpolator draws them: where every point is one of `wanted`'s it is
/// the largest anywhere.
double deviationDb(std::span<const ResponsePoint> wanted, std::span<const ResponsePoint> points);

/// [control], any thread. Leaves points out until `fits` accepts the rest, with the smallest largest deviation to
/// within 0.0001 dB. None when not even one point fits. `curve` is in rising order, without equal frequencies, all
/// above 0.
///
/// Polyline approximation with the vertices kept among the original ones: for a given tolerance the fewest points are
/// a shortest path (Imai and Iri); the tolerance is found by bisection.
std::optional<ThinnedCurve> thinCurve(std::span<const ResponsePoint> curve,
                                      const std::function<bool(const Points&)>& fits);

} // namespace tovix
