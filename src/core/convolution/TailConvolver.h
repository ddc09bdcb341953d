#pragma once

#include "convolution/BlockConvolver.h"
#include "convolution/RightAngleTransform.h"
#include "convolution/VectorLoops.h"
#include "memory/AlignedArray.h"
#include "memory/RtSection.h"

#include <cstddef>

namespace tovix {

/// The later taps of a long filter for short blocks of B frames, in partitions of K * B: so long a partition takes as
/// many products for each of its samples as a short one, and there is but a K-th of them.
///
/// A *long block* is K blocks. While the next one plays, the transform of the long block before it, its sums and the
/// transform back are done in K steps of equal cost, one in each block; the result sounds in the K blocks after
/// those. The first tap is therefore that of number 2 K B of the whole filter.
///
/// The sums go ahead of the transforms: what all inputs but the two latest give to a long block's sum is summed, also
/// in K equal steps, one long block earlier, for several of them at once (TailSums::tile), as in RightAngleConvolver.
class TailConvolver {
public:
    /// [control] An empty one.
    TailConvolver() noexcept = default;

    /// [control] K for a task, or 0 where partitions of one length cost less.
    static std::size_t stepCountFor(const VectorLoops& loops, const ConvolverTask& task) noexcept;

    /// [control] For the taps of the task from 2 K B on, `stepCount` being K as above; empty (`!*this`) when there
    /// is no memory.
    static TailConvolver make(const VectorLoops& loops, const ConvolverTask& task, std::size_t stepCount) noexcept;

    // [audio] Forced inline, as it becomes part of a caller in the real-time section.
    [[gnu::always_inline]] explicit operator bool() const noexcept { return bool{m_played}; }

    // A block takes these steps, in this order where it matters: `pushInput` before the channel's output is written,
    // which may be the input's buffer.

    /// [audio] Notes the input block of a channel.
    void pushInput(std::size_t channel, const float* samples) noexcept RT_SECTION;
    /// [audio] Adds this block's part of the convolution to a channel's output.
    void addOutput(std::size_t channel, float* samples) const noexcept RT_SECTION;
    /// [audio] Does the block's step for a pair of channels, or for an odd last one.
    void step(std::size_t firstChannel, std::size_t count) noexcept RT_SECTION;
    /// [audio] Ends the block.
    void nextBlock() noexcept RT_SECTION;

private:
    /// How far a long block's way is gone when a step ends (or the first one begins): forward passes, rows across
    /// the lanes, passes back.
    struct StepEnds {
        std::size_t forward;
        std::size_t rows;
        std::size_t inverse;
    };

    bool planSteps() noexcept;
    bool allocate(std::size_t channelCount) noexcept;
    bool transformPartitions(const ConvolverTask& task) noexcept;

    void stepBack(std::size_t channel, const ColumnSteps& steps) noexcept RT_SECTION;

    /// Which of two buffers that take turns.
    [[nodiscard, gnu::always_inline]] float* sideOf(const RtArray<float>& sides, std::size_t channel,
                                                    std::size_t side) const noexcept {
        return sides.data() + (2 * channel + side) * m_transform.pointCount();
    }

    const VectorLoops* m_pLoops = nullptr;
    std::size_t m_blockFrames = 0;
    std::size_t m_stepCount = 0;
    std::size_t m_partitionCount = 0;
    std::size_t m_tile = 1;
    /// The block's number in its long block.
    std::size_t m_step = 0;
    std::size_t m_newestSlot = 0;
    /// The long block's number modulo `m_tile`, `m_tile` + 1 and 2.
    std::size_t m_phase = 0;
    std::size_t m_knownSlot = 0;
    std::size_t m_side = 0;

    RightAngleTransform m_transform;
    /// One more than there are steps.
    RtArray<StepEnds> m_plan;
    RtArray<float> m_filter;
    /// As RightAngleConvolver has them.
    RtArray<float> m_inputs;
    RtArray<float> m_known;
    RtArray<float> m_overlaps;
    /// A spectrum for each channel, which lasts from step to step.
    RtArray<float> m_work;
    /// Of each channel two long blocks of samples that come in, and two of those that go out: while one is filled or
    /// played, the steps work on the other.
    RtArray<float> m_heard;
    RtArray<float> m_played;
};

} // namespace tovix
