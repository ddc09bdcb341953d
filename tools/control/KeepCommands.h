#pragma once

#include "control/Output.h"

namespace CLI {
class App;
}

namespace tovix::control {

/// Adds `keep`, which writes the settings down and brings them back, and `autostart`, which has it start with the
/// user's session. `output` is filled in by the time a command runs. [control], on the program's only thread.
void addKeepCommands(CLI::App& app, const Output& output);

} // namespace tovix::control
