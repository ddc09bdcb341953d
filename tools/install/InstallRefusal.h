#pragma once

#include "curves/Refusal.h"

namespace tovix::install {

/// Why the machine is left as it was. Each ends tovixctl with a status of its own.
enum class Obstacle {
    /// The backup and restore privileges, which an administrator has, are missing.
    notElevated,
    /// The system refuses a registry key or value.
    registryRefused,
    /// A value that is to be changed has another type than it should have.
    foreignType,
    /// A file is held open by another process, as the audio engine holds a loaded library.
    fileInUse,
    /// There is no room for a file.
    diskFull,
    /// The system refuses a file for another reason, or it is not there.
    fileRefused,
    /// There is no such output device.
    noDevice,
    /// More than one output device is meant.
    ambiguousDevice,
    /// The audio service does not stop, or does not come back.
    audioService,
    /// The effect is not installed.
    notInstalled,
};

using InstallRefusal = RefusalWithStatus<Obstacle>;

} // namespace tovix::install
