#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tovix::control {

/// The lines of a settings text under change; lines that no call names stay as they are, byte for byte. A line is
/// named by what stands before its first colon, without the '#' that switches it off.
class SettingsEdit {
public:
    /// Takes the lines out of a block's bytes, as the effect does: up to the first NUL.
    explicit SettingsEdit(std::string_view block);

    /// Puts `lines` in place of all lines named `name`, where the first of these stood; where there was none, before
    /// the first line named `before`, or at the end. Answers how many lines went.
    std::size_t replace(std::string_view name, const std::vector<std::string>& lines, std::string_view before = {});

    /// Puts a '#' before every line named `name` that has none; answers how many.
    std::size_t switchOff(std::string_view name);

    /// Takes the '#' off every line named `name` that has one; answers how many.
    std::size_t switchOn(std::string_view name);

    /// The lines named `name`, as they stand.
    [[nodiscard]] std::vector<std::string> find(std::string_view name) const;

    /// The lines, with a line feed between two of them.
    [[nodiscard]] std::string text() const;

private:
    std::vector<std::string> m_lines;
};

/// The name of a settings line, without the '#'; empty for a line without a colon.
std::string_view lineName(std::string_view line);

} // namespace tovix::control
