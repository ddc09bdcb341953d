// The parts of the compiler's run-time library that a module must have its own way when it is loaded and freed again
// while the process lives. The library's own versions sit on a thread library that attaches two handles and memory to
// every thread that comes through, gives them back only when that thread ends, and throws where it gets no memory for
// a lock; the reserve for exceptions is never given back; and a program that cannot go on ends with a message box.
// With these the thread library is not linked at all. Names and layouts are those of the C++ ABI that the compiler
// follows and of the thread library's header.

#include "system/ProcessQueries.h"

#include <windows.h>

#include <cxxabi.h>
#include <fftw3.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <exception>

namespace __gnu_cxx {
void __freeres(); // gives the exceptions' reserve back
}

namespace {

/// A thread's exceptions in flight.
struct ThreadExceptions {
    void* pCaught;
    unsigned int uncaughtCount;
};

void WINAPI freeThreadExceptions(void* pExceptions) noexcept {
    ::HeapFree(::GetProcessHeap(), 0, pExceptions);
}

/// The per-thread slot, from the module's loading to its end; freeing it frees what every thread has in it.
DWORD threadSlot = FLS_OUT_OF_INDEXES;

__attribute__((constructor)) void makeThreadSlot() {
    threadSlot = ::FlsAlloc(&freeThreadExceptions);
}

/// Runs after the destructors of statics. A process that ends gives everything back by itself, and threads that it
/// has ended may hold the heap's locks.
__attribute__((destructor)) void giveBackAtUnload() {
    if (!tovix::processIsEnding()) {
        ::fftwf_cleanup(); // what its planner has learnt
        ::FlsFree(threadSlot);
        threadSlot = FLS_OUT_OF_INDEXES;
        __gnu_cxx::__freeres();
    }
}

/// For a thread that gets no memory just when it has to throw, which is when memory has run out. Kept for good, as
/// nothing tells of the thread's end: a later thread of the same identifier takes it over. The first thread too many
/// ends the process, as the first of all would without the reserve.
struct Reserve {
    std::atomic<DWORD> threadId;
    ThreadExceptions exceptions{};
};
/// 64: a guess well above the threads of one process that come here; each costs 24 bytes.
std::array<Reserve, 64> reserves;

/// A reserve of thread `from` (0: of no thread), which becomes that of `to`.
ThreadExceptions* handOverReserve(DWORD from, DWORD to) noexcept {
    for (Reserve& reserve : reserves) {
        DWORD expected = from;
        if (reserve.threadId.compare_exchange_strong(expected, to)) {
            return &reserve.exceptions;
        }
    }
    return nullptr;
}

ThreadExceptions* findThreadExceptions() noexcept {
    const DWORD self = ::GetCurrentThreadId();
    void* const pHeld = ::FlsGetValue(threadSlot);
    return pHeld != nullptr ? static_cast<ThreadExceptions*>(pHeld) : handOverReserve(self, self);
}

ThreadExceptions* makeThreadExceptions() noexcept {
    void* const pMade = ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ThreadExceptions));
    if (pMade != nullptr && ::FlsSetValue(threadSlot, pMade) != FALSE) {
        return static_cast<ThreadExceptions*>(pMade);
    }
    freeThreadExceptions(pMade);
    ThreadExceptions* const pReserve = handOverReserve(0, ::GetCurrentThreadId());
    return pReserve != nullptr ? pReserve : (std::terminate(), nullptr);
}

} // namespace

extern "C" {

__cxxabiv1::__cxa_eh_globals* __cxxabiv1::__cxa_get_globals_fast() noexcept {
    return reinterpret_cast<__cxa_eh_globals*>(findThreadExceptions());
}

__cxxabiv1::__cxa_eh_globals* __cxxabiv1::__cxa_get_globals() noexcept {
    ThreadExceptions* const pHeld = findThreadExceptions();
    return reinterpret_cast<__cxa_eh_globals*>(pHeld != nullptr ? pHeld : makeThreadExceptions());
}

// The one mutex that is left guards the reserve for exceptions: a slim lock does.
static_assert(sizeof(pthread_mutex_t) == sizeof(SRWLOCK));

int pthread_mutex_init(pthread_mutex_t* m, const pthread_mutexattr_t* /*pAttributes*/) {
    ::InitializeSRWLock(reinterpret_cast<SRWLOCK*>(m));
    return 0;
}

int pthread_mutex_destroy(pthread_mutex_t* /*m*/) {
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t* m) {
    ::AcquireSRWLockExclusive(reinterpret_cast<SRWLOCK*>(m));
    return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* m) {
    ::ReleaseSRWLockExclusive(reinterpret_cast<SRWLOCK*>(m));
    return 0;
}

/// Ends the process at once and in a way that the system reports. The C library's own shows a message box first,
/// which nobody closes in a service.
void abort() {
    ::RaiseFailFastException(nullptr, nullptr, FAIL_FAST_GENERATE_EXCEPTION_ADDRESS);
    __builtin_trap(); // the call does not return
}

} // extern "C"

/// What std::terminate calls; the library's own writes to a console and brings a name demangler along.
void __gnu_cxx::__verbose_terminate_handler() {
    abort();
}
