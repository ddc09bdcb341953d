#pragma once

#include "curves/Curve.h"

#include <string_view>

namespace tovix {

/// A curve as its writer gave it, not yet checked against the equalizer's rules. [control], any thread, as all in
/// this header.
struct WantedCurve {
    /// The points that were written, or, for a parametric list, points close enough together to draw the sum of all
    /// its parts, with round numbers.
    Points points;
    /// Whether the points were computed from a parametric list, so that points may be dropped without contradicting
    /// the file.
    bool computed = false;
    /// What the points stand for: themselves, or a finer and unrounded computation.
    Points exact;
};

/// Reads "100 -3 1000 0 10000 6": numbers in pairs of Hz and dB. Throws a Refusal for anything else.
WantedCurve readPointList(std::string_view text);

/// Reads a curve file: either one point a line, or "GraphicEQ: 20 -3.1; 25 -2.9", or a parametric list with lines as
/// "Filter 1: ON PK Fc 1000 Hz Gain -3 dB Q 1.41" (PK, PEQ; LS, LSC; HS, HSC). "Preamp: -6 dB" may stand with any of
/// them and is added; empty lines and lines that begin with '#' are passed over. Throws a Refusal that names the line
/// for anything else, so that no part of a curve is dropped in silence.
WantedCurve readCurve(std::string_view text);

} // namespace tovix
