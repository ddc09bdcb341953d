#pragma once

#include "curves/Refusal.h"
#include "settings/SettingsChanges.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tovix::control {

/// How the program ends. The numbers are part of its interface: scripts test them.
enum class ExitStatus : int {
    done = 0,
    /// Something that should not happen.
    failed = 1,
    /// The command line does not parse.
    usage = 2,
    /// What was asked for breaks a rule of the settings text, or does not fit into it.
    refused = 3,
    /// The settings page can be neither opened nor created.
    noSettingsPage = 4,
    /// The registry value cannot be written.
    noRegistry = 5,
    /// The curve file cannot be read.
    noFile = 6,
};

using CommandFailure = RefusalWithStatus<ExitStatus>;

/// How a command reports, and whether it keeps running.
struct Output {
    bool json = false;
    /// After a change: keep the settings page open until the program is ended.
    bool hold = false;
};

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
