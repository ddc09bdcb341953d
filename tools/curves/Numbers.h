#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovix {

/// Numbers and their texts, for all tools: strict reading, and writing independent of the locale. [control], any
/// thread.

/// The whole of `token` as a finite decimal number; none when any part of it does not belong to one. A comma counts
/// as the decimal point, unless it could also separate thousands ("1,000").
std::optional<double> parseDecimal(std::string_view token);

/// As parseDecimal, but throws a Refusal that names the token; `what` tells where it stands, as in "line 3".
double requireDecimal(std::string_view token, std::string_view what);

/// The shortest plain decimal text that reads back as `value`, with a point and without an exponent.
std::string formatDecimal(double value);

/// `value` rounded to `decimals` digits after the point.
std::string formatFixed(double value, int decimals);

/// "-3.1 dB", with a sign only where it is negative and exactly one decimal.
std::string formatDecibels(double db);

/// "1 point", "2 points": `count` with the noun, which takes an "s" in the plural.
std::string counted(std::uint64_t count, std::string_view noun);

/// 20 log10 of a magnitude; minus infinity for 0.
double decibelsOf(double magnitude);

/// The parts of `text` between any of `separators`, empty ones left out.
std::vector<std::string_view> splitAtAny(std::string_view text, std::string_view separators);

/// `text` without the blanks around it.
std::string_view trimmed(std::string_view text);

} // namespace tovix
