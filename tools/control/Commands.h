#pragma once

#include "control/Output.h"
#include "settings/SettingsChanges.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tovix::control {

/// The commands. [control], on the program's only thread. Results go to the standard output, notes and refusals to
/// the standard error; all of them throw a Refusal when they cannot do what they are asked.

void showStatus(const Output& output);

/// Opens or creates the settings page, gives its text to `change`, writes what comes back and announces it.
void changeSettings(const std::function<ChangedSettings(std::string_view text)>& change, const Output& output);

/// Sets the line in the settings, which running effects follow at once, and the registry value, with which later ones
/// begin.
void setPreviousEffect(bool on, const Output& output);

/// Sets the registry value that an effect reads when it attaches its logger.
void setLogLevel(std::uint32_t level, const Output& output);

/// Shows the settings, and again whenever their text changes, for which it looks five times a second. Keeps the
/// settings page open and does not return.
[[noreturn]] void watchSettings(const Output& output);

/// The bytes of a curve file; its name in UTF-8.
std::string readCurveFile(const std::string& name);

} // namespace tovix::control
