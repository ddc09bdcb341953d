#pragma once

#include "filters/ResponseInterpolator.h"
#include "memory/AlignedArray.h"

#include <cstdint>
#include <span>

namespace tovix {

/// What an equalizer's filter is designed from.
struct EqualizerDesign {
    /// The wanted response, in rising order of frequency; flat at 0 dB when empty.
    std::span<const ResponsePoint> points;
    std::uint32_t tapCount;
    float sampleRateHz;
};

/// [control] The minimum-phase impulse response that EffectEqualizer applies, `tapCount` finite taps. Empty when
/// memory or a plan is refused, or when the design is not finite, as with a gain that is too large for a float. The
/// magnitudes reach the points' gains as far as `tapCount` taps resolve frequencies. Gains below -100 dB, and those
/// that the points leave undefined, become -100 dB.
HeapArray<float> designImpulseResponse(const EqualizerDesign& design) noexcept;

} // namespace tovix
