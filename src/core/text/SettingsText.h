#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovix {

/// Reading of the settings text: UTF-8 lines, each a name, a colon and parameters. All functions are [control].

/// Turns a line that is not UTF-8 into wide text. The Windows shell gives the system's ANSI code page.
using AnsiDecoder = std::wstring (*)(std::string_view bytes);

/// The decoder of a system without a code page: Latin-1, byte by byte.
std::wstring decodeLatin1(std::string_view bytes);

/// One line's two halves.
struct SettingsLine {
    /// Everything before the first colon, blanks included.
    std::wstring key;
    /// Everything after it.
    std::wstring value;
};

/// The lines of a settings page, as bytes: the text ends at the first NUL or after `settingsPageBytes`, a line at a
/// line feed, and a carriage return at a line's end is removed. A line feed at the very end opens no further line.
std::vector<std::string_view> splitSettingsLines(std::string_view page);

/// Decodes a line as UTF-8, and again with `decodeAnsi` when the result holds a replacement character.
std::wstring decodeSettingsLine(std::string_view bytes, AnsiDecoder decodeAnsi);

/// The halves around the first colon; none without a colon.
std::optional<SettingsLine> parseSettingsLine(const std::wstring& line);

/// What a line says about the device's previous effect: wanted, not wanted, or nothing.
std::optional<bool> previousEffectSetting(const SettingsLine& line);

/// What the last of a settings page's lines that says something about it says.
std::optional<bool> previousEffectSetting(std::string_view page, AnsiDecoder decodeAnsi);

} // namespace tovix
