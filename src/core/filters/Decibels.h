#pragma once

namespace tovix {

/// ln(10) / 20: gain = exp(dB * this), the field quantity's decibel.
constexpr double nepersPerDecibel = 0.11512925464970228;
/// ln(10) / 200: the same for levels in tenths of a decibel.
constexpr double nepersPerTenth = 0.01151292546497023;
/// 20 log10(2).
constexpr double decibelsPerOctave = 6.020599913279624;
/// 20 / ln(10).
constexpr double decibelsPerNeper = 8.685889638065037;

} // namespace tovix
