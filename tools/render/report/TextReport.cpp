#include "render/report/TextReport.h"

#include "chain/ChannelNames.h"
#include "curves/Numbers.h"
#include "text/Utf.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <ostream>

namespace tovix::render {
namespace {

constexpr int labelWidth = 12;

std::ostream& label(std::ostream& out, const char* text) {
    return out << "  " << std::left << std::setw(labelWidth) << text;
}

void writeSound(std::ostream& out, const Report& report) {
    const auto& source = report.source;
    label(out, "input") << source.name << " (" << source.kind << ")\n";
    label(out, "output") << report.outputName << " (" << report.outputKind << ")\n";
    label(out, "sound") << formatFixed(report.soundSeconds(), 2) << " s, " << source.sampleRateHz << " Hz, "
                        << counted(source.channels, "channel");
    constexpr std::uint32_t mostNames = 18;
    if (source.channels <= mostNames) {
        out << " (" << encodeUtf8(channelDescription(channelNames(source.channels, source.channelMask))) << ')';
    }
    if (report.format.outputChannels != source.channels) {
        out << ", " << report.format.outputChannels << " in the output";
    }
    out << '\n';
    label(out, "block") << counted(report.format.blockFrames, "frame") << " ("
                        << formatFixed(1000.0 * report.format.blockFrames / report.format.sampleRateHz, 2)
                        << " ms)\n";
}

void writeEffect(std::ostream& out, const Report& report) {
    label(out, "effect") << report.effect;
    if (report.format.inputChannels != report.source.channels) {
        out << "; takes the first " << report.format.inputChannels << " of the "
            << counted(report.source.channels, "channel");
    }
    out << '\n';
}

void writeLines(std::ostream& out, const char* title, const Settings& settings) {
    std::size_t width = 0;
    for (const auto& line : settings.lines()) {
        width = std::max(width, line.size());
    }
    for (std::size_t i = 0; i < settings.lines().size(); ++i) {
        label(out, i == 0 ? title : "") << std::setw(static_cast<int>(width)) << settings.lines()[i] << "   "
                                        << settings.diagnoses()[i].explanation << '\n';
    }
    if (settings.lines().empty()) {
        label(out, title) << "no lines: the sound passes unchanged\n";
    }
}

void writeSettings(std::ostream& out, const SettingsPlan& plan) {
    writeLines(out, "settings", plan.initial);
    for (const auto& change : plan.changes) {
        writeLines(out, ("at " + formatDecimal(change.seconds) + " s").c_str(), change.settings);
    }
}

/// How a figure is written, and what stands for minus infinity.
struct FigureWords {
    const char* title;
    const char* unit;
    const char* nothing;
};

std::string figure(const std::optional<double>& value, const FigureWords& words) {
    return !value                  ? "not measured"
           : std::isfinite(*value) ? formatFixed(*value, 1) + ' ' + words.unit
                                   : words.nothing;
}

void writeLoudness(std::ostream& out, const FigureWords& words, const std::optional<double>& before,
                   const std::optional<double>& after) {
    label(out, words.title) << figure(before, words) << " before, " << figure(after, words) << " after";
    if (before && after && std::isfinite(*before) && std::isfinite(*after)) {
        out << " (" << (*after < *before ? "" : "+") << formatFixed(*after - *before, 1) << " dB)";
    }
    out << '\n';
}

void writeLimiter(std::ostream& out, const LimiterActivity& limiter) {
    if (limiter.isBehindPreviousEffect) {
        label(out, "limiter") << "not measured behind a previous effect\n";
    } else if (limiter.measuredFrames > 0) {
        const double share =
            100.0 * static_cast<double>(limiter.limitedFrames) / static_cast<double>(limiter.measuredFrames);
        label(out, "limiter") << "turned " << formatFixed(share, 2) << " % of the frames down, by up to "
                              << formatFixed(limiter.peakReductionDb, 2) << " dB\n";
        label(out, "") << "(per frame: level behind the limiter's line over the level before it, less its gain)\n";
    } else if (!limiter.ambiguous) {
        label(out, "limiter") << (limiter.present ? "had no sound to limit\n" : "none in the settings\n");
    }
    if (limiter.ambiguous) {
        label(out, "limiter") << "not measured while there are several lines of a boost or a maximizer\n";
    }
}

void writeSpeed(std::ostream& out, const Report& report) {
    label(out, "speed") << formatFixed(report.soundSeconds() / report.effectSeconds, 0)
                        << " x real time in the effect, " << formatFixed(report.soundSeconds() / report.runSeconds, 0)
                        << " x with reading, measuring and writing\n";
    label(out, "block time") << "mean " << formatFixed(report.meanBlockMicroseconds, 1) << " us, worst "
                             << formatFixed(report.worstBlockMicroseconds, 1) << " us (at "
                             << formatFixed(report.worstBlockAtSeconds, 2) << " s)\n";
    label(out, "set-up") << formatFixed(report.engine.firstBuildMs, 1) << " ms";
    if (report.engine.rebuildCount > 0) {
        out << ", " << counted(report.engine.rebuildCount, "change");
        if (report.engine.longestRebuildMs > 0.0) {
            out << " of " << formatFixed(report.engine.longestRebuildMs, 1) << " ms at most";
        }
    }
    out << '\n';
}

} // namespace

void writeTextReport(std::ostream& out, const Report& report) {
    out << "tovix-render\n";
    writeSound(out, report);
    writeEffect(out, report);
    writeSettings(out, report.settings);
    writeLoudness(out, {"loudness", "LUFS", "below the gate"}, report.before.integratedLufs,
                  report.after.integratedLufs);
    writeLoudness(out, {"true peak", "dBTP", "silence"}, report.before.truePeakDb, report.after.truePeakDb);
    writeLimiter(out, report.limiter);
    writeSpeed(out, report);
}

} // namespace tovix::render
