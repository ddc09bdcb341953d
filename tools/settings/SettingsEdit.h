#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tovix {

/// The lines of a settings text under change; lines that no call names stay as they are, byte for byte. A line is
/// named by what stands before its first colon, without the '#' that switches it off. A line without a colon has no
/// name: it takes no other line's place, and nothing takes its place. [control], one thread at a time.
class SettingsEdit {
public:
    /// Takes the lines out of a text, or out of a whole settings page, as the effect does: up to the first NUL.
    explicit SettingsEdit(std::string_view text);

    /// Names of lines, any of which is meant.
    using Names = std::initializer_list<std::string_view>;

    /// Puts `lines` in place of all lines of these names, where the first of them stood; where there was none, before
    /// the first line with a name of `before`, or at the end. Returns how many lines went.
    std::size_t replace(Names names, const std::vector<std::string>& lines, Names before = {});

    /// Puts each of `lines` in place of the lines of its name: those that share a name stand together, where the
    /// first line of that name stood. Lines with a new name, or without one, follow at the end in their order.
    void put(const std::vector<std::string>& lines);

    /// Puts a '#' before every line of these names that has none; returns how many.
    std::size_t switchOff(Names names);

    /// Takes the '#' off every line of these names that has one; returns how many.
    std::size_t switchOn(Names names);

    /// The lines of these names, as they stand.
    [[nodiscard]] std::vector<std::string> find(Names names) const;

    /// The lines, with a line feed between two of them.
    [[nodiscard]] std::string text() const;

private:
    std::vector<std::string> m_lines;
};

} // namespace tovix
