// The parts of the compiler's run-time library that a module must have its own way when it is loaded and freed again
// while the process lives. The library's own versions sit on a thread library that attaches two handles and memory to
// every thread that comes through, gives them back only when that thread ends, and throws where it gets no memory for
// a lock; and the reserve for exceptions is never given back. With these the thread library is not linked at all.
// Names and layouts are those of the C++ ABI that the compiler follows and of the thread library's header.

#include "system/ProcessQueries.h"

#include <windows.h>

#include <cxxabi.h>
#include <fftw3.h>
#include <pthread.h>

#include <array>
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
    /// Of the thread that runs the initialisation.
    std::uint32_t threadId;
};
static_assert(sizeof(StaticGuard) == sizeof(__cxxabiv1::__guard));

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
/// No slot is made once the module goes: nothing would free it.
std::atomic<bool> slotClosed{false};

DWORD provideThreadSlot() noexcept {
    ::AcquireSRWLockExclusive(&slotLock);
    if (threadSlot == FLS_OUT_OF_INDEXES && !slotClosed) {
        threadSlot = ::FlsAlloc(&freeThreadExceptions);
    }
    ::ReleaseSRWLockExclusive(&slotLock);
    return threadSlot;
}

/// For a thread that gets no memory or no slot just when it has to throw, which is when memory has run out. Kept for
/// good, as nothing tells of the thread's end: a later thread of the same identifier takes it over. The first thread
/// too many ends the process, as the first of all did without the reserve.
struct Reserve {
    std::atomic<DWORD> threadId;
    ThreadExceptions exceptions;
};
std::array<Reserve, 64> reserves;
std::atomic<bool> reservesUsed{false};

ThreadExceptions* findReserve(DWORD threadId) noexcept {
    for (Reserve& reserve : reserves) {
        if (reserve.threadId == threadId) {
            return &reserve.exceptions;
        }
    }
    return nullptr;
}

ThreadExceptions* takeReserve(DWORD threadId) noexcept {
    reservesUsed = true;
    for (Reserve& reserve : reserves) {
        DWORD nobody = 0;
        if (reserve.threadId.compare_exchange_strong(nobody, threadId)) {
            return &reserve.exceptions;
        }
    }
    std::terminate();
}

ThreadExceptions* findThreadExceptions() noexcept {
    const DWORD slot = threadSlot;
    void* const pHeld = slot != FLS_OUT_OF_INDEXES ? ::FlsGetValue(slot) : nullptr;
    return pHeld == nullptr && reservesUsed ? findReserve(::GetCurrentThreadId())
                                            : static_cast<ThreadExceptions*>(pHeld);
}

ThreadExceptions* makeThreadExceptions() noexcept {
    const DWORD slot = provideThreadSlot();
    void* const pMade = slot != FLS_OUT_OF_INDEXES
                            ? ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ThreadExceptions))
                            : nullptr;
    if (pMade != nullptr && ::FlsSetValue(slot, pMade) != FALSE) {
        return static_cast<ThreadExceptions*>(pMade);
    }
    if (pMade != nullptr) {
        freeThreadExceptions(pMade);
    }
    return takeReserve(::GetCurrentThreadId());
}

/// Runs after the destructors of statics. A process that ends gives everything back by itself, and threads that it
/// has ended may hold the heap's locks.
__attribute__((destructor)) void giveBackAtUnload() {
    if (tovix::processIsEnding()) {
        return;
    }
    ::fftwf_cleanup(); // what its planner has learnt
    slotClosed = true;
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
        if (guardAt(pGuard).threadId == ::GetCurrentThreadId()) {
            std::terminate(); // it would wait for itself
        }
        ::SleepConditionVariableSRW(&guardChanged, &guardLock, INFINITE, 0);
    }
    const bool mine = guardAt(pGuard).done == 0;
    if (mine) {
        guardAt(pGuard).running = 1;
        guardAt(pGuard).threadId = ::GetCurrentThreadId();
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
    return reinterpret_cast<__cxa_eh_globals*>(findThreadExceptions());
}

__cxa_eh_globals* __cxa_get_globals() noexcept {
    ThreadExceptions* const pHeld = findThreadExceptions();
    return reinterpret_cast<__cxa_eh_globals*>(pHeld != nullptr ? pHeld : makeThreadExceptions());
}

} // extern "C"

} // namespace __cxxabiv1

extern "C" {

// The run-time library's few mutexes guard its reserve for exceptions and its locales; they are seldom met and never
// locked twice by one thread. What a static initialiser leaves in one is neither of the two values.
constexpr pthread_mutex_t mutexFree = 0;
constexpr pthread_mutex_t mutexHeld = 1;

int pthread_mutex_init(pthread_mutex_t* pMutex, const pthread_mutexattr_t* /*pAttributes*/) {
    *pMutex = mutexFree;
    return 0;
}

int pthread_mutex_destroy(pthread_mutex_t* /*pMutex*/) {
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t* pMutex) {
    while (__atomic_exchange_n(pMutex, mutexHeld, __ATOMIC_ACQUIRE) == mutexHeld) {
        ::Sleep(1);
    }
    return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* pMutex) {
    __atomic_store_n(pMutex, mutexFree, __ATOMIC_RELEASE);
    return 0;
}

/// Each control word for itself, because an initialisation may call for another.
int pthread_once(pthread_once_t* pOnce, void (*initialise)()) {
    constexpr pthread_once_t done = 1;
    constexpr pthread_once_t running = 2;
    while (__atomic_load_n(pOnce, __ATOMIC_ACQUIRE) != done) {
        pthread_once_t untouched = PTHREAD_ONCE_INIT;
        if (!__atomic_compare_exchange_n(pOnce, &untouched, running, false, __ATOMIC_ACQUIRE, __ATOMIC_ACQUIRE)) {
            ::Sleep(1);
            continue;
        }
        try {
            initialise();
        } catch (...) {
            __atomic_store_n(pOnce, untouched, __ATOMIC_RELEASE);
            throw;
        }
        __atomic_store_n(pOnce, done, __ATOMIC_RELEASE);
    }
    return 0;
}

int nanosleep(const struct timespec* pDuration, struct timespec* /*pRemaining*/) {
    constexpr long long nanosecondsPerMs = 1000000;
    ::Sleep(static_cast<DWORD>(pDuration->tv_sec * 1000 +
                               (pDuration->tv_nsec + nanosecondsPerMs - 1) / nanosecondsPerMs));
    return 0;
}

} // extern "C"
