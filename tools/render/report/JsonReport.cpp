#include "render/report/Report.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <optional>
#include <ostream>

namespace tovix::render {
namespace {

using Json = nlohmann::ordered_json;

Json figure(const std::optional<double>& value) {
    return value && std::isfinite(*value) ? Json(*value) : Json(nullptr);
}

Json linesOf(const Settings& settings) {
    Json lines = Json::array();
    for (std::size_t i = 0; i < settings.lines().size(); ++i) {
        lines.push_back({{"line", settings.lines()[i]}, {"effect", settings.diagnoses()[i].explanation}});
    }
    return lines;
}

Json changesOf(const SettingsPlan& plan) {
    Json changes = Json::array();
    for (const auto& change : plan.changes) {
        changes.push_back({{"seconds", change.seconds}, {"settings", linesOf(change.settings)}});
    }
    return changes;
}

Json loudnessOf(const LoudnessFigures& figures) {
    return {{"integrated_lufs", figure(figures.integratedLufs)}, {"true_peak_dbtp", figure(figures.truePeakDb)}};
}

Json limiterOf(const LimiterActivity& limiter) {
    const bool measured = limiter.measuredFrames > 0;
    return {{"measured_frames", limiter.measuredFrames},
            {"limited_frames", limiter.limitedFrames},
            {"peak_reduction_db", figure(measured ? std::optional(limiter.peakReductionDb) : std::nullopt)},
            {"several_boost_lines", limiter.ambiguous}};
}

Json speedOf(const Report& report) {
    return {{"effect_seconds", report.effectSeconds},
            {"run_seconds", report.runSeconds},
            {"times_real_time", figure(report.soundSeconds() / report.effectSeconds)},
            {"mean_block_us", report.meanBlockMicroseconds},
            {"worst_block_us", report.worstBlockMicroseconds},
            {"worst_block_at_seconds", report.worstBlockAtSeconds},
            {"set_up_ms", report.engine.firstBuildMs},
            {"changes", report.engine.rebuildCount},
            {"longest_change_ms", report.engine.longestRebuildMs}};
}

} // namespace

void writeJsonReport(std::ostream& out, const Report& report) {
    const Json json{{"input", {{"name", report.source.name}, {"kind", report.source.kind}}},
                    {"output", {{"name", report.outputName}, {"kind", report.outputKind}}},
                    {"seconds", report.soundSeconds()},
                    {"frames", report.frames},
                    {"sample_rate_hz", report.format.sampleRateHz},
                    {"input_channels", report.source.channels},
                    {"effect_channels", report.format.inputChannels},
                    {"output_channels", report.format.outputChannels},
                    {"channel_mask", report.format.outputMask},
                    {"block_frames", report.format.blockFrames},
                    {"effect", report.effect},
                    {"settings", linesOf(report.settings.initial)},
                    {"changes", changesOf(report.settings)},
                    {"before", loudnessOf(report.before)},
                    {"after", loudnessOf(report.after)},
                    {"limiter", limiterOf(report.limiter)},
                    {"speed", speedOf(report)}};
    // A name or line that is not UTF-8 must not cost the report.
    out << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

} // namespace tovix::render
