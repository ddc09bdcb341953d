#include "convolution/PlannerLock.h"

#include <atomic>

#ifndef __linux__
#include <xmmintrin.h>
#endif

namespace tovix {
namespace {

constinit std::atomic_flag busy;

/// Waits in the kernel where a wait on an atomic is a futex. Elsewhere it would be a mutex and a condition variable
/// of the run-time library, with memory of their own: there this lock spins, and the shell installs another.
constinit PlannerLock installed{
    []() noexcept {
        while (busy.test_and_set(std::memory_order_acquire)) {
#ifdef __linux__
            busy.wait(true, std::memory_order_relaxed);
#else
            _mm_pause();
#endif
        }
    },
    []() noexcept {
        busy.clear(std::memory_order_release);
#ifdef __linux__
        busy.notify_one();
#endif
    },
};

} // namespace

void installPlannerLock(const PlannerLock& lock) noexcept {
    installed = lock;
}

PlannerHold::PlannerHold() noexcept {
    installed.acquire();
}

PlannerHold::~PlannerHold() {
    installed.release();
}

} // namespace tovix
