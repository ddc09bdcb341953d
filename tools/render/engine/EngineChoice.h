#pragma once

#include <string>

namespace tovix::render {

/// Which engine runs the effect. Builds without the effect's library know the core alone.
struct EngineChoice {
    /// The core in this process instead of the library.
    bool core = false;
    /// The library's path, UTF-8; empty means the one beside this program.
    std::string libraryPath;
    /// The registered library, through COM, instead of one by its path.
    bool registered = false;
    /// Leave the settings to other processes once the stream runs, and say when they change them.
    bool watch = false;
    /// Settings will be announced while the stream runs.
    bool announces = false;
};

} // namespace tovix::render
