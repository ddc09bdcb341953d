#pragma once

#include "chain/ChainCost.h"
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

/// The clock by which costs are measured.
std::int64_t steadyNanoseconds() noexcept;

/// The stream for which `checkCost` asks: of those in use, one of many channels and short blocks.
constexpr StreamFormat statedFormat{48000.0F, 0, 8, 8, 0x63F, 128};

/// A whole settings text that takes the place of `before`: its filters leave the audio thread enough time, on this
/// machine and with `statedFormat`, as the effect finds out for its own format. A text with fewer filters than there
/// were passes in any case, so that no text is in the way of its own mending.
void checkCost(std::string_view text, std::string_view before, NanosecondClock clock = &steadyNanoseconds);

/// The line that sets the boost.
std::string boostLine(std::int32_t tenths, bool withLimiter);

/// The line that sets the maximizer; a ceiling of full scale is not written.
std::string maximizerLine(std::int32_t tenths, std::int32_t ceilingTenths);

/// The line that draws `points`; numbers as short as they go.
std::string equalizerLine(const Points& points);

/// Advice on an equalizer in `text` that raises the level with no limiter after it; empty where none is needed.
std::string headroomHint(std::string_view text);

} // namespace tovix
