#pragma once

#include "filters/ResponseInterpolator.h"

#include <vector>

namespace tovix {

/// A wanted response as its points. Where a function needs an order it says so.
using Points = std::vector<ResponsePoint>;

/// Most points that a curve may have; thinning takes time by the square of them.
constexpr std::size_t largestCurve = 2000;

/// Throws a Refusal unless there is at least one point, and all are in rising order without equals, above 0 Hz, with
/// gains from -100 to 20 dB. [control], any thread.
void checkPoints(const Points& points);

} // namespace tovix
