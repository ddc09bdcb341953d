#pragma once

#include "memory/RtSection.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace tovix {

/// Operands of the complex multiply-accumulate of one input spectrum with a run of filter partitions, in split form:
/// for every row r, acc[r] += input * partition[r], bin by bin. All spectra are 16-byte aligned and hold
/// `blockFrames` + 1 bins; no accumulator overlaps any other spectrum.
struct SpectrumProducts {
    const float* inputRe;
    const float* inputIm;
    const float* const* partitionRe;
    const float* const* partitionIm;
    float* const* accRe;
    float* const* accIm;
    std::size_t rows;
    std::size_t blockFrames;
};

/// The inner loops of the real-time path, one set per instruction set. Every function is [audio].
struct Kernels {
    std::string_view name;

    /// Adds the products to the accumulators: bins 0 to 4 * floor(B / 4) - 1 and bin B of each row, B being
    /// `blockFrames`. The bins between are left alone, deliberately.
    void (*multiplyAccumulate)(const SpectrumProducts& products) noexcept;

    /// channels[c][f] = interleaved[f * channelCount + c].
    void (*deinterleave)(const float* interleaved, float* const* channels, std::uint32_t channelCount,
                         std::uint32_t frameCount) noexcept;

    /// interleaved[f * channelCount + c] = channels[c][f]; a sample that is not finite becomes 0.
    void (*interleaveFinite)(const float* const* channels, float* interleaved, std::uint32_t channelCount,
                             std::uint32_t frameCount) noexcept;

    /// Copies `count` samples, at any address, to a buffer that does not overlap them; one that is not finite becomes
    /// 0.
    void (*copyFinite)(const float* source, float* target, std::size_t count) noexcept;

    /// sum[i] = a[i] + b[i] for `count` samples at any address; `sum` may be `a` or `b`.
    void (*add)(const float* a, const float* b, float* sum, std::size_t count) noexcept;

    /// Multiplies `count` samples, at any address, by `gain`.
    void (*applyGain)(float* samples, std::size_t count, float gain) noexcept;

    /// Multiplies the frames of two channels by `gain` up to the first that would leave -limit to +limit (or is not a
    /// number), and returns how many those were; that frame and the rest stay as they are.
    std::size_t (*applyGainWithin)(float* left, float* right, std::size_t count, float gain, float limit) noexcept;

    /// `applyGain` in double precision, rounded once.
    void (*applyPreciseGain)(float* samples, std::size_t count, double gain) noexcept;

    /// Replaces every sample that is not finite by 0 and returns the largest magnitude of what is left.
    float (*silenceNonFinite)(float* samples, std::size_t count) noexcept;

    /// A raised cosine (Hann half window): weights[i] = (1 - cos(p * pi / fadeFrames)) / 2 for p = `position` + i, in
    /// single precision throughout, and 1 where p is not below `fadeFrames`, which is below 2^24. How the cosine's
    /// last bit is rounded is each set's own; what is computed of a frame does not depend on where a call begins.
    void (*fadeInWeights)(std::uint32_t position, std::uint32_t fadeFrames, float* weights,
                          std::size_t count) noexcept;

    /// current[i] = weights[i] * pending[i] + (1 - weights[i]) * current[i] for `count` samples at any address.
    void (*crossfade)(const float* weights, const float* pending, float* current, std::size_t count) noexcept;
};

/// The reference: plain loops.
extern const Kernels scalarKernels;
/// 128-bit vectors; every x86-64 processor has them.
extern const Kernels sse2Kernels;

/// [control] Every set that this processor can run, the reference first and the fastest last. For tests and
/// benchmarks; the effect asks for `kernels()` alone.
std::span<const Kernels* const> availableKernels() noexcept;

/// The set in force: the fastest, chosen once, unless another was forced. [audio] once chosen.
const Kernels& kernels() noexcept RT_SECTION;

/// [control] For tests and benchmarks: forces the set of that name for chains built from now on; false, and no
/// change, when this processor has no set of that name.
bool forceKernels(std::string_view name) noexcept;

} // namespace tovix
