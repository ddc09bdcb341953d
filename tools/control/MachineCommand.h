#pragma once

#include "control/Output.h"
#include "install/MachinePlan.h"

#include <CLI/CLI.hpp>

#include <functional>

namespace tovix::control {

/// What the commands that change the machine share. All are [control], on the program's only thread; they throw
/// InstallRefusal and CommandFailure.

/// The flags that each of them takes.
struct MachineOptions {
    /// Print the changes and make none.
    bool dryRun = false;
    /// Stop the audio service for the change and start it afterwards; also where there is nothing to change.
    bool restartAudio = false;
};
void addMachineOptions(CLI::App& command, MachineOptions& options);

/// Reads the machine and says what is to be changed.
using MachinePlanner =
    std::function<install::MachinePlan(const install::RegistryTree& registry, const install::ChangeJournal& journal)>;

/// Puts right what an interrupted command has left, plans, carries the plan out and reports: sentences to the
/// standard output, notes to the standard error, or all of it as one JSON object. Nothing is changed where a file
/// that is to be changed is in use. One at a time: another that is at work is waited for.
void changeMachine(const MachinePlanner& plan, const MachineOptions& options, const Output& output);

} // namespace tovix::control
