#pragma once

#include "convolution/BlockConvolver.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace tovix {

struct VectorLoops;

/// One way to convolve blocks. Their outputs agree except for rounding.
struct ConvolverEngine {
    std::string_view name;
    /// The loops that its convolvers run; null for FFTW's transforms and the set of kernels in force.
    const VectorLoops* pLoops;

    /// [control] A convolver whose past is silence; null when the task is out of range, or memory or a plan is
    /// refused.
    [[nodiscard]] BlockConvolverPtr make(const ConvolverTask& task) const noexcept;

    /// [control] Whether blocks of so many frames allocate nothing (see PartitionedConvolver).
    [[nodiscard]] bool blocksAllocateNothing(std::uint32_t blockFrames) const noexcept;
};

/// [control] Every engine that this processor can run, the reference first and the fastest last: "fftw", "avx2",
/// "avx512". For tests and benchmarks.
std::span<const ConvolverEngine* const> availableConvolverEngines() noexcept;

/// [control] The engine in force: the fastest, unless another was forced.
const ConvolverEngine& convolverEngine() noexcept;

/// [control] For tests and benchmarks: forces the engine of that name for convolvers made from now on; false, and no
/// change, when this processor has no engine of that name.
bool forceConvolverEngine(std::string_view name) noexcept;

} // namespace tovix
