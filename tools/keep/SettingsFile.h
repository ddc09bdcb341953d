#pragma once

#include "settings/SettingsChanges.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace tovix::keep {

/// A file that holds one settings text and may be edited by hand: the lines of the text, in UTF-8. Line ends of
/// Windows, a byte order mark and empty lines at the end count for nothing. [control], any thread; what the system
/// refuses is a KeepRefusal (fileRefused).

/// The text, ready to be written into the settings page; none where there is no file. Throws a Refusal that names the
/// file where the text breaks a rule of the settings. The file stays as it is.
std::optional<ChangedSettings> readSettingsFile(const std::filesystem::path& path);

/// Puts the text into the file, whole or not at all. The text may be one that reading refuses.
void writeSettingsFile(const std::filesystem::path& path, std::string_view text);

} // namespace tovix::keep
