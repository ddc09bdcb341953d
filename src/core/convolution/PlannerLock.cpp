#include "convolution/PlannerLock.h"

#include <xmmintrin.h>

#include <atomic>

namespace tovix {
namespace {

constinit std::atomic_flag busy;

constinit PlannerLock installed{
    []() noexcept {
        while (busy.test_and_set(std::memory_order_acquire)) {
            _mm_pause();
        }
    },
    []() noexcept { busy.clear(std::memory_order_release); },
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
