#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace tovix {

/// Operands of one complex multiply-accumulate, in split form: acc += input * partition, bin by bin. All arrays
/// are 16-byte aligned and hold at least `bins` floats; the accumulators overlap none of the others.
struct SpectrumProduct {
    float* accRe;
    float* accIm;
    const float* inputRe;
    const float* inputIm;
    const float* partitionRe;
    const float* partitionIm;
};

/// The inner loops of the real-time path, one set per instruction set. Every function is [audio].
struct Kernels {
    std::string_view name;

    /// Adds the product of `bins` bins (a multiple of 4) to the accumulators.
    void (*multiplyAccumulate)(const SpectrumProduct& product, std::size_t bins) noexcept;

    /// channels[c][f] = interleaved[f * channelCount + c].
    void (*deinterleave)(const float* interleaved, float* const* channels, std::uint32_t channelCount,
                         std::uint32_t frameCount) noexcept;

    /// interleaved[f * channelCount + c] = channels[c][f], a sample that is not finite becoming 0.
    void (*interleave)(const float* const* channels, float* interleaved, std::uint32_t channelCount,
                       std::uint32_t frameCount) noexcept;

    /// Multiplies `count` samples, at any address, by `gain`.
    void (*applyGain)(float* samples, std::size_t count, float gain) noexcept;
};

/// The reference: plain loops.
extern const Kernels scalarKernels;
/// 128-bit vectors; every x86-64 processor has them.
extern const Kernels sse2Kernels;

/// [control] Every set that this processor can run, the reference first and the fastest last.
std::span<const Kernels* const> availableKernels() noexcept;

/// The set in force: the fastest, chosen once, unless another was forced. [audio] once chosen.
const Kernels& kernels() noexcept;

/// [control] Forces the set of that name for chains built from now on; false, and no change, when this processor
/// has no set of that name.
bool forceKernels(std::string_view name) noexcept;

} // namespace tovix
