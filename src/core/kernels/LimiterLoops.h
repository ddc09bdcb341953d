#pragma once

#include "memory/RtSection.h"

#include <cstddef>
#include <span>
#include <string_view>

namespace tovix {

// The inner loops of BoostDynamics, one set per instruction set, all compiled from the same source (vector/). Levels
// are in octaves: the base-2 logarithm of an amplitude, 0 is full scale and 1 is 6.02 dB.

/// Frames `first` to `first` + `count` - 1 of planar channels, at any address.
struct ChannelRun {
    float* const* channels;
    std::size_t channelCount;
    std::size_t first;
    std::size_t count;
};

/// What does not change while a limiter runs.
struct LimiterTerms {
    /// Finite and not negative; 0 for a boost so low that its factor is below every double.
    double preGain = 1.0;
    /// The threshold that belongs to an envelope of 1; negative.
    double thresholdPerOctave = -1.0;
    /// The change of gain for a level 1 above the threshold; negative.
    double gainPerOctave = -0.5;
    /// What part of the level that was held last an envelope falls in a frame; at most 1.
    double stepPerLevel = 1.0;
};

/// What a limiter remembers. The envelope is the level that was held last, less a step for each frame that has been
/// released since: a product instead of repeated subtractions, so that no rounding adds up however long the release,
/// and the result does not depend on how the frames are divided into runs.
struct LimiterState {
    /// Held peak level that the release has brought down so far, >= 0.
    double envelope = 0.0;
    /// Level above which gain is reduced, <= 0.
    double threshold = 0.0;
    /// The envelope of the last attack or change of the terms.
    double heldLevel = 0.0;
    /// Since then; a whole number. Where it is not 0 the threshold is the one that belongs to the envelope.
    double releasedFrames = 0.0;
    /// What the envelope falls for each of them, worked out at the last attack.
    double step = 0.0;
};

/// Every function is [audio]. Arrays of one value per frame have room for a multiple of 16 frames.
struct LimiterLoops {
    std::string_view name;

    /// The largest magnitude of all samples; infinity where one is not finite.
    float (*largestMagnitude)(const ChannelRun& run) noexcept;

    /// The largest magnitude in each frame, over at least one channel, with zeros behind them up to a whole vector.
    /// False, and the peaks are of no use, where a sample is not finite.
    bool (*linkedPeaks)(const ChannelRun& run, float* peaks) noexcept;

    /// Feeds `count` such peaks to the limiter, which leaves the factor for the samples of each frame, pre-gain
    /// included.
    void (*limit)(const LimiterTerms& terms, LimiterState& state, const float* peaks, std::size_t count,
                  double* factors) noexcept;

    /// Multiplies the samples of each frame by its factor, in double precision.
    void (*applyFactors)(const ChannelRun& run, const double* factors) noexcept;
};

/// 128-bit vectors; every x86-64 processor has them.
extern const LimiterLoops sse2LimiterLoops;
/// AVX2 and FMA.
extern const LimiterLoops avx2LimiterLoops;
/// AVX-512 F, VL and DQ.
extern const LimiterLoops avx512LimiterLoops;

/// [control] Every set that this processor can run, the fastest last: "sse2", "avx2", "avx512". For
/// tests and benchmarks.
std::span<const LimiterLoops* const> availableLimiterLoops() noexcept;

/// [control] The set in force: the fastest, unless another was forced.
const LimiterLoops& limiterLoops() noexcept;

/// [control] For tests and benchmarks: forces the set of that name for limiters made from now on; false, and no
/// change, when this processor has no set of that name.
bool forceLimiterLoops(std::string_view name) noexcept;

} // namespace tovix
