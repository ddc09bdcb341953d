#include "render/SettingsPlan.h"

#include "render/ExitStatus.h"
#include "render/files/FilePath.h"
#include "render/report/NumberText.h"
#include "text/Limits.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string_view>

namespace tovix::render {
namespace {

/// The block is NUL-terminated.
constexpr std::size_t largestTextBytes = longestSettingsTextBytes;

const std::vector<std::string> defaultLines{"Equalizer: 60 4 200 0 1000 -2 4000 1 12000 5", "Boost: 60 dB 1"};

/// What two lines must share to be about the same thing.
std::string_view nameOf(std::string_view line) {
    if (line.starts_with('#')) {
        line.remove_prefix(1);
    }
    return line.substr(0, line.find(':'));
}

bool sameName(std::string_view a, std::string_view b) {
    return nameOf(a) == nameOf(b);
}

std::vector<std::string> readLines(const std::string& path) {
    std::ifstream file(pathFromUtf8(path), std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) {
        throw RenderError(ExitStatus::unreadableSettings, "the settings file " + path + " cannot be read.");
    }
    text.resize(std::min(text.find('\0'), text.size()));
    if (text.size() > largestTextBytes) {
        throw RenderError(ExitStatus::settingsTooLong, "the settings file " + path + " holds " +
                                                           std::to_string(text.size()) +
                                                           " bytes of text; the effect takes 255.");
    }
    const auto lines = splitSettingsLines(text);
    return {lines.begin(), lines.end()};
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) {
        text += line;
        text += '\n';
    }
    return text.substr(0, text.empty() ? 0 : text.size() - 1);
}

Settings initialSettings(const Options& options) {
    if (options.settingsPath.empty()) {
        return Settings(options.setLines.empty() ? defaultLines : options.setLines);
    }
    return Settings(readLines(options.settingsPath)).with(options.setLines);
}

} // namespace

Settings::Settings(const std::vector<std::string>& lines) {
    const std::string block = joined(lines);
    if (block.size() > largestTextBytes) {
        throw RenderError(ExitStatus::settingsTooLong,
                          "the settings are " + std::to_string(block.size()) + " bytes long; the effect takes 255.");
    }
    // Split anew, as an argument may hold several lines.
    for (const auto line : splitSettingsLines(block)) {
        m_lines.emplace_back(line);
    }
    m_diagnoses = diagnoseSettings(block, decodeLatin1);
    for (auto& diagnosis : m_diagnoses) {
        if (isMistake(diagnosis.outcome)) {
            throw RenderError(ExitStatus::uselessLine, "the settings line \"" + std::string(diagnosis.line) +
                                                           "\" builds nothing: " + diagnosis.explanation + ".");
        }
        diagnosis.line = {};
    }
}

std::string Settings::text() const {
    return joined(m_lines);
}

Settings Settings::with(const std::vector<std::string>& lines) const {
    std::vector<std::string> merged;
    std::vector<bool> used(lines.size(), false);
    for (const auto& line : m_lines) {
        bool replaced = false;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (!sameName(lines[i], line)) {
                continue;
            }
            replaced = true;
            if (!used[i]) {
                merged.push_back(lines[i]);
                used[i] = true;
            }
        }
        if (!replaced) {
            merged.push_back(line);
        }
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (!used[i]) {
            merged.push_back(lines[i]);
        }
    }
    return Settings(merged);
}

SettingsPlan planSettings(const Options& options) {
    SettingsPlan plan{initialSettings(options), {}};
    double previousSeconds = 0.0;
    for (const auto& change : options.changes) {
        // A moment that is no number fails this, too.
        if (!(change.seconds >= previousSeconds)) {
            throw RenderError(ExitStatus::changeTime, "--at " + numberText(change.seconds) +
                                                          " stands out of order: moments must not go back.");
        }
        const Settings& before = plan.changes.empty() ? plan.initial : plan.changes.back().settings;
        plan.changes.push_back({change.seconds, before.with(change.lines)});
        previousSeconds = change.seconds;
    }
    return plan;
}

} // namespace tovix::render
