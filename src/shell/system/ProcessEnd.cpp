#include "system/ProcessEnd.h"

#include "system/WinHandles.h"

namespace tovix {

bool processIsEnding() noexcept {
    using ShutdownQuery = BOOLEAN NTAPI();
    auto* const pQuery = moduleExport<ShutdownQuery>(::GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress");
    return pQuery != nullptr && pQuery() != FALSE;
}

} // namespace tovix
