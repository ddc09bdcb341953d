#include "SettingsChanges.h"

#include "Numbers.h"
#include "Refusal.h"
#include "SettingsEdit.h"
#include "SettingsRules.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace tovix::control {
namespace {

std::string lengthOf(std::string_view text) {
    return std::to_string(text.size()) + " bytes, " + std::to_string(text.size() - largestTextBytes) +
           " more than the " + std::to_string(largestTextBytes) + " that the block holds";
}

void requireFits(std::string_view text) {
    if (text.size() > largestTextBytes) {
        throw Refusal("The settings text would have " + lengthOf(text) + ".");
    }
}

void noteReplaced(Change& change, std::string_view name, std::size_t gone) {
    if (gone > 1) {
        change.notes.push_back("There were " + std::to_string(gone) + " lines named \"" + std::string(name) +
                               "\"; one took their place.");
    }
}

void addHint(Change& change) {
    if (auto hint = headroomHint(change.text); !hint.empty()) {
        change.notes.push_back(std::move(hint));
    }
}

std::string withEqualizer(SettingsEdit edit, const Points& points) {
    edit.replace(equalizerName, {equalizerLine(points)}, boostName);
    return edit.text();
}

/// The curve as it goes into the text; none where it goes as it is.
std::optional<ThinnedCurve> thin(const SettingsEdit& edit, const WantedCurve& curve,
                                 std::optional<std::size_t> fitPoints) {
    const bool fitsBytes = withEqualizer(edit, curve.points).size() <= largestTextBytes;
    if (fitPoints ? curve.points.size() <= *fitPoints : fitsBytes) {
        return std::nullopt;
    }
    const auto toRoom = [&edit](const Points& points) {
        return withEqualizer(edit, points).size() <= largestTextBytes;
    };
    const auto toNumber = [&](const Points& points) {
        return points.size() <= *fitPoints && (!curve.computed || toRoom(points));
    };
    auto thinned = fitPoints ? thinCurve(curve.points, toNumber) : thinCurve(curve.points, toRoom);
    if (!thinned) {
        throw Refusal("The other lines leave no room for a curve.");
    }
    if (fitPoints || curve.computed) {
        thinned->deviationDb = deviationDb(curve.exact, thinned->points);
        return thinned;
    }
    throw Refusal("With all " + std::to_string(curve.points.size()) + " points the settings text would have " +
                  lengthOf(withEqualizer(edit, curve.points)) + "; --fit " + std::to_string(thinned->points.size()) +
                  " thins them to as many as there is room for, which changes the curve by up to " +
                  formatDecimal(std::round(thinned->deviationDb * 100.0) / 100.0) + " dB.");
}

} // namespace

Change changeBoost(std::string_view block, std::string_view level, bool withLimiter) {
    const auto boost = readBoostLevel(level);
    SettingsEdit edit(block);
    Change change;
    noteReplaced(change, boostName, edit.replace(boostName, {boostLine(boost.tenths, withLimiter)}));
    change.text = edit.text();
    requireFits(change.text);
    if (boost.rounded) {
        change.notes.push_back("The level is rounded to " + formatDecibels(boost.tenths / 10.0) +
                               ", since the settings hold tenths of a dB.");
    }
    return change;
}

Change changeEqualizer(std::string_view block, const WantedCurve& curve, std::optional<std::size_t> fitPoints) {
    checkPoints(curve.points);
    SettingsEdit edit(block);
    Change change;
    change.thinned = thin(edit, curve, fitPoints);
    const Points& points = change.thinned ? change.thinned->points : curve.points;
    noteReplaced(change, equalizerName, edit.replace(equalizerName, {equalizerLine(points)}, boostName));
    change.text = edit.text();
    requireFits(change.text);
    addHint(change);
    return change;
}

Change switchLines(std::string_view block, std::string_view name, bool on) {
    SettingsEdit edit(block);
    Change change;
    const auto changed = on ? edit.switchOn(name) : edit.switchOff(name);
    change.text = edit.text();
    const std::string line = edit.find(name);
    if (on && line.empty()) {
        throw Refusal("There is no line named \"" + std::string(name) + "\" to switch on; give its value instead.");
    }
    if (changed == 0) {
        change.notes.push_back(line.empty() ? "There is no line named \"" + std::string(name) + "\"."
                                            : "\"" + line + "\" stood so already.");
    }
    requireFits(change.text);
    if (on) {
        checkLine(line);
        addHint(change);
    }
    return change;
}

Change changeOldApo(std::string_view block, bool on) {
    SettingsEdit edit(block);
    Change change;
    noteReplaced(change, oldApoName, edit.replace(oldApoName, {(on ? "" : "#") + std::string(oldApoName) + ":"}));
    change.text = edit.text();
    requireFits(change.text);
    return change;
}

Change setLines(std::string_view block, const std::vector<std::string>& lines, bool replaceAll) {
    SettingsEdit edit(replaceAll ? std::string_view() : block);
    Change change;
    std::vector<std::string_view> done;
    for (const auto& line : lines) {
        const auto name = lineName(line);
        if (!name.empty() && std::find(done.begin(), done.end(), name) != done.end()) {
            continue;
        }
        done.push_back(name);
        std::vector<std::string> sameName;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(sameName), [&](const std::string& other) {
            return &other == &line || (!name.empty() && lineName(other) == name);
        });
        edit.replace(name, sameName);
    }
    change.text = edit.text();
    requireFits(change.text);
    std::for_each(lines.begin(), lines.end(), checkLine);
    addHint(change);
    return change;
}

} // namespace tovix::control
