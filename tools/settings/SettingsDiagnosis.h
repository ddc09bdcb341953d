#pragma once

#include "filters/ParameterText.h"
#include "text/SettingsText.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovix {

/// What a chain build makes of one settings line. Those from `noColon` on are mistakes: the effect passes over such a
/// line in silence.
enum class LineOutcome {
    buildsFilter,
    previousEffectOn,
    previousEffectOff,
    /// A leading '#' switches the line off.
    switchedOff,
    blank,
    noColon,
    unknownName,
    wrongParameters,
};

/// Whether the line is one that its writer cannot have wanted as it is. Any thread.
constexpr bool isMistake(LineOutcome outcome) {
    return outcome >= LineOutcome::noColon;
}

struct LineDiagnosis {
    /// The line in the text, without its end.
    std::string_view line;
    LineOutcome outcome = LineOutcome::blank;
    /// What the line does, or why nothing comes of it: an English phrase in UTF-8, without a full stop.
    std::string explanation;
    /// The parameters as they are written, where the line builds a boost.
    std::optional<BoostParameters> boost;
    /// The same of a maximizer.
    std::optional<MaximizerParameters> maximizer;
    /// What the boost or the maximizer makes of them: its level and ceiling, in tenths of a dB, within their limits.
    std::int32_t levelTenths = 0;
    std::int32_t ceilingTenths = 0;
    /// The points, where the line builds an equalizer.
    std::optional<std::vector<ResponsePoint>> equalizer;
};

/// Says for each line of a settings text, or of a whole settings page, what a chain build makes of it, by offering it
/// to the filter factories as the build does. The views point into `text`. [control], any thread.
std::vector<LineDiagnosis> diagnoseSettings(std::string_view text, AnsiDecoder decodeAnsi);

} // namespace tovix
