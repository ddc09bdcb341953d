#pragma once

#include <cstdint>

namespace tovix {

/// The questions that the process line answers; each may throw, a `std::uint32_t` being an error code.
struct ProcessQuestions {
    bool (*isUserAdmin)();
    bool (*isRunningAsAdmin)();
    bool (*isProcessElevated)();
    std::uint32_t (*integrityRid)();
};

/// [control] Writes one INFO line about the privileges of the current process, or an ERROR line when they
/// cannot be found out. Nothing escapes.
void LogProcessInfo() noexcept;

/// The same with other sources of the answers.
void LogProcessInfo(const ProcessQuestions& questions) noexcept;

} // namespace tovix
