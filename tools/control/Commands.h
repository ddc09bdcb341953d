#pragma once

#include "settings/SettingsChanges.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tovix::control {

/// How a command speaks, and whether it stays.
struct Output {
    bool json = false;
    /// After a write: keep the block open until the program is ended.
    bool hold = false;
};

/// What the commands do to the world. Results go to the standard output, notes and refusals to the standard error;
/// all of them throw a Refusal when they cannot do what they are asked to.

void showStatus(const Output& output);

/// Opens or creates the block, gives its bytes to `change` and writes what comes back.
void changeSettings(const std::function<Change(std::string_view block)>& change, const Output& output);

/// The line in the block, which effects follow at once, and the registry value, with which later ones begin.
void setOldApo(bool on, const Output& output);

void setLogLevel(std::uint32_t level, const Output& output);

/// Shows the settings now and, looking five times a second, whenever their text is another one; keeps the block open
/// and does not return.
[[noreturn]] void watchSettings(const Output& output);

/// The bytes of a curve file; its name in UTF-8.
std::string readCurveFile(const std::string& name);

} // namespace tovix::control
