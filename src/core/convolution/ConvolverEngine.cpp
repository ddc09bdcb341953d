#include "convolution/ConvolverEngine.h"

#include "convolution/ConvolverBank.h"
#include "convolution/PartitionedConvolver.h"
#include "convolution/RightAngleConvolver.h"
#include "convolution/VectorLoops.h"
#include "kernels/InstructionSet.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace tovix {
namespace {

static_assert(ConvolverTask::maxBlockFrames == PartitionedConvolver::maxBlockFrames);

constexpr ConvolverEngine fftw{"fftw", nullptr};
constexpr ConvolverEngine avx2{"avx2", &avx2Loops};
constexpr ConvolverEngine avx512{"avx512", &avx512Loops};

/// One for each instruction set.
constexpr std::array<const ConvolverEngine*, 3> known{&fftw, &avx2, &avx512};

/// Null for the fastest.
constinit std::atomic<const ConvolverEngine*> forced{nullptr};

} // namespace

BlockConvolverPtr ConvolverEngine::make(const ConvolverTask& task) const noexcept {
    if (task.taps.empty() || task.blockFrames == 0 || task.blockFrames > ConvolverTask::maxBlockFrames ||
        task.channelCount == 0) {
        return nullptr;
    }
    if (pLoops == nullptr) {
        return ConvolverBank::make(task);
    }
    // A block that fits the narrower vectors is faster there: the wider ones would be filled up with zeros.
    return RightAngleConvolver::make(task.blockFrames <= avx2Loops.lanes ? avx2Loops : *pLoops, task);
}

bool ConvolverEngine::blocksAllocateNothing(std::uint32_t blockFrames) const noexcept {
    return pLoops != nullptr || PartitionedConvolver::stepsAllocateNothing(blockFrames);
}

std::span<const ConvolverEngine* const> availableConvolverEngines() noexcept {
    return std::span{known}.first(instructionSetCount());
}

const ConvolverEngine& convolverEngine() noexcept {
    const ConvolverEngine* const pForced = forced.load(std::memory_order_acquire);
    return pForced != nullptr ? *pForced : *availableConvolverEngines().back();
}

bool forceConvolverEngine(std::string_view name) noexcept {
    const auto engines = availableConvolverEngines();
    const auto found = std::find_if(engines.begin(), engines.end(),
                                    [name](const ConvolverEngine* pEngine) { return pEngine->name == name; });
    if (found == engines.end()) {
        return false;
    }
    forced.store(*found, std::memory_order_release);
    return true;
}

} // namespace tovix
