// The parts of the compiler's run-time library that a module must have its own way when it is loaded and freed again
// while the process lives. The library's own versions sit on a thread library that attaches two handles and memory to
// every thread that comes through, and gives them back only when that thread ends; its reserve for exceptions is never
// given back. The names and layouts are those of the platform-independent C++ ABI that the compiler follows.

#include <windows.h>

#include <cxxabi.h>

#include <atomic>
#include <cstdint>
#include <exception>

namespace __gnu_cxx {
void __freeres(); // gives the exceptions' reserve back
}

namespace {

SRWLOCK guardLock = SRWLOCK_INIT;
CONDITION_VARIABLE guardChanged = CONDITION_VARIABLE_INIT;

/// What stands in the guard of a function-local static.
struct StaticGuard {
    /// Read by the compiled code without any lock.
    std::atomic<std::uint8_t> done;
    std::uint8_t running;
};

StaticGuard& guardAt(__cxxabiv1::__guard* pGuard) noexcept {
    return *reinterpret_cast<StaticGuard*>(pGuard);
}

void endInitialisation(__cxxabiv1::__guard* pGuard, bool done) noexcept {
    ::AcquireSRWLockExclusive(&guardLock);
    guardAt(pGuard).running = 0;
    guardAt(pGuard).done.store(done ? 1 : 0, std::memory_order_release);
    ::ReleaseSRWLockExclusive(&guardLock);
    ::WakeAllConditionVariable(&guardChanged);
}

/// A thread's exceptions in flight.
struct ThreadExceptions {
    void* pCaught;
    unsigned int uncaughtCount;
};

void WINAPI freeThreadExceptions(void* pExceptions) noexcept {
    ::HeapFree(::GetProcessHeap(), 0, pExceptions);
}

SRWLOCK slotLock = SRWLOCK_INIT;
/// The per-thread slot; freeing it frees what every thread has in it.
std::atomic<DWORD> threadSlot{FLS_OUT_OF_INDEXES};

DWORD makeThreadSlot() noexcept {
    ::AcquireSRWLockExclusive(&slotLock);
    if (threadSlot == FLS_OUT_OF_INDEXES) {
        threadSlot = ::FlsAlloc(&freeThreadExceptions);
    }
    ::ReleaseSRWLockExclusive(&slotLock);
    return threadSlot;
}

__attribute__((destructor)) void giveBackAtUnload() {
    if (const DWORD slot = threadSlot.exchange(FLS_OUT_OF_INDEXES); slot != FLS_OUT_OF_INDEXES) {
        ::FlsFree(slot);
    }
    __gnu_cxx::__freeres();
}

} // namespace

namespace __cxxabiv1 {

extern "C" {

/// 1 when the caller is to initialise the static, 0 when that is done.
int __cxa_guard_acquire(__guard* pGuard) noexcept {
    ::AcquireSRWLockExclusive(&guardLock);
    while (guardAt(pGuard).done == 0 && guardAt(pGuard).running != 0) {
        ::SleepConditionVariableSRW(&guardChanged, &guardLock, INFINITE, 0);
    }
    const bool mine = guardAt(pGuard).done == 0;
    if (mine) {
        guardAt(pGuard).running = 1;
    }
    ::ReleaseSRWLockExclusive(&guardLock);
    return mine ? 1 : 0;
}

void __cxa_guard_release(__guard* pGuard) noexcept {
    endInitialisation(pGuard, true);
}

void __cxa_guard_abort(__guard* pGuard) noexcept {
    endInitialisation(pGuard, false);
}

__cxa_eh_globals* __cxa_get_globals_fast() noexcept {
    const DWORD slot = threadSlot;
    return slot != FLS_OUT_OF_INDEXES ? static_cast<__cxa_eh_globals*>(::FlsGetValue(slot)) : nullptr;
}

__cxa_eh_globals* __cxa_get_globals() noexcept {
    if (__cxa_eh_globals* const pHeld = __cxa_get_globals_fast()) {
        return pHeld;
    }
    void* const pMade = ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ThreadExceptions));
    const DWORD slot = threadSlot != FLS_OUT_OF_INDEXES ? threadSlot.load() : makeThreadSlot();
    if (pMade == nullptr || slot == FLS_OUT_OF_INDEXES || ::FlsSetValue(slot, pMade) == FALSE) {
        std::terminate();
    }
    return static_cast<__cxa_eh_globals*>(pMade);
}

} // extern "C"

} // namespace __cxxabiv1
