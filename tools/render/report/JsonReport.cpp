#include "render/report/JsonReport.h"

#include "settings/SettingsReport.h"

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

Json changesOf(const SettingsPlan& plan) {
    Json changes = Json::array();
    for (const auto& change : plan.changes) {
        changes.push_back({{"seconds", change.seconds}, {"settings", settingsData(change.settings.text())}});
    }
    return changes;
}

Json loudnessOf(const LoudnessFigures& figures) {
    return {{"integratedLufs", figure(figures.integratedLufs)}, {"truePeakDbtp", figure(figures.truePeakDb)}};
}

Json limiterOf(const LimiterActivity& limiter) {
    const bool measured = limiter.measuredFrames > 0;
    return {{"measuredFrames", limiter.measuredFrames},
            {"limitedFrames", limiter.limitedFrames},
            {"peakReductionDb", figure(measured ? std::optional(limiter.peakReductionDb) : std::nullopt)},
            {"severalBoostLines", limiter.ambiguous}};
}

Json speedOf(const Report& report) {
    return {{"effectSeconds", report.effectSeconds},
            {"runSeconds", report.runSeconds},
            {"timesRealTime", figure(report.soundSeconds() / report.effectSeconds)},
            {"meanBlockUs", report.meanBlockMicroseconds},
            {"worstBlockUs", report.worstBlockMicroseconds},
            {"worstBlockAtSeconds", report.worstBlockAtSeconds},
            {"setUpMs", report.engine.firstBuildMs},
            {"changes", report.engine.rebuildCount},
            {"longestChangeMs", report.engine.longestRebuildMs}};
}

} // namespace

void writeJsonReport(std::ostream& out, const Report& report) {
    const Json json{{"input", {{"name", report.source.name}, {"kind", report.source.kind}}},
                    {"output", {{"name", report.outputName}, {"kind", report.outputKind}}},
                    {"seconds", report.soundSeconds()},
                    {"frames", report.frames},
                    {"sampleRateHz", report.format.sampleRateHz},
                    {"inputChannels", report.source.channels},
                    {"effectChannels", report.format.inputChannels},
                    {"outputChannels", report.format.outputChannels},
                    {"channelMask", report.format.outputMask},
                    {"blockFrames", report.format.blockFrames},
                    {"effect", report.effect},
                    {"settings", settingsData(report.settings.initial.text())},
                    {"changes", changesOf(report.settings)},
                    {"before", loudnessOf(report.before)},
                    {"after", loudnessOf(report.after)},
                    {"limiter", limiterOf(report.limiter)},
                    {"speed", speedOf(report)}};
    // A name or line that is not UTF-8 must not cost the report.
    out << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

} // namespace tovix::render
