#include "kernels/LimiterLoops.h"

#include "kernels/InstructionSet.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace tovix {
namespace {

/// One for each instruction set.
constexpr std::array<const LimiterLoops*, 3> known{&sse2LimiterLoops, &avx2LimiterLoops, &avx512LimiterLoops};

/// Null for the fastest.
constinit std::atomic<const LimiterLoops*> forced{nullptr};

} // namespace

std::span<const LimiterLoops* const> availableLimiterLoops() noexcept {
    return std::span{known}.first(instructionSetCount());
}

const LimiterLoops& limiterLoops() noexcept {
    const LimiterLoops* const pForced = forced.load(std::memory_order_acquire);
    return pForced != nullptr ? *pForced : *availableLimiterLoops().back();
}

bool forceLimiterLoops(std::string_view name) noexcept {
    const auto sets = availableLimiterLoops();
    const auto found =
        std::find_if(sets.begin(), sets.end(), [name](const LimiterLoops* pLoops) { return pLoops->name == name; });
    if (found == sets.end()) {
        return false;
    }
    forced.store(*found, std::memory_order_release);
    return true;
}

} // namespace tovix
