#pragma once

#include "curves/CurveThinner.h"
#include "text/Limits.h"
#include "text/SettingsNames.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tovix::control {

/// What may be written into the settings text. Stricter than the effect, which reads something into every text: a
/// line that passes does exactly what it says. All functions that check throw a Refusal.

/// Bytes of text that the block holds beside its NUL.
constexpr std::size_t largestTextBytes = longestSettingsTextBytes;
/// The most that boost and equalizer may raise the level.
constexpr double largestGainDb = maxBoostDb;
/// The equalizer's design cuts off everything below.
constexpr double smallestGainDb = minEqualizerGainDb;

constexpr std::string_view boostName = settings::boost.narrow();
constexpr std::string_view equalizerName = settings::equalizer.narrow();
constexpr std::string_view oldApoName = settings::enableOldApo.narrow();

/// A boost level as the text holds it.
struct BoostLevel {
    std::int32_t tenths = 0;
    /// Whether the wanted level had a finer part.
    bool rounded = false;
};

/// Reads a level in dB, 0 to 20, "dB" allowed after it.
BoostLevel readBoostLevel(std::string_view text);

/// At least one point, in rising order without equals, all above 0 Hz, gains from -100 to 20 dB.
void checkPoints(const Points& points);

/// One settings line, without its line end and short enough for the block, that somebody asks to be written as it is:
/// its name is known, its parameters are all read and mean what they say, or it is switched off with '#'.
void checkLine(const std::string& line);

std::string boostLine(std::int32_t tenths, bool withLimiter);

/// The line that draws `points`; numbers as short as they go.
std::string equalizerLine(const Points& points);

/// Advice on an equalizer in `text` that raises the level with no limiter after it; empty where there is none to
/// give.
std::string headroomHint(std::string_view text);

} // namespace tovix::control
