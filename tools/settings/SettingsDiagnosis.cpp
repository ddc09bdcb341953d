#include "settings/SettingsDiagnosis.h"

#include "chain/ChainBuilder.h"
#include "curves/Numbers.h"
#include "filters/EffectFactoryEqualizer.h"
#include "filters/EqualizerDesign.h"
#include "text/Limits.h"
#include "text/SettingsNames.h"
#include "text/Utf.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <numeric>

namespace tovix {
namespace {

constexpr std::size_t largestTypoDistance = 2;

using Factories = std::vector<std::unique_ptr<IFilterFactory>>;

bool buildsFilter(const Factories& factories, const SettingsLine& line, const std::wstring& text) {
    std::wstring name = line.key;
    return std::any_of(factories.begin(), factories.end(),
                       [&](const auto& factory) { return !factory->createFilter(name, line.value, text).empty(); });
}

/// "a boost of 20.0 dB, the most there is": the level in use, with a word on what bounds the written one.
std::string describeLevel(std::int32_t written, std::int32_t used) {
    return "boost of " + formatDecibels(used / 10.0) +
           (used < written   ? ", the most there is"
            : used > written ? ", the least there is"
                             : "");
}

void diagnoseBoost(LineDiagnosis& diagnosis, const std::wstring& parameters) {
    diagnosis.boost = parseBoostParameters(parameters);
    const auto written = diagnosis.boost->level;
    const bool limited = diagnosis.boost->mode == 1;
    // The plain mode has bounds; the dynamics mode has none.
    diagnosis.levelTenths = limited ? written : std::clamp(written, 0, maxBoostTenths);
    diagnosis.explanation = (limited ? "" : "plain ") + describeLevel(written, diagnosis.levelTenths) +
                            (limited ? " with a limiter at full scale" : "");
}

std::string explainBoostMismatch(const std::wstring& parameters) {
    constexpr auto example = ", as in \"Boost: 60 dB 1\" (60 tenths of a dB, with the limiter)";
    if (parseBoostParameters(parameters).fieldCount == 0) {
        return std::string("a boost needs its level first, a whole number in tenths of a dB") + example;
    }
    return std::string(
               "after a boost's level, in whole tenths of a dB, \"dB\" and a second whole number must follow") +
           example;
}

void diagnoseMaximizer(LineDiagnosis& diagnosis, const std::wstring& parameters) {
    diagnosis.maximizer = parseMaximizerParameters(parameters);
    const auto [written, writtenCeiling] = *diagnosis.maximizer;
    const auto level = std::clamp(written, -maxMaximizerTenths, maxMaximizerTenths);
    const auto ceiling = std::clamp(writtenCeiling, minCeilingTenths, 0);
    diagnosis.levelTenths = level;
    diagnosis.ceilingTenths = ceiling;
    diagnosis.explanation = describeLevel(written, level) + (level == written ? "" : ",") +
                            " with a clean limiter at " +
                            (ceiling == 0 ? "full scale" : formatDecibels(ceiling / 10.0));
}

std::string explainMaximizerMismatch(const std::wstring& /*parameters*/) {
    return "a maximizer needs its level, a whole number in tenths of a dB, with \"dB\" and at most a second whole "
           "number, its ceiling, after it, as in \"Maximizer: 60 dB -10\"";
}

/// Whether the design is not finite, as with a gain without bounds. The effect leaves such an equalizer inert.
/// Asks the design itself, at a common rate: which curves have no response barely depends on the rate.
bool hasNoResponse(const std::vector<ResponsePoint>& points) {
    constexpr float commonRateHz = 48000.0F;
    return !designImpulseResponse({points, equalizerTapCount, commonRateHz});
}

std::string describeEqualizer(const std::vector<ResponsePoint>& points) {
    if (points.empty()) {
        return "equalizer without points: flat";
    }
    if (hasNoResponse(points)) {
        return "equalizer without effect: no response can be drawn through its points";
    }
    return "equalizer of " + counted(points.size(), "point") + (points.size() == 1 ? ": a flat gain" : "");
}

void diagnoseEqualizer(LineDiagnosis& diagnosis, const std::wstring& parameters) {
    diagnosis.equalizer = parseResponsePoints(parameters);
    diagnosis.explanation = describeEqualizer(*diagnosis.equalizer);
}

/// What is known about the lines of one filter.
struct FilterLines {
    std::wstring_view name;
    /// Stores the parameters of a line that builds the filter, and says what it does.
    void (*diagnose)(LineDiagnosis& diagnosis, const std::wstring& parameters);
    /// Says why a line with these parameters builds nothing; null where any will do.
    std::string (*explainMismatch)(const std::wstring& parameters);
};

constexpr std::array filters{
    FilterLines{settings::boost.wide(), diagnoseBoost, explainBoostMismatch},
    FilterLines{settings::equalizer.wide(), diagnoseEqualizer, nullptr},
    FilterLines{settings::maximizer.wide(), diagnoseMaximizer, explainMaximizerMismatch},
};

std::vector<std::wstring_view> filterNames() {
    std::vector<std::wstring_view> names;
    std::transform(filters.begin(), filters.end(), std::back_inserter(names), [](const auto& f) { return f.name; });
    return names;
}

/// "A", "B" and "C".
std::string listed(const std::vector<std::wstring_view>& names) {
    std::string list;
    for (std::size_t i = 0; i < names.size(); ++i) {
        list += (i == 0 ? "" : i + 1 < names.size() ? ", " : " and ") + ('"' + encodeUtf8(names[i]) + '"');
    }
    return list;
}

/// Case apart, the number of letters to insert, remove or replace (Levenshtein distance).
std::size_t editDistance(std::wstring_view a, std::wstring_view b) {
    const auto lower = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c; };
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
            diagonal = std::exchange(row[j + 1], std::min({replaced, row[j] + 1, row[j + 1] + 1}));
        }
    }
    return row.back();
}

