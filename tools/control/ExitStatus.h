#pragma once

#include "curves/Refusal.h"

namespace tovix::control {

/// How the program ends. The numbers are part of its interface: scripts test them. Settings and what keeps them have
/// those below 10; another group of commands begins a ten of its own.
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

/// Ends the program with a status of its own and one sentence. [control], any thread.
using CommandFailure = RefusalWithStatus<ExitStatus>;

} // namespace tovix::control
