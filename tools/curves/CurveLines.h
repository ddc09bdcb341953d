#pragma once

#include "curves/Curve.h"
#include "curves/ParametricFilter.h"

#include <optional>
#include <string_view>
#include <vector>

namespace tovix {

/// The parts of a curve file, which add up. [control], any thread, as all in this header.
struct CurveParts {
    double preampDb = 0.0;
    /// From lines of one point each, or from a GraphicEQ line.
    Points points;
    bool hasGraphic = false;
    std::vector<ParametricFilter> filters;
};

/// Adds what one line of a curve file says to `parts`. Throws a Refusal that begins with `where`, as in "line 3".
void readCurveLine(std::string_view line, std::string_view where, CurveParts& parts);

} // namespace tovix
