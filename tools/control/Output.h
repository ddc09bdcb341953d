#pragma once

namespace tovix::control {

/// How a command reports, and whether it keeps running. Every command takes these flags.
struct Output {
    bool json = false;
    /// After a change: keep the settings page open until the program is ended.
    bool hold = false;
};

/// For a command that changes no settings: refuses the flag to hold them as a mistake in the command line. [control],
/// on the program's only thread.
void refuseHold(const Output& output);

} // namespace tovix::control
