#pragma once

#include "control/Output.h"

#include <CLI/CLI.hpp>

namespace tovix::control {

/// [control] Adds `devices`, `attach`, `detach` and `repair`, which put the effect on output devices and take it off.
/// Run, they throw InstallRefusal. `output` is read when a command runs.
void addDeviceCommands(CLI::App& app, const Output& output);

} // namespace tovix::control
