#include "kernels/Kernels.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace tovix {
namespace {

constexpr std::array<const Kernels*, 2> runnable{&scalarKernels, &sse2Kernels};

constinit std::atomic<const Kernels*> inForce{runnable.back()};

} // namespace

std::span<const Kernels* const> availableKernels() noexcept {
    return runnable;
}

const Kernels& kernels() noexcept {
    return *inForce.load(std::memory_order_acquire);
}

bool forceKernels(std::string_view name) noexcept {
    const auto* const pFound = std::find_if(runnable.begin(), runnable.end(),
                                            [name](const Kernels* pKernels) { return pKernels->name == name; });
    if (pFound == runnable.end()) {
        return false;
    }
    inForce.store(*pFound, std::memory_order_release);
    return true;
}

} // namespace tovix
