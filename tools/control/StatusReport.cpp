#include "control/StatusReport.h"

#include "settings/Numbers.h"
#include "settings/SettingsDiagnosis.h"
#include "text/Utf.h"

#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

namespace tovix::control {
namespace {

constexpr std::array levelNames{"none", "fatal", "error", "warning", "info", "debug"};

const char* outcomeName(LineOutcome outcome) {
    switch (outcome) {
    case LineOutcome::buildsFilter:
        return "filter";
    case LineOutcome::oldApoOn:
        return "oldApoOn";
    case LineOutcome::oldApoOff:
        return "oldApoOff";
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

std::string_view textOf(std::string_view block) {
    return block.substr(0, block.find('\0'));
}

std::string describeHolders(const Status& status) {
    if (!status.holders) {
        return {};
    }
    return ", held by " + std::to_string(*status.holders) +
           (*status.holders == 1 ? " other handle" : " other handles");
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

std::string describeLines(std::string_view block) {
    std::string text;
    for (const auto& diagnosis : diagnoseSettings(block, decodeLatin1)) {
        text += "  " + printable(diagnosis.line) + (isMistake(diagnosis.outcome) ? "   -> ignored: " : "   -> ") +
                printable(diagnosis.explanation) + "\n";
    }
    return text.empty() ? "  (no lines)\n" : text;
}

std::string describeChange(const Change& change) {
    std::string text = describeLines(change.text);
    if (change.thinned) {
        constexpr double hundredths = 100.0;
        text += "Thinned to " + std::to_string(change.thinned->points.size()) +
                " points; the curve changes by at most " +
                formatDecimal(std::round(change.thinned->deviationDb * hundredths) / hundredths) + " dB.\n";
    }
    return text;
}

nlohmann::json changeData(const Change& change) {
    nlohmann::json data{
        {"text", utf8Text(change.text)}, {"lines", linesData(change.text)}, {"notes", nlohmann::json::array()}};
    for (const auto& note : change.notes) {
        data["notes"].push_back(utf8Text(note));
    }
    if (change.thinned) {
        data["thinned"] = {{"points", change.thinned->points.size()},
                           {"largestDeviationDb", change.thinned->deviationDb}};
    }
    return data;
}

std::string describeStatus(const Status& status) {
    std::string text;
    if (status.block) {
        text = "Settings: " + std::to_string(textOf(*status.block).size()) + " of 255 bytes" +
               describeHolders(status) + "\n" + describeLines(*status.block);
    } else {
        text = "Settings: there is no block; an effect may be waiting for one.\n";
    }
    text += std::string("Log level (registry, MLS): ") + std::to_string(status.logLevel) + ", " +
            levelNames.at(status.logLevel) + "\n";
    return text + "Previous effect (registry, EnableOldApo): " + (status.oldApo ? "on" : "off") + "\n";
}

nlohmann::json linesData(std::string_view block) {
    nlohmann::json lines = nlohmann::json::array();
    for (const auto& diagnosis : diagnoseSettings(block, decodeLatin1)) {
        nlohmann::json line{{"line", utf8Text(diagnosis.line)},
                            {"outcome", outcomeName(diagnosis.outcome)},
                            {"explanation", utf8Text(diagnosis.explanation)}};
        if (diagnosis.boost) {
            line["boost"] = {{"levelDb", diagnosis.boost->level / 10.0}, {"limiter", diagnosis.boost->mode == 1}};
        }
        if (diagnosis.equalizer) {
            line["points"] = nlohmann::json::array();
            for (const auto& point : *diagnosis.equalizer) {
                line["points"].push_back({{"frequencyHz", point.frequencyHz}, {"gainDb", point.gainDb}});
            }
        }
        lines.push_back(line);
    }
    return lines;
}

nlohmann::json statusData(const Status& status) {
    nlohmann::json data{{"block", nullptr},
                        {"registry", {{"logLevel", status.logLevel}, {"enableOldApo", status.oldApo}}}};
    if (status.block) {
        const auto text = textOf(*status.block);
        data["block"] = {{"text", utf8Text(text)}, {"bytes", text.size()}, {"lines", linesData(*status.block)}};
        data["block"]["holders"] = status.holders ? nlohmann::json(*status.holders) : nlohmann::json(nullptr);
    }
    return data;
}

} // namespace tovix::control
