#include "render/engine/SettingsPlan.h"

#include "curves/Numbers.h"
#include "render/files/FileNames.h"
#include "render/files/ProgramEnd.h"
#include "settings/SettingsEdit.h"
#include "text/Limits.h"
#include "text/SettingsNames.h"
#include "text/SettingsText.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string_view>

namespace tovix::render {
namespace {

const std::vector<std::string> defaultLines{"Equalizer: 60 4 200 0 1000 -2 4000 1 12000 5", "Boost: 60 dB 1"};

/// The settings of a file, up to the first NUL.
Settings readSettings(const std::string& path) {
    std::ifstream file(pathFromUtf8(path), std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) {
        throw RenderError(ExitStatus::unreadableSettings, "the settings file " + path + " cannot be read.");
    }
    text.resize(std::min(text.find('\0'), text.size()));
    if (text.size() > longestSettingsTextBytes) {
        throw RenderError(ExitStatus::settingsTooLong,
                          "the settings file " + path + " holds " + std::to_string(text.size()) +
                              " bytes of text; the effect takes " + std::to_string(longestSettingsTextBytes) + ".");
    }
    return Settings(text);
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) {
        text += line + '\n';
    }
    return text.substr(0, text.empty() ? 0 : text.size() - 1);
}

Settings initialSettings(const SettingsChoice& choice) {
    if (choice.fileName.empty()) {
        return Settings(joined(choice.lines.empty() ? defaultLines : choice.lines));
    }
    return readSettings(choice.fileName).with(choice.lines);
}

} // namespace

Settings::Settings(std::string_view text) {
    if (text.size() > longestSettingsTextBytes) {
        throw RenderError(ExitStatus::settingsTooLong, "the settings are " + std::to_string(text.size()) +
                                                           " bytes long; the effect takes " +
                                                           std::to_string(longestSettingsTextBytes) + ".");
    }
    m_diagnoses = diagnoseSettings(text, decodeLatin1);
    for (auto& diagnosis : m_diagnoses) {
        if (isMistake(diagnosis.outcome)) {
            throw RenderError(ExitStatus::uselessLine, "the settings line \"" + std::string(diagnosis.line) +
                                                           "\" builds nothing: " + diagnosis.explanation + ".");
        }
        m_lines.emplace_back(diagnosis.line);
        diagnosis.line = {};
    }
}

std::string Settings::text() const {
    return joined(m_lines);
}

Settings Settings::with(const std::vector<std::string>& arguments) const {
    std::vector<std::string> lines;
    for (const auto& argument : arguments) {
        const auto parts = splitSettingsLines(argument);
        lines.insert(lines.end(), parts.begin(), parts.end());
    }
    SettingsEdit edit(text());
    edit.put(lines);
    return Settings(edit.text());
}

SettingsPlan planSettings(const SettingsChoice& choice) {
    SettingsPlan plan{initialSettings(choice), {}};
    if (choice.wantsPreviousEffect && !previousEffectSetting(plan.initial.text(), decodeLatin1)) {
        plan.initial = plan.initial.with({std::string(settings::enableOldApo.narrow()) + ':'});
    }
    double previousSeconds = 0.0;
    for (const auto& change : choice.changes) {
        if (change.seconds < previousSeconds) {
            throw RenderError(ExitStatus::changeTime, "--at " + formatDecimal(change.seconds) +
                                                          " stands out of order: moments must not go back.");
        }
        const Settings& before = plan.changes.empty() ? plan.initial : plan.changes.back().settings;
        plan.changes.push_back({change.seconds, before.with(change.lines)});
        previousSeconds = change.seconds;
    }
    return plan;
}

} // namespace tovix::render
