#pragma once

#include "filters/ResponseInterpolator.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovix {

/// Reading of filter parameters. All functions are [control]. Numbers are read as in the C locale; the process's
/// locale does not matter.

/// `text` with every character of `characters` replaced by `replacement`.
std::wstring replaceCharacters(std::wstring_view text, std::wstring_view characters, std::wstring_view replacement);

/// A boost's two numbers.
struct BoostParameters {
    /// Numbers that could be read, 0 to 2; the boost is valid with 2.
    std::uint32_t fieldCount = 0;
    /// Tenths of a dB, although the text labels it dB. Held at the ends of its range when the text exceeds it.
    std::int32_t level = 0;
    /// 1 asks for the dynamics mode, anything else for the plain one.
    std::int32_t mode = 0;
};

/// Reads "LEVEL dB MODE": blanks may stand before each part, anything after the second number is ignored. Commas
/// count as points, so that a level with decimals ends at the comma either way.
BoostParameters parseBoostParameters(std::wstring_view text);

/// A maximizer's numbers, in tenths of a dB; what lies beyond the maximizer's limits is held there by the filter.
struct MaximizerParameters {
    std::int32_t level = 0;
    /// Relative to full scale.
    std::int32_t ceiling = 0;
};

/// Reads "LEVEL dB" or "LEVEL dB CEILING" as `parseBoostParameters` reads its two numbers. Nothing where there is no
/// level in dB, or where something else than a number follows it.
std::optional<MaximizerParameters> parseMaximizerParameters(std::wstring_view text);

/// Reads the points of a response from the numbers in the text, taken in pairs. What stands between numbers is
/// ignored, an unpaired last number is dropped, and what only looks like a number reads as 0. Commas are
/// decimal points in a text without any point. Sorted by frequency; points of equal frequency in no order.
std::vector<ResponsePoint> parseResponsePoints(std::wstring_view text);

} // namespace tovix
