#pragma once

#include <cstddef>

namespace tovix {

/// The instruction sets that have inner loops of their own. Each needs what the one before it needs.
enum class InstructionSet : std::size_t {
    /// SSE2, which every x86-64 processor has.
    baseline,
    /// AVX2 and FMA.
    avx2,
    /// AVX-512 F, VL and DQ.
    avx512,
};

/// [control] The widest one that both the processor and the system support.
InstructionSet widestInstructionSet() noexcept;

/// [control] How many of them run here.
inline std::size_t instructionSetCount() noexcept {
    return static_cast<std::size_t>(widestInstructionSet()) + 1;
}

} // namespace tovix
