#pragma once

#include "curves/Curve.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tovix {

/// What may be written into the settings text. Stricter than the effect, which reads something into every text: a
/// line that passes does exactly what it says. [control], any thread; all functions that check throw a Refusal.

/// A boost level as the text holds it.
struct BoostLevel {
    std::int32_t tenths = 0;
    /// Whether the wanted level had a finer part.
    bool rounded = false;
};

/// Reads a level in dB, 0 to 20, "dB" allowed after it.
BoostLevel readBoostLevel(std::string_view text);

/// One settings line, without its line end and short enough for the page, that somebody asks to be written as it is:
/// its name is known, its parameters are all read and mean what they say, or it is switched off with '#'.
void checkLine(const std::string& line);

/// The line that sets the boost.
std::string boostLine(std::int32_t tenths, bool withLimiter);

/// The line that sets the maximizer; a ceiling of full scale is not written.
std::string maximizerLine(std::int32_t tenths, std::int32_t ceilingTenths);

/// The line that draws `points`; numbers as short as they go.
std::string equalizerLine(const Points& points);

/// Advice on an equalizer in `text` that raises the level with no limiter after it; empty where none is needed.
std::string headroomHint(std::string_view text);

} // namespace tovix
