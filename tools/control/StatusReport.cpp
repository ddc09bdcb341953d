#include "control/StatusReport.h"

#include "curves/Numbers.h"
#include "settings/SettingsReport.h"
#include "text/Limits.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>

namespace tovix::control {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::array levelNames{"none", "fatal", "error", "warning", "info", "debug"};

std::string describeHolders(const Status& status) {
    if (!status.holders) {
        return {};
    }
    return ", held by " + counted(*status.holders, "other handle");
}

std::string describePage(const Status& status) {
    if (!status.text) {
        return "Settings: there is no settings page; an effect may be waiting for one.\n";
    }
    return "Settings: " + std::to_string(status.text->size()) + " of " + std::to_string(longestSettingsTextBytes) +
           " bytes" + describeHolders(status) + "\n" + describeLines(*status.text);
}

std::string describeRefused(const Status& status) {
    std::string text;
    for (const auto& file : status.refusedFiles) {
        text += "Refused as last settings and kept aside: " + printable(file) + "\n";
    }
    return text;
}

} // namespace

std::string describeChange(const ChangedSettings& change) {
    std::string text = describeLines(change.text);
    if (change.thinned) {
        constexpr double hundredths = 100.0;
        text += "Thinned to " + counted(change.thinned->points.size(), "point") + "; the curve changes by at most " +
                formatDecimal(std::round(change.thinned->deviationDb * hundredths) / hundredths) + " dB.\n";
    }
    return text;
}

Json changeData(const ChangedSettings& change) {
    Json notes = Json::array();
    for (const auto& note : change.notes) {
        notes.push_back(utf8Text(note));
    }
    Json data{{"settings", settingsData(change.text)}, {"notes", notes}};
    if (change.thinned) {
        data["thinned"] = {{"pointCount", change.thinned->points.size()},
                           {"deviationDb", change.thinned->deviationDb}};
    }
    return data;
}

std::string describeStatus(const Status& status) {
    return describePage(status) + "Log level (registry, MLS): " + std::to_string(status.logLevel) + ", " +
           levelNames.at(status.logLevel) +
           "\nPrevious effect (registry, EnableOldApo): " + (status.previousEffect ? "on" : "off") +
           "\nSettings are written down (keep): " + (status.kept ? "yes" : "no") + "\n" + describeRefused(status) +
           describeAutostart(status.autostart, status.autostartEntry);
}

std::string describeAutostart(keep::AutostartState state, const std::string& entry) {
    switch (state) {
    case keep::AutostartState::on:
        return "Autostart: on\n";
    case keep::AutostartState::otherCopy:
        return "Autostart: on, of another copy: " + printable(entry) + "\n";
    case keep::AutostartState::foreign:
        return "Autostart: off; another program has the entry's name: " + printable(entry) + "\n";
    case keep::AutostartState::off:
        break;
    }
    return "Autostart: off\n";
}

Json autostartData(keep::AutostartState state, const std::string& entry) {
    return {{"state", keep::autostartStateName(state)}, {"entry", utf8Text(entry)}};
}

Json statusData(const Status& status) {
    Json data{{"settings", nullptr},
              {"registry", {{"logLevel", status.logLevel}, {"enableOldApo", status.previousEffect}}},
              {"kept", status.kept},
              {"refusedFiles", status.refusedFiles},
              {"autostart", autostartData(status.autostart, status.autostartEntry)}};
    if (status.text) {
        data["settings"] = settingsData(*status.text);
        data["settings"]["holders"] = status.holders ? Json(*status.holders) : Json(nullptr);
    }
    return data;
}

} // namespace tovix::control
