#pragma once

#include "curves/Refusal.h"
#include "install/InstallRefusal.h"
#include "keep/KeepRefusal.h"

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
    /// There is no profile of that name.
    noProfile = 7,
    /// A file or folder of the user's cannot be read or written.
    noUserFile = 8,
    /// The autostart entry is another program's.
    foreignAutostart = 9,
    /// What keeps a machine from being changed: one for each install::Obstacle, which says more, in its order.
    notElevated = 10,
    registryRefused = 11,
    foreignType = 12,
    fileInUse = 13,
    diskFull = 14,
    fileRefused = 15,
    noDevice = 16,
    ambiguousDevice = 17,
    audioService = 18,
    notInstalled = 19,
};

/// For any thread.
constexpr ExitStatus exitStatusOf(install::Obstacle obstacle) noexcept {
    return static_cast<ExitStatus>(static_cast<int>(ExitStatus::notElevated) + static_cast<int>(obstacle));
}
static_assert(exitStatusOf(install::Obstacle::notInstalled) == ExitStatus::notInstalled);

/// For any thread.
constexpr ExitStatus exitStatusOf(keep::Obstacle obstacle) noexcept {
    switch (obstacle) {
    case keep::Obstacle::noProfile:
        return ExitStatus::noProfile;
    case keep::Obstacle::fileRefused:
        return ExitStatus::noUserFile;
    case keep::Obstacle::registryRefused:
        return ExitStatus::noRegistry;
    case keep::Obstacle::foreignEntry:
        return ExitStatus::foreignAutostart;
    case keep::Obstacle::processRefused:
        break;
    }
    return ExitStatus::failed;
}

/// Ends the program with a status of its own and one sentence. [control], any thread.
using CommandFailure = RefusalWithStatus<ExitStatus>;

} // namespace tovix::control
