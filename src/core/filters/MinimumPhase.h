#pragma once

#include "convolution/FftPlan.h"
#include "memory/AlignedArray.h"

#include <cstdint>

namespace tovix {

/// Turns a magnitude response into a minimum-phase impulse response by folding its real cepstrum (homomorphic
/// filtering, Oppenheim and Schafer). [control] throughout; one object makes one design.
///
/// The mirror of bin k of the 2N-point spectrum of N taps is 2N - 1 - k, not 2N - k: the upper half of the spectrum
/// stands one bin too low. That is kept on purpose, because it decides how every existing setting sounds. The
/// spectrum is therefore that of a real signal at the frequencies halfway between the bins, turned by half a sample.
/// Such a spectrum is known from every second of its bins, and a complex transform of N points weighted with
/// e^(i*pi*n/2N) goes there and back.
class MinimumPhase {
public:
    static constexpr std::uint32_t maxTapCount = 1U << 24U;

    /// Work space and plans for `tapCount` taps, 1 to `maxTapCount`; empty (`!*this`) when memory or a plan is
    /// refused.
    static MinimumPhase make(std::uint32_t tapCount) noexcept;

    MinimumPhase(MinimumPhase&&) noexcept = default;
    MinimumPhase& operator=(MinimumPhase&&) noexcept = default;
    ~MinimumPhase();

    explicit operator bool() const noexcept { return m_forward && m_backward; }

    /// Sets the wanted gain, `gainDb`, at frequency sampleRate * bin / (2 * tapCount), bin < tapCount, and at its
    /// mirror. Gains below the equalizer's floor, and NaN, count as the floor.
    void setMagnitude(std::size_t bin, double gainDb) noexcept;

    /// Designs from all the gains set, which uses them up, and returns `tapCount` taps faded out by a half raised
    /// cosine; empty when there is no memory.
    HeapArray<float> impulseResponse() noexcept;

private:
    MinimumPhase() noexcept = default;
    bool fillWeights() noexcept;
    void foldCepstrum() noexcept;
    void takeExponential() noexcept;
    /// Sample n of the real signal that the backward transform left.
    [[nodiscard]] double signalAt(std::size_t n) const noexcept;

    std::uint32_t m_tapCount = 0;
    HeapArray<ComplexBin> m_time;
    /// Bin 2k of the 2N-point spectrum.
    HeapArray<ComplexBin> m_spectrum;
    /// e^(i * pi * n / 2N).
    HeapArray<ComplexBin> m_weights;
    FftPlan m_forward;
    FftPlan m_backward;
};

} // namespace tovix
