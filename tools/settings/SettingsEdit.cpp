#include "settings/SettingsEdit.h"

#include "text/SettingsText.h"

#include <algorithm>
#include <iterator>

namespace tovix::control {

std::string_view lineName(std::string_view line) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        return {};
    }
    const auto name = line.substr(0, colon);
    return name.starts_with('#') ? name.substr(1) : name;
}

SettingsEdit::SettingsEdit(std::string_view block) {
    for (const auto line : splitSettingsLines(block)) {
        m_lines.emplace_back(line);
    }
}

std::size_t SettingsEdit::replace(std::string_view name, const std::vector<std::string>& lines,
                                  std::string_view before) {
    const auto isNamed = [](std::string_view wanted) {
        return [wanted](const std::string& line) { return !wanted.empty() && lineName(line) == wanted; };
    };
    auto place = std::find_if(m_lines.begin(), m_lines.end(), isNamed(name));
    if (place == m_lines.end()) {
        place = std::find_if(m_lines.begin(), m_lines.end(), isNamed(before));
    }
    const auto index = place - m_lines.begin();
    const auto gone = std::erase_if(m_lines, isNamed(name));
    m_lines.insert(m_lines.begin() + index, lines.begin(), lines.end());
    return gone;
}

std::size_t SettingsEdit::switchOff(std::string_view name) {
    std::size_t changed = 0;
    for (auto& line : m_lines) {
        if (lineName(line) == name && !line.starts_with('#')) {
            line.insert(0, 1, '#');
            ++changed;
        }
    }
    return changed;
}

std::size_t SettingsEdit::switchOn(std::string_view name) {
    std::size_t changed = 0;
    for (auto& line : m_lines) {
        if (lineName(line) == name && line.starts_with('#')) {
            line.erase(0, 1);
            ++changed;
        }
    }
    return changed;
}

std::vector<std::string> SettingsEdit::find(std::string_view name) const {
    std::vector<std::string> found;
    std::copy_if(m_lines.begin(), m_lines.end(), std::back_inserter(found),
                 [name](const std::string& line) { return lineName(line) == name; });
    return found;
}

std::string SettingsEdit::text() const {
    std::string text;
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
        text += (i > 0 ? "\n" : "") + m_lines[i];
    }
    return text;
}

} // namespace tovix::control
