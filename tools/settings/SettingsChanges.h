#pragma once

#include "curves/CurveReader.h"
#include "curves/CurveThinner.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovix {

/// What each command makes of the settings text. All of them keep the lines that they are not about, return a text
/// that fits into the settings page, and throw a Refusal where they cannot. [control], any thread.

/// A settings text ready to be written.
struct ChangedSettings {
    std::string text;
    /// Sentences for the user: what was rounded, left out or removed, and hints. They may quote the settings, whose
    /// bytes are any.
    std::vector<std::string> notes;
    /// Where a curve was thinned: its points, and how far it is from the wanted one at most.
    std::optional<ThinnedCurve> thinned;
};

enum class BoostKind {
    plain,
    /// With the boost's own limiter.
    limited,
    /// By the maximizer.
    clean,
};

/// A boost at `level` (dB, as typed) in place of all lines of a boost or a maximizer that there are. A maximizer
/// keeps the ceiling of the first one there.
ChangedSettings changeBoost(std::string_view text, std::string_view level, BoostKind kind);

/// An equalizer in place of all equalizer lines there are; a new one goes before the boost, so that a limiter there
/// comes last. `fitPoints` thins the curve to as many points at most; a computed curve is thinned in any case to what
/// there is room for.
ChangedSettings changeEqualizer(std::string_view text, const WantedCurve& curve,
                                std::optional<std::size_t> fitPoints);

/// Puts '#' before the lines of a boost or a maximizer, or takes it away again. Switching on what has no line is
/// refused.
ChangedSettings switchBoost(std::string_view text, bool on);

/// The same for the lines of an equalizer.
ChangedSettings switchEqualizer(std::string_view text, bool on);

/// Whether the device's previous effect is wanted, as a line of its own.
ChangedSettings changePreviousEffect(std::string_view text, bool on);

/// Each of `lines` in place of the lines of the same name; with `replaceAll` in place of the whole text.
ChangedSettings setLines(std::string_view text, const std::vector<std::string>& lines, bool replaceAll);

/// A whole text, such as that of a file, in place of the one there is: its lines by the rules of `setLines`, but as
/// they stand.
ChangedSettings takeText(std::string_view text);

} // namespace tovix
