#pragma once

#include "system/WinHandles.h"

namespace tovix {

/// What a thread of the effect runs; its result is the thread's exit code.
using ThreadBody = DWORD (*)(void* pContext) noexcept;

/// How long an object that goes waits for its thread; one that takes longer ends later, on its own.
inline constexpr DWORD threadEndLimitMs = 5000;

/// The parts of `startThreadHoldingModule`. [control]
KernelHandle startWithModuleReference(LPTHREAD_START_ROUTINE start, void* pContext) noexcept;
[[noreturn]] void dropModuleAndExitThread(DWORD exitCode) noexcept;

/// [control] Starts `body(pContext)` on a new thread with the default stack. The thread holds a reference to
/// the module that contains this function for its whole life and drops it with its last instruction, so that
/// no unload pulls the code from under it, however long its owner has stopped waiting for it. Takes no memory.
///
/// Returns the thread's handle. Null when no thread runs: `body` was not called and the last error tells why.
template <ThreadBody body> KernelHandle startThreadHoldingModule(void* pContext) noexcept {
    const auto start = [](void* pThreadContext) -> DWORD { dropModuleAndExitThread(body(pThreadContext)); };
    return startWithModuleReference(start, pContext);
}

} // namespace tovix
