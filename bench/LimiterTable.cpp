#include "LimiterTable.h"

#include <algorithm>
#include <cstdio>
#include <functional>

namespace tovix::bench {
namespace {

/// A row of the table; the bar is the maximizer's.
struct Figure {
    const char* what;
    std::function<double(Contestant&)> measure;
    std::optional<double> least;
    std::optional<double> most;
};

double worstExcess(Contestant& contestant) {
    double worst = 0.0;
    for (const auto& [name, take] : contestant.takes) {
        worst = std::max(worst, excessOf(take));
    }
    return worst;
}

std::vector<Figure> figures() {
    constexpr double percent = 100.0;
    /// Of two samples to floats, in percent.
    constexpr double rounding = 2e-5;
    const auto distortion = [](const char* name, std::vector<double> hz) {
        return [=](Contestant& c) { return percent * distortionOf(c.takes[name], hz); };
    };
    return {
        {"THD+N, 31 Hz 8.9 dB over, %", distortion("sine31", {31}), {}, 0.02},
        {"THD+N, 50 Hz 8.9 dB over, %", distortion("sine50", {50}), {}, 0.02},
        {"THD+N, 120 Hz 8.9 dB over, %", distortion("sine120", {120}), {}, 0.02},
        {"THD+N, 1 kHz 8.9 dB over, %", distortion("sine1000", {1000}), {}, 0.02},
        {"distortion of five tones, +12 dB, %", distortion("tones", {60, 250, 900, 2500, 7000}), {}, 0.5},
        {"modulation of 3 kHz by 50 Hz, +12 dB, %",
         [](Contestant& c) { return percent * modulationOf(c.takes["voices"]); },
         {},
         0.02},
        {"highest sample over the ceiling, millionths", [](Contestant& c) { return 1e6 * worstExcess(c); }, {}, 0.2},
        {"gain 250 ms after a burst 12 dB over, dB",
         [](Contestant& c) { return recoveryDbOf(c.takes["burst"]); },
         -1.5,
         {}},
        {"furthest fall of the gain on its way back, dB",
         [](Contestant& c) { return relapseDbOf(c.takes["burst"]); },
         {},
         1e-4},
        {"step beyond the input's own times the larger gain, where limiting begins, %",
         [](Contestant& c) { return percent * extraStepOf(c.takes["onset"], onsetFrame); },
         {},
         rounding},
        {"the same after silence, %",
         [](Contestant& c) { return percent * extraStepOf(c.takes["onset"], silenceEndFrame); },
         {},
         rounding},
        // Without a delay nothing can turn the other channel down before the peak is there.
        {"the same in a quiet left channel at a peak 12 dB over in the right one, %",
         [](Contestant& c) { return percent * extraStepOf(c.takes["linked"], burstFrame); },
         {},
         {}},
        {"demo programme +6 dB, LUFS", [](Contestant& c) { return loudnessOf(c.takes["demo6"]); }, {}, {}},
        {"demo programme +12 dB, LUFS", [](Contestant& c) { return loudnessOf(c.takes["demo12"]); }, {}, {}},
        {"delay, ms",
         [](Contestant& c) { return 1000.0 * static_cast<double>(c.delayFrames) / soundRateHz; },
         {},
         0.0},
    };
}

std::string barOf(const Figure& figure) {
    char text[32] = "";
    if (figure.least || figure.most) {
        std::snprintf(text, sizeof text, "%s %g", figure.least ? "≥" : "≤",
                      figure.least ? *figure.least : *figure.most);
    }
    return text;
}

} // namespace

const char* Outcome::judge(double value, std::optional<double> least, std::optional<double> most) {
    if (!least && !most) {
        return "";
    }
    const bool isMet = (!least || value >= *least) && (!most || value <= *most);
    ++(isMet ? met : missed);
    return isMet ? "met" : "**missed**";
}

void printLimiterTable(std::vector<Contestant>& contestants, std::size_t judged, Outcome& outcome) {
    std::printf("| |");
    for (const Contestant& contestant : contestants) {
        std::printf(" %s |", contestant.title.c_str());
    }
    std::printf(" bar of `--clean` | |\n|---|");
    for (std::size_t i = 0; i < contestants.size(); ++i) {
        std::printf("---:|");
    }
    std::printf("---:|---|\n");
    for (const Figure& figure : figures()) {
        std::printf("| %s |", figure.what);
        const char* verdict = "";
        for (Contestant& contestant : contestants) {
            if (contestant.takes.empty()) {
                std::printf(" not available |");
                continue;
            }
            const double value = figure.measure(contestant);
            std::printf(" %.3g |", value);
            if (&contestant == &contestants[judged]) {
                verdict = outcome.judge(value, figure.least, figure.most);
            }
        }
        std::printf(" %s | %s |\n", barOf(figure).c_str(), verdict);
    }
}

} // namespace tovix::bench
