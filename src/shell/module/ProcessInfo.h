#pragma once

#include <cstdint>

namespace tovix {

/// Where the process line's values come from; each may throw, a `std::uint32_t` being an error code.
struct ProcessQuestions {
    bool (*isUserAdmin)();
    bool (*isRunningAsAdmin)();
    bool (*isProcessElevated)();
    std::uint32_t (*integrityRid)();
};

/// [control] Writes one INFO line about the privileges of the current process, or an ERROR line when they
/// cannot be found out. Nothing escapes.
void LogProcessInfo() noexcept;

/// [control] The same with the values of other sources.
void LogProcessInfo(const ProcessQuestions& questions) noexcept;

} // namespace tovix
