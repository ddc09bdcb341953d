#include "settings/SettingsRules.h"

#include "chain/ChainBuilder.h"
#include "curves/CurveReader.h"
#include "curves/Numbers.h"
#include "curves/Refusal.h"
#include "settings/SettingsDiagnosis.h"
#include "text/Limits.h"
#include "text/SettingsNames.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace tovix {
namespace {

std::string withoutBlanks(std::string_view text) {
    std::string kept;
    for (const auto part : splitAtAny(text, " \t")) {
        kept += part;
    }
    return kept;
}

void checkWithin(const std::string& line, const char* what, std::int32_t tenths, std::int32_t least,
                 std::int32_t most) {
    if (tenths < least || tenths > most) {
        throw Refusal("The " + std::string(what) + " of \"" + line + "\" counts tenths of a dB and lies outside of " +
                      std::to_string(least) + " to " + std::to_string(most) + " (" + formatDecibels(least / 10.0) +
                      " to " + formatDecibels(most / 10.0) + ").");
    }
}

void checkMeaning(const std::string& line, const std::string& meant) {
    if (withoutBlanks(line) != withoutBlanks(meant)) {
        throw Refusal("The effect reads \"" + line + "\" as \"" + meant + "\"; write that if it is what you mean.");
    }
}

void checkBoost(const std::string& line, const BoostParameters& boost) {
    checkWithin(line, "level", boost.level, 0, maxBoostTenths);
    if (boost.mode != 0 && boost.mode != 1) {
        throw Refusal("The last number of \"" + line + "\" is 0 for a plain boost or 1 for one with the limiter.");
    }
    checkMeaning(line, boostLine(boost.level, boost.mode == 1));
}

void checkMaximizer(const std::string& line, const MaximizerParameters& maximizer) {
    checkWithin(line, "level", maximizer.level, -maxMaximizerTenths, maxMaximizerTenths);
    checkWithin(line, "ceiling", maximizer.ceiling, minCeilingTenths, 0);
    // A ceiling of full scale may be written or not.
    const auto meant = maximizerLine(maximizer.level, maximizer.ceiling);
    if (maximizer.ceiling != 0 || withoutBlanks(line) != withoutBlanks(meant) + "0") {
        checkMeaning(line, meant);
    }
}

bool samePoints(const Points& a, const Points& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const ResponsePoint& p, const ResponsePoint& q) {
        return p.frequencyHz == q.frequencyHz && p.gainDb == q.gainDb;
    });
}

void checkEqualizer(const std::string& line, const Points& read) {
    const auto points = readPointList(std::string_view(line).substr(line.find(':') + 1)).points;
    checkPoints(points);
    if (!samePoints(points, read)) {
        throw Refusal("The effect reads \"" + line + "\" as \"" + equalizerLine(read) +
                      "\"; write that if it is what you mean.");
    }
}

RtPtr<FilterChain> statedChain(std::string_view text) {
    ChainBuilder builder(decodeLatin1);
    builder.configure(statedFormat, {});
    return builder.build(text).chain;
}

/// Never too little, so that what is above a limit does not read like it.
std::string percent(double share) {
    constexpr double beyondAll = 1e6;
    constexpr double binaryError = 1e-6;
    return std::to_string(std::lround(std::ceil(std::min(100.0 * share, beyondAll) - binaryError))) + " %";
}

} // namespace

BoostLevel readBoostLevel(std::string_view text) {
    auto number = trimmed(text);
    if (number.ends_with("dB")) {
        number = trimmed(number.substr(0, number.size() - 2));
    }
    const double db = requireDecimal(number, "the level");
    if (db < 0.0) {
        throw Refusal("A boost of " + formatDecimal(db) + " dB would lower the level; it lies between 0 and " +
                      formatDecimal(maxBoostDb) + " dB.");
    }
    if (db > maxBoostDb) {
        throw Refusal("A boost of " + formatDecimal(db) + " dB is beyond the most there is, " +
                      formatDecimal(maxBoostDb) + " dB.");
    }
    const double tenths = db * 10.0;
    const auto level = static_cast<std::int32_t>(std::lround(tenths));
    constexpr double binaryError = 1e-6;
    return {level, std::abs(tenths - level) > binaryError};
}

void checkLine(const std::string& line) {
    if (std::any_of(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; })) {
        throw Refusal(
            "A settings line cannot hold control characters or line ends; give each line as its own argument.");
    }
    for (const auto& diagnosis : diagnoseSettings(line, decodeLatin1)) {
        if (isMistake(diagnosis.outcome)) {
            throw Refusal("\"" + line + "\" would do nothing: " + diagnosis.explanation + ".");
        }
        if (diagnosis.boost) {
            checkBoost(line, *diagnosis.boost);
        }
        if (diagnosis.maximizer) {
            checkMaximizer(line, *diagnosis.maximizer);
        }
        if (diagnosis.equalizer) {
            checkEqualizer(line, *diagnosis.equalizer);
        }
    }
}

std::int64_t steadyNanoseconds() noexcept {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

void checkCost(std::string_view text, std::string_view before, NanosecondClock clock) {
    const auto chain = statedChain(text);
    const auto cost = chain ? measureCost(*chain, statedFormat, clock) : std::nullopt;
    if (!cost || cost->fits()) {
        return;
    }
    const auto chainBefore = statedChain(before);
    if (chainBefore && chain->stageCount() < chainBefore->stageCount()) {
        return;
    }
    throw Refusal("On this machine the settings would take " + percent(cost->share()) +
                  " of each block's time with " + std::to_string(statedFormat.inputChannels) + " channels, " +
                  formatDecimal(static_cast<double>(statedFormat.sampleRateHz) / 1000.0) + " kHz and blocks of " +
                  std::to_string(statedFormat.maxFrames) + " frames; the effect uses none that take more than " +
                  percent(maxBlockShare) + " of its own.");
}

std::string boostLine(std::int32_t tenths, bool withLimiter) {
    return std::string(settings::boost.narrow()) + ": " + std::to_string(tenths) + " dB " + (withLimiter ? "1" : "0");
}

std::string maximizerLine(std::int32_t tenths, std::int32_t ceilingTenths) {
    return std::string(settings::maximizer.narrow()) + ": " + std::to_string(tenths) + " dB" +
           (ceilingTenths == 0 ? "" : " " + std::to_string(ceilingTenths));
}

std::string equalizerLine(const Points& points) {
    std::string line = std::string(settings::equalizer.narrow()) + ":";
    for (const auto& point : points) {
        line += " " + formatDecimal(point.frequencyHz) + " " + formatDecimal(point.gainDb);
    }
    return line;
}

std::string headroomHint(std::string_view text) {
    double highestDb = 0.0;
    bool limitedAfter = false;
    for (const auto& diagnosis : diagnoseSettings(text, decodeLatin1)) {
        if (diagnosis.equalizer) {
            for (const auto& point : *diagnosis.equalizer) {
                highestDb = std::max(highestDb, point.gainDb);
            }
            limitedAfter = false;
        } else if (diagnosis.boost || diagnosis.maximizer) {
            limitedAfter = diagnosis.maximizer || diagnosis.boost->mode == 1;
        }
    }
    if (highestDb <= 0.0 || limitedAfter) {
        return {};
    }
    return "The curve rises to " + formatDecibels(highestDb) +
           " and nothing limits what comes after it, so loud "
           "passages can clip: lower the curve by as much, or let a boost with --clean or --limit follow it.";
}

} // namespace tovix
