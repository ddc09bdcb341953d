#pragma once

#include "control/Output.h"

namespace CLI {
class App;
}

namespace tovix::control {

/// Adds `profile`, which saves and loads settings under names. `output` is filled in by the time a command runs.
/// [control], on the program's only thread.
void addProfileCommands(CLI::App& app, const Output& output);

} // namespace tovix::control
