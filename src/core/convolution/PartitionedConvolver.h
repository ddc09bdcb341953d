#pragma once

#include "convolution/FftPlan.h"
#include "kernels/Kernels.h"
#include "memory/AlignedArray.h"
#include "memory/RtSection.h"

#include <cstdint>
#include <span>

namespace tovix {

/// Convolves one channel with a long FIR filter and no latency beyond the block itself: uniformly partitioned
/// overlap-add in the frequency domain. The filter is cut into partitions of one block length B; the spectrum of each
/// input block is multiplied by all partition spectra and accumulated into a ring of output spectra to come.
///
/// A block length that is not a multiple of 4 has a gap (see BlockConvolver), which is kept on purpose.
///
/// The block steps allocate nothing when `stepsAllocateNothing(B)`. For any other B the output is as exact, but FFTW
/// works with Rader's algorithm, whose every transform takes its work space from the heap, and none of the planner's
/// flags avoids it. (Lengths with the factor 43 are clean below 3182.)
class PartitionedConvolver {
public:
    /// Longest block: more than any audio engine uses, little enough for the integers of the record.
    static constexpr std::uint32_t maxBlockFrames = 1U << 22U;

    /// [control] No record yet.
    PartitionedConvolver() noexcept = default;
    PartitionedConvolver(PartitionedConvolver&&) noexcept = default;
    PartitionedConvolver& operator=(PartitionedConvolver&&) noexcept = default;
    ~PartitionedConvolver() { destroyPlans({this, 1}); }

    /// Any thread: whether no prime factor of `blockFrames` exceeds 31.
    static bool stepsAllocateNothing(std::uint32_t blockFrames) noexcept;

    /// [control] Builds the record for the impulse response `h` of at least one tap and blocks of `blockFrames`, at
    /// least 1. False when a length is out of range or memory or a plan is refused; the record is then destroyed.
    [[nodiscard]] bool init(std::span<const float> h, std::uint32_t blockFrames) noexcept;

    /// [control] Gives everything back; every field is zero afterwards.
    void destroy() noexcept;

    /// [control] `init` and `destroy` of all records of one filter, which take the planner's lock once for them all.
    /// When `initAll` fails none of them is built.
    [[nodiscard]] static bool initAll(std::span<PartitionedConvolver> records, std::span<const float> h,
                                      std::uint32_t blockFrames) noexcept;
    static void destroyAll(std::span<PartitionedConvolver> records) noexcept;

    /// [audio] The three steps of a block, in this order. Only on a record that `init` built.
    /// Reads B samples, taking any that is not finite as 0.
    void pushInput(const float* x) noexcept RT_SECTION;
    /// Multiplies the input's spectrum by all partitions.
    void accumulate() noexcept RT_SECTION;
    /// Writes B samples; `y` may be the buffer that `pushInput` read.
    void popOutput(float* y) noexcept RT_SECTION;

private:
    bool allocate(std::span<const float> h, std::uint32_t blockFrames) noexcept;
    bool plan(const PlannerHold& hold) noexcept;
    static void destroyPlans(std::span<PartitionedConvolver> records) noexcept;
    void transformPartitions(std::span<const float> h) noexcept;

    std::int32_t scheduleIndex = 0;
    std::int32_t scheduleLength = 0;
    std::int32_t ringPos = 0;
    std::int32_t blockSize = 0;
    /// Block i of a cycle processes partitions schedule[i] up to but excluding schedule[i + 1].
    RtArray<std::int32_t> schedule;
    RtArray<float> timeBuffer;
    RtArray<ComplexBin> spectrum;
    RtArray<float> inputRe;
    RtArray<float> inputIm;
    std::int32_t partitionCount = 0;
    RtArray<float*> partitionRe;
    RtArray<float*> partitionIm;
    std::int32_t ringLength = 0;
    RtArray<float*> accRe;
    RtArray<float*> accIm;
    RtArray<float> overlap;
    FftPlan forwardPlan;
    FftPlan backwardPlan;
    /// The bins behind partitionRe and partitionIm, and those behind accRe and accIm.
    RtArray<float> partitionBins;
    RtArray<float> accBins;
    const Kernels* innerLoops = nullptr;
};

} // namespace tovix
