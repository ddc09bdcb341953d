#include "settings/SettingsEdit.h"

#include "text/SettingsNames.h"
#include "text/SettingsText.h"

#include <algorithm>
#include <iterator>

namespace tovix {
namespace {

bool isOff(std::string_view line) {
    return line.starts_with(settings::offMark);
}

/// Empty for a line without a colon.
std::string_view lineName(std::string_view line) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        return {};
    }
    const auto name = line.substr(0, colon);
    return isOff(name) ? name.substr(1) : name;
}

auto isNamed(SettingsEdit::Names names) {
    return [names](const std::string& line) {
        const auto name = lineName(line);
        return !name.empty() && std::find(names.begin(), names.end(), name) != names.end();
    };
}

std::vector<std::string> linesNamed(SettingsEdit::Names names, const std::vector<std::string>& lines) {
    std::vector<std::string> found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found), isNamed(names));
    return found;
}

} // namespace

SettingsEdit::SettingsEdit(std::string_view text) {
    for (const auto line : splitSettingsLines(text)) {
        m_lines.emplace_back(line);
    }
}

std::size_t SettingsEdit::replace(Names names, const std::vector<std::string>& lines, Names before) {
    auto place = std::find_if(m_lines.begin(), m_lines.end(), isNamed(names));
    if (place == m_lines.end()) {
        place = std::find_if(m_lines.begin(), m_lines.end(), isNamed(before));
    }
    const auto index = place - m_lines.begin();
    const auto gone = std::erase_if(m_lines, isNamed(names));
    m_lines.insert(m_lines.begin() + index, lines.begin(), lines.end());
    return gone;
}

void SettingsEdit::put(const std::vector<std::string>& lines) {
    std::vector<std::string> added;
    for (const auto& line : lines) {
        if (find({lineName(line)}).empty()) {
            added.push_back(line);
        }
    }
    for (const auto& line : lines) {
        if (const auto name = lineName(line); !find({name}).empty()) {
            // The second line of a name puts the same lines there again.
            replace({name}, linesNamed({name}, lines));
        }
    }
    m_lines.insert(m_lines.end(), added.begin(), added.end());
}

std::size_t SettingsEdit::switchOff(Names names) {
    std::size_t changed = 0;
    for (auto& line : m_lines) {
        if (isNamed(names)(line) && !isOff(line)) {
            line.insert(0, 1, settings::offMark);
            ++changed;
        }
    }
    return changed;
}

std::size_t SettingsEdit::switchOn(Names names) {
    std::size_t changed = 0;
    for (auto& line : m_lines) {
        if (isNamed(names)(line) && isOff(line)) {
            line.erase(0, 1);
            ++changed;
        }
    }
    return changed;
}

std::vector<std::string> SettingsEdit::find(Names names) const {
    return linesNamed(names, m_lines);
}

std::string SettingsEdit::text() const {
    std::string text;
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
        text += (i > 0 ? "\n" : "") + m_lines[i];
    }
    return text;
}

} // namespace tovix
