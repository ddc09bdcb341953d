// A library with a thread of its own, started as the effect starts its threads.

#include "helpers/ModuleThread.h"

namespace {

DWORD waitFor(void* pEvent) noexcept {
    ::WaitForSingleObject(pEvent, INFINITE);
    return 42;
}

} // namespace

/// Starts a thread that ends with 42 once `hEvent` is signalled; the caller owns the handle.
extern "C" __declspec(dllexport) HANDLE StartThreadThatWaits(HANDLE hEvent) {
    return tovix::startModuleThread(&waitFor, hEvent).release();
}
