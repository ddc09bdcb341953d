#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace tovix {

/// What the module knows about itself. Constant-initialised, so that loading the module runs no code for it.
struct ModuleState {
    /// Written once, at process attach.
    HINSTANCE instance = nullptr;
    /// Living effects and media types; both have code in the module that their holders will call.
    std::atomic<std::uint32_t> objects{0};
    /// Effects whose destructor runs: their own count drops first, and the destructor then waits for the effect's
    /// thread.
    std::atomic<std::uint32_t> destructions{0};
    /// Server locks that class factories hold.
    std::atomic<std::uint32_t> serverLocks{0};
};

inline constinit ModuleState moduleState;

} // namespace tovix
