#pragma once

#include "control/Output.h"

#include <CLI/CLI.hpp>

namespace tovix::control {

/// Adds install and uninstall. [control], on the program's only thread; `output` has to live as long as `app`.
void addInstallCommands(CLI::App& app, const Output& output);

} // namespace tovix::control
