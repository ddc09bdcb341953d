#include "settings/SettingsReport.h"

#include "settings/SettingsDiagnosis.h"
#include "text/Utf.h"

#include <nlohmann/json.hpp>

namespace tovix {
namespace {

using Json = nlohmann::ordered_json;

const char* outcomeName(LineOutcome outcome) {
    switch (outcome) {
    case LineOutcome::buildsFilter:
        return "filter";
    case LineOutcome::previousEffectOn:
        return "previousEffectOn";
    case LineOutcome::previousEffectOff:
        return "previousEffectOff";
    case LineOutcome::switchedOff:
        return "switchedOff";
    case LineOutcome::blank:
        return "blank";
    case LineOutcome::noColon:
        return "noColon";
    case LineOutcome::unknownName:
        return "unknownName";
    case LineOutcome::wrongParameters:
        return "wrongParameters";
    }
    return "";
}

Json pointsData(const std::vector<ResponsePoint>& points) {
    Json data = Json::array();
    for (const auto& point : points) {
        data.push_back({{"frequencyHz", point.frequencyHz}, {"gainDb", point.gainDb}});
    }
    return data;
}

Json lineData(const LineDiagnosis& diagnosis) {
    Json data{{"line", utf8Text(diagnosis.line)},
              {"outcome", outcomeName(diagnosis.outcome)},
              {"explanation", utf8Text(diagnosis.explanation)}};
    if (diagnosis.boost) {
        data["boost"] = {{"levelDb", diagnosis.levelTenths / 10.0}, {"limiter", diagnosis.boost->mode == 1}};
    }
    if (diagnosis.maximizer) {
        data["maximizer"] = {{"levelDb", diagnosis.levelTenths / 10.0},
                             {"ceilingDb", diagnosis.ceilingTenths / 10.0}};
    }
    if (diagnosis.equalizer) {
        data["points"] = pointsData(*diagnosis.equalizer);
    }
    return data;
}

} // namespace

std::string utf8Text(std::string_view bytes) {
    return encodeUtf8(decodeSettingsLine(bytes, decodeLatin1));
}

std::string printable(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string shown;
    bool afterC2 = false;
    for (const char c : utf8Text(text)) {
        const auto byte = static_cast<unsigned char>(c);
        // U+0080 to U+009F control a terminal too; in UTF-8 they are 0xC2 and their own number.
        const bool isUpperControl = afterC2 && byte <= 0x9F;
        if (isUpperControl) {
            shown.pop_back();
        }
        if (byte < 0x20 || byte == 0x7F || isUpperControl) {
            shown += std::string("\\x") + digits[byte >> 4U] + digits[byte & 15U];
        } else {
            shown += c;
        }
        afterC2 = byte == 0xC2;
    }
    return shown;
}

std::string describeLines(std::string_view text) {
    std::string described;
    for (const auto& diagnosis : diagnoseSettings(text, decodeLatin1)) {
        described += "  " + printable(diagnosis.line) +
                     (isMistake(diagnosis.outcome) ? "   -> ignored: " : "   -> ") +
                     printable(diagnosis.explanation) + "\n";
    }
    return described.empty() ? "  (no lines)\n" : described;
}

std::string summarizeLines(std::string_view text) {
    std::string summary;
    for (const auto& diagnosis : diagnoseSettings(text, decodeLatin1)) {
        if (diagnosis.outcome == LineOutcome::buildsFilter || diagnosis.outcome == LineOutcome::previousEffectOn) {
            summary += (summary.empty() ? "" : "; ") + printable(diagnosis.explanation);
        }
    }
    return summary.empty() ? "nothing" : summary;
}

Json settingsData(std::string_view text) {
    Json lines = Json::array();
    for (const auto& diagnosis : diagnoseSettings(text, decodeLatin1)) {
        lines.push_back(lineData(diagnosis));
    }
    return {{"text", utf8Text(text)}, {"bytes", text.size()}, {"lines", lines}};
}

} // namespace tovix