std::string explainUnknownName(std::wstring_view name) {
    if (name.empty()) {
        return "there is no name before the colon";
    }
    auto names = filterNames();
    const std::string filterList = listed(names);
    names.push_back(settings::enableOldApo.wide());
    const auto nearest = *std::min_element(
        names.begin(), names.end(), [&](auto a, auto b) { return editDistance(name, a) < editDistance(name, b); });
    return "there is no filter named \"" + encodeUtf8(name) + "\"" +
           (editDistance(name, nearest) <= largestTypoDistance ? " (did you mean \"" + encodeUtf8(nearest) + "\"?)"
                                                               : "; there are " + filterList);
}

void diagnoseFilterLine(LineDiagnosis& diagnosis, const SettingsLine& line, bool builds) {
    const auto* const pFilter =
        std::find_if(filters.begin(), filters.end(), [&](const auto& f) { return f.name == line.key; });
    const bool isKnown = pFilter != filters.end();
    if (builds) {
        diagnosis.outcome = LineOutcome::buildsFilter;
        if (isKnown) {
            pFilter->diagnose(diagnosis, line.value);
        }
    } else if (isKnown && pFilter->explainMismatch != nullptr) {
        diagnosis.outcome = LineOutcome::wrongParameters;
        diagnosis.explanation = pFilter->explainMismatch(line.value);
    } else {
        diagnosis.outcome = LineOutcome::unknownName;
        diagnosis.explanation = explainUnknownName(line.key);
    }
}

LineDiagnosis diagnoseLine(const Factories& factories, std::string_view bytes, AnsiDecoder decodeAnsi) {
    LineDiagnosis diagnosis{.line = bytes};
    const std::wstring text = decodeSettingsLine(bytes, decodeAnsi);
    const auto line = parseSettingsLine(text);
    if (const auto previousEffect = line ? previousEffectSetting(*line) : std::nullopt) {
        diagnosis.outcome = *previousEffect ? LineOutcome::previousEffectOn : LineOutcome::previousEffectOff;
        diagnosis.explanation =
            *previousEffect ? "the device's previous effect runs first" : "no previous effect runs";
        return diagnosis;
    }
    const bool builds = line && buildsFilter(factories, *line, text);
    if (!builds && text.starts_with(L'#')) {
        diagnosis.outcome = LineOutcome::switchedOff;
        diagnosis.explanation = "switched off";
    } else if (line) {
        diagnoseFilterLine(diagnosis, *line, builds);
    } else if (text.find_first_not_of(L" \t\r") == std::wstring::npos) {
        diagnosis.explanation = "empty";
    } else {
        diagnosis.outcome = LineOutcome::noColon;
        diagnosis.explanation = "there is no colon after the name, as in \"Boost: 60 dB 1\"";
    }
    return diagnosis;
}

} // namespace

std::vector<LineDiagnosis> diagnoseSettings(std::string_view text, AnsiDecoder decodeAnsi) {
    const Factories factories = makeFilterFactories();
    for (const auto& factory : factories) {
        factory->configure({});
        factory->beginBuild();
    }
    std::vector<LineDiagnosis> diagnoses;
    for (const auto line : splitSettingsLines(text)) {
        diagnoses.push_back(diagnoseLine(factories, line, decodeAnsi));
    }
    return diagnoses;
}

} // namespace tovix
