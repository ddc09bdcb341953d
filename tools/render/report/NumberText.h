#pragma once

#include <string>

namespace tovix::render {

/// `value` with a fixed number of decimals.
std::string fixed(double value, int decimals);

/// `value` with as few digits as name it.
std::string numberText(double value);

/// 20 log10 of a magnitude, -infinity for 0.
double decibelsOf(double magnitude);

} // namespace tovix::render
