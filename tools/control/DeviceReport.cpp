#include "control/DeviceReport.h"

#include "text/Utf.h"

#include <nlohmann/json.hpp>

#include <array>
#include <sstream>

namespace tovix::control {
namespace {

using install::EffectRow;
using install::OutputDevice;
using Json = nlohmann::ordered_json;

/// In the order of EffectKeyKind and of EffectSide.
constexpr std::array kindNames{"legacy", "single", "list"};
constexpr std::array sideNames{"before the mix", "after the mix"};

std::string kindOf(const EffectRow& row) {
    return kindNames.at(static_cast<std::size_t>(row.pKey->kind));
}

std::string sideOf(const EffectRow& row) {
    return sideNames.at(static_cast<std::size_t>(row.pKey->side));
}

std::string keyOf(const EffectRow& row) {
    return encodeUtf8(row.pKey->key);
}

/// The system's states; any other number as it is.
std::string stateOf(const OutputDevice& device) {
    switch (device.state) {
    case 1:
        return "active";
    case 2:
        return "disabled";
    case 4:
        return "not present";
    case 8:
        return "unplugged";
    default: {
        std::ostringstream text;
        text << "state 0x" << std::hex << device.state;
        return text.str();
    }
    }
}

bool isInUse(const OutputDevice& device, const EffectRow& row) {
    return device.effects.usedKind() == row.pKey->kind;
}

} // namespace

std::string DeviceReport::describe(const std::vector<OutputDevice>& devices) const {
    std::string text = devices.empty() ? "There are no output devices.\n" : "";
    for (const OutputDevice& device : devices) {
        text += describeOne(device);
    }
    return text;
}

std::string DeviceReport::describeOne(const OutputDevice& device) const {
    std::string text = encodeUtf8(device.fullName()) + ": " + stateOf(device) +
                       (device.isDefault ? ", default" : "") + "\n    " + encodeUtf8(device.id) + "\n";
    for (const EffectRow& row : device.effects.rows()) {
        text += "    " + describeRow(row) + "\n";
    }
    if (device.effects.areEnhancementsOff()) {
        text += "    Enhancements are switched off: no effect runs.\n";
    }
    return text + "    " + describeAttachment(device) + "\n";
}

std::string DeviceReport::describeRow(const EffectRow& row) const {
    std::string text;
    for (const auto& classId : row.classes.value_or(std::vector<std::wstring>())) {
        text += (text.empty() ? "" : ", ") + describeClass(classId);
    }
    return keyOf(row) + " (" + kindOf(row) + ", " + sideOf(row) + "): " +
           (!row.classes   ? "a value of another type"
            : text.empty() ? "empty"
                           : text);
}

std::string DeviceReport::describeClass(const std::wstring& classId) const {
    return encodeUtf8(classId) + ' ' + install::describeRegistration(m_registry, classId);
}

std::string DeviceReport::describeAttachment(const OutputDevice& device) const {
    const auto row = device.effects.attachedRow();
    if (!row) {
        return needsRepair(device) ? "Tovix was attached and is gone; \"tovixctl repair\" brings it back."
                                   : "Tovix is not attached.";
    }
    const std::wstring kept = device.effects.keptClass();
    return "Tovix is attached in " + keyOf(*row) + (kept.empty() ? "" : ", in place of " + describeClass(kept)) +
           (isInUse(device, *row) ? "." : ", which the device does not use; \"tovixctl attach\" moves it.");
}

Json DeviceReport::data(const std::vector<OutputDevice>& devices) const {
    Json all = Json::array();
    for (const OutputDevice& device : devices) {
        all.push_back(dataOf(device));
    }
    return {{"interrupted", m_journal.isInterrupted()}, {"devices", all}};
}

Json DeviceReport::dataOf(const OutputDevice& device) const {
    Json rows = Json::array();
    for (const EffectRow& row : device.effects.rows()) {
        rows.push_back(rowData(row));
    }
    const auto attached = device.effects.attachedRow();
    const std::wstring kept = attached ? device.effects.keptClass() : L"";
    return {{"name", encodeUtf8(device.name)},
            {"interface", encodeUtf8(device.interfaceName)},
            {"id", encodeUtf8(device.id)},
            {"state", stateOf(device)},
            {"default", device.isDefault},
            {"enhancements", !device.effects.areEnhancementsOff()},
            {"rows", rows},
            {"attached", attached ? Json(keyOf(*attached)) : Json(nullptr)},
            {"inUse", attached && isInUse(device, *attached)},
            {"replaced", kept.empty() ? Json(nullptr) : classData(kept)},
            {"needsRepair", needsRepair(device)}};
}

Json DeviceReport::rowData(const EffectRow& row) const {
    Json classes = nullptr;
    if (row.classes) {
        classes = Json::array();
        for (const auto& classId : *row.classes) {
            classes.push_back(classData(classId));
        }
    }
    return {{"key", keyOf(row)}, {"kind", kindOf(row)}, {"side", sideOf(row)}, {"classes", classes}};
}

/// The name is null where the class is not registered.
Json DeviceReport::classData(const std::wstring& classId) const {
    const auto name = install::registeredName(m_registry, classId);
    return {{"class", encodeUtf8(classId)}, {"name", name ? Json(encodeUtf8(*name)) : Json(nullptr)}};
}

bool DeviceReport::needsRepair(const OutputDevice& device) const {
    return m_journal.find(device.id).has_value() &&
           (!device.effects.attachedRow() || device.effects.areEnhancementsOff());
}

} // namespace tovix::control
