#pragma once

#include "curves/Refusal.h"

namespace tovix::keep {

/// What is in the way of keeping settings. Each ends tovixctl with a status of its own.
enum class Obstacle {
    /// There is no profile of the name.
    noProfile,
    /// A file or folder of the user's cannot be read or written.
    fileRefused,
    /// The system refuses the registry value of the autostart entry.
    registryRefused,
    /// The autostart entry of this name is another program's.
    foreignEntry,
    /// The process that keeps the settings cannot be started, found or ended.
    processRefused,
};

using KeepRefusal = RefusalWithStatus<Obstacle>;

} // namespace tovix::keep
