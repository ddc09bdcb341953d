#include "settings/SettingsChanges.h"

#include "curves/Numbers.h"
#include "curves/Refusal.h"
#include "settings/SettingsDiagnosis.h"
#include "settings/SettingsEdit.h"
#include "settings/SettingsRules.h"
#include "text/Limits.h"
#include "text/SettingsNames.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace tovix {
namespace {

std::string lengthOf(std::string_view text) {
    return std::to_string(text.size()) + " bytes, " + std::to_string(text.size() - longestSettingsTextBytes) +
           " more than the " + std::to_string(longestSettingsTextBytes) + " that the settings page holds";
}

void requireFits(std::string_view text) {
    if (text.size() > longestSettingsTextBytes) {
        throw Refusal("The settings text would have " + lengthOf(text) + ".");
    }
}

constexpr SettingsEdit::Names boostNames{settings::boost.narrow(), settings::maximizer.narrow()};
constexpr SettingsEdit::Names equalizerNames{settings::equalizer.narrow()};

std::string quoted(SettingsEdit::Names names) {
    std::string list;
    for (const auto name : names) {
        list += (list.empty() ? "\"" : " or \"") + std::string(name) + "\"";
    }
    return list;
}

/// Puts `line` in place of the lines of these names, and says so where it took the place of several.
void replaceBy(const std::string& line, SettingsEdit& edit, SettingsEdit::Names names, SettingsEdit::Names before,
               ChangedSettings& change) {
    const std::size_t gone = edit.replace(names, {line}, before);
    if (gone > 1) {
        change.notes.push_back("There were " + std::to_string(gone) + " lines named " + quoted(names) +
                               "; one took their place.");
    }
    change.text = edit.text();
    requireFits(change.text);
}

void addHint(ChangedSettings& change) {
    if (auto hint = headroomHint(change.text); !hint.empty()) {
        change.notes.push_back(std::move(hint));
    }
}

std::string withEqualizer(SettingsEdit edit, const Points& points) {
    edit.replace(equalizerNames, {equalizerLine(points)}, boostNames);
    return edit.text();
}

bool hasRoom(const SettingsEdit& edit, const Points& points) {
    return withEqualizer(edit, points).size() <= longestSettingsTextBytes;
}

std::optional<ThinnedCurve> thinToNumber(const Points& points, std::size_t most) {
    return thinCurve(points, [most](const Points& kept) { return kept.size() <= most; });
}

/// Refuses `points`, for which there is no room, and offers the largest number that --fit can be given.
[[noreturn]] void refuseForRoom(const SettingsEdit& edit, const WantedCurve& curve, const Points& points) {
    const auto roomiest = thinCurve(curve.points, [&edit](const Points& kept) { return hasRoom(edit, kept); });
    // As many points, chosen for their number alone, may be longer by a few digits.
    for (std::size_t most = roomiest ? roomiest->points.size() : 0; most > 0; --most) {
        const auto offered = thinToNumber(curve.points, most);
        if (offered && hasRoom(edit, offered->points)) {
            throw Refusal((points.size() == curve.points.size() ? "With all " : "With ") +
                          std::to_string(points.size()) + " points the settings text would have " +
                          lengthOf(withEqualizer(edit, points)) + "; --fit " + std::to_string(most) +
                          " thins them to as many as there is room for, which changes the curve by up to " +
                          formatDecimal(std::round(offered->deviationDb * 100.0) / 100.0) + " dB.");
        }
    }
    throw Refusal("The other lines leave no room for a curve.");
}

/// The curve as it goes into the text; none where it goes as it is.
std::optional<ThinnedCurve> thin(const SettingsEdit& edit, const WantedCurve& curve,
                                 std::optional<std::size_t> fitPoints) {
    const std::size_t most = fitPoints.value_or(curve.points.size());
    const bool fewEnough = curve.points.size() <= most;
    if (fewEnough && hasRoom(edit, curve.points)) {
        return std::nullopt;
    }
    if (curve.computed) {
        auto thinned = thinCurve(
            curve.points, [&edit, most](const Points& kept) { return kept.size() <= most && hasRoom(edit, kept); });
        if (!thinned) {
            throw Refusal("The other lines leave no room for a curve.");
        }
        thinned->deviationDb = deviationDb(curve.exact, thinned->points);
        return thinned;
    }
    auto thinned = fewEnough ? std::nullopt : thinToNumber(curve.points, most);
    const Points& points = thinned ? thinned->points : curve.points;
    if (!hasRoom(edit, points)) {
        refuseForRoom(edit, curve, points);
    }
    return thinned;
}

ChangedSettings switchLines(std::string_view text, SettingsEdit::Names names, bool on) {
    SettingsEdit edit(text);
    ChangedSettings change;
    const auto changed = on ? edit.switchOn(names) : edit.switchOff(names);
    change.text = edit.text();
    const auto lines = edit.find(names);
    if (on && lines.empty()) {
        throw Refusal("There is no line named " + quoted(names) + " to switch on; give its value instead.");
    }
    if (changed == 0) {
        change.notes.push_back(lines.empty() ? "There is no line named " + quoted(names) + "."
                                             : "\"" + lines.front() + "\" stood so already.");
    }
    requireFits(change.text);
    if (on) {
        if (lines.size() > 1) {
            change.notes.push_back("There are " + std::to_string(lines.size()) + " lines named " + quoted(names) +
                                   ", all of them on: the sound passes through one after the other.");
        }
        std::for_each(lines.begin(), lines.end(), checkLine);
        addHint(change);
    }
    return change;
}

/// Of the first maximizer among the lines of a boost, switched on or off, in tenths of a dB; full scale without one.
std::int32_t ceilingOf(const SettingsEdit& edit) {
    for (std::string_view line : edit.find({settings::maximizer.narrow()})) {
        if (line.starts_with(settings::offMark)) {
            line.remove_prefix(1);
        }
        const auto diagnosis = diagnoseSettings(line, decodeLatin1).front();
        if (diagnosis.maximizer) {
            return diagnosis.ceilingTenths;
        }
    }
    return 0;
}

} // namespace

