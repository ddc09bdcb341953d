#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tovix::keep {

/// What the autostart entry says, without the registry. [control], any thread.

enum class AutostartState {
    /// There is no entry.
    off,
    /// It starts this program.
    on,
    /// It starts another copy of this program, as after one has been unpacked elsewhere.
    otherCopy,
    /// Somebody else's entry has the name.
    foreign,
};

/// What has this program keep the settings: the quoted path and the command's name.
std::wstring autostartCommand(std::wstring_view programPath);

/// What an entry is, whose text is none where there is no entry, for the program of that path.
AutostartState autostartState(const std::optional<std::wstring>& entry, std::wstring_view programPath);

/// Its name for data: "off", "on", "otherCopy", "foreign".
const char* autostartStateName(AutostartState state);

} // namespace tovix::keep
