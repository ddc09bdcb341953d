#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace tovix {

/// What the module knows about itself. Constant-initialised, so that loading the module runs no code for it.
struct ModuleState {
    /// Written once, at process attach.
    HINSTANCE instance = nullptr;
    /// What runs the module's code or will be called by its holder; see ModuleUse.
    std::atomic<std::uint32_t> uses{0};
    /// Server locks that class factories hold.
    std::atomic<std::uint32_t> serverLocks{0};
};

inline constinit ModuleState moduleState;

/// Keeps the module in use while it lives. [control], any thread.
///
/// The first base of an object that is handed out, so that the object counts from the start of its construction to
/// the end of its destruction, and a local of the function that deletes it, which covers the rest.
class ModuleUse {
public:
    ModuleUse() noexcept { ++moduleState.uses; }
    ~ModuleUse() { --moduleState.uses; }
    ModuleUse(const ModuleUse&) = delete;
    ModuleUse& operator=(const ModuleUse&) = delete;
};

} // namespace tovix
