#pragma once

#include "convolution/FftPlan.h"
#include "memory/AlignedArray.h"

#include <cstdint>

namespace tovix {

/// Turns a magnitude response into a minimum-phase impulse response by folding its real cepstrum (homomorphic
/// filtering, Oppenheim and Schafer). [control] throughout; one object makes one design.
class MinimumPhase {
public:
    static constexpr std::uint32_t maxTapCount = 1U << 24U;

    /// Work space and plans for `tapCount` taps, 1 to `maxTapCount`; empty (`!*this`) when memory or a plan is
    /// refused.
    static MinimumPhase make(std::uint32_t tapCount) noexcept;

    explicit operator bool() const noexcept { return m_forward && m_backward; }

    /// Wants the magnitude `gainDb` at frequency sampleRate * bin / (2 * tapCount), bin < tapCount, and at its
    /// mirror. Less than the equalizer's floor, and what is not a number, counts as the floor. The mirror of bin k is
    /// 2 * tapCount - 1 - k, not 2 * tapCount - k: the upper half of the spectrum stands one bin too low,
    /// deliberately, and the designs of all existing settings come out of that.
    void setMagnitude(std::size_t bin, double gainDb) noexcept;

    /// Designs from all the magnitudes set, using them up, and returns `tapCount` taps faded out by a half raised
    /// cosine; empty when there is no memory.
    HeapArray<float> impulseResponse() noexcept;

private:
    void foldCepstrum() noexcept;
    void takeExponential() noexcept;

    std::uint32_t m_tapCount = 0;
    HeapArray<ComplexBin> m_time;
    HeapArray<ComplexBin> m_spectrum;
    FftPlan m_forward;
    FftPlan m_backward;
};

} // namespace tovix