ChangedSettings changeBoost(std::string_view text, std::string_view level, BoostKind kind) {
    const auto boost = readBoostLevel(level);
    SettingsEdit edit(text);
    ChangedSettings change;
    const bool clean = kind == BoostKind::clean;
    const auto ceiling = clean ? ceilingOf(edit) : 0;
    replaceBy(clean ? maximizerLine(boost.tenths, ceiling) : boostLine(boost.tenths, kind == BoostKind::limited),
              edit, boostNames, {}, change);
    if (ceiling != 0) {
        change.notes.push_back("The ceiling stays at " + formatDecibels(ceiling / 10.0) + ".");
    }
    if (boost.rounded) {
        change.notes.push_back("The level is rounded to " + formatDecibels(boost.tenths / 10.0) +
                               ", since the settings hold tenths of a dB.");
    }
    return change;
}

ChangedSettings changeEqualizer(std::string_view text, const WantedCurve& curve,
                                std::optional<std::size_t> fitPoints) {
    checkPoints(curve.points);
    SettingsEdit edit(text);
    ChangedSettings change;
    change.thinned = thin(edit, curve, fitPoints);
    const Points& points = change.thinned ? change.thinned->points : curve.points;
    replaceBy(equalizerLine(points), edit, equalizerNames, boostNames, change);
    addHint(change);
    return change;
}

ChangedSettings switchBoost(std::string_view text, bool on) {
    return switchLines(text, boostNames, on);
}

ChangedSettings switchEqualizer(std::string_view text, bool on) {
    return switchLines(text, equalizerNames, on);
}

ChangedSettings changePreviousEffect(std::string_view text, bool on) {
    SettingsEdit edit(text);
    ChangedSettings change;
    constexpr auto name = settings::enableOldApo.narrow();
    replaceBy((on ? "" : "#") + std::string(name) + ":", edit, {name}, {}, change);
    if (on) {
        change.notes.emplace_back("A stream that plays already takes the previous effect up at once where it had it "
                                  "before, else with the next stream.");
    }
    return change;
}

ChangedSettings setLines(std::string_view text, const std::vector<std::string>& lines, bool replaceAll) {
    SettingsEdit edit(replaceAll ? std::string_view() : text);
    edit.put(lines);
    ChangedSettings change;
    change.text = edit.text();
    requireFits(change.text);
    std::for_each(lines.begin(), lines.end(), checkLine);
    addHint(change);
    return change;
}

ChangedSettings takeText(std::string_view text) {
    requireFits(text);
    ChangedSettings change{.text = std::string(text), .notes = {}, .thinned = {}};
    std::istringstream lines(change.text);
    for (std::string line; std::getline(lines, line);) {
        checkLine(line);
    }
    addHint(change);
    return change;
}

} // namespace tovix
