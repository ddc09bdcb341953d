#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovix::control {

/// Strict reading and writing of numbers, independent of the locale.

/// The whole of `token` as a finite decimal number; none when anything of it is no part of one. A comma counts as
/// the decimal point, unless it may as well separate thousands ("1,000").
std::optional<double> parseDecimal(std::string_view token);

/// As parseDecimal, but throws a Refusal that names the token; `what` tells where it stands, as in "line 3".
double requireDecimal(std::string_view token, std::string_view what);

/// The shortest plain decimal text that reads back as `value`, with a point and without an exponent.
std::string formatDecimal(double value);

/// "-3.1 dB", with a sign only where it is negative and exactly one decimal.
std::string formatDecibels(double db);

/// The parts of `text` between any of `separators`, empty ones left out.
std::vector<std::string_view> splitAtAny(std::string_view text, std::string_view separators);

/// `text` without the blanks around it.
std::string_view trimmed(std::string_view text);

} // namespace tovix::control
