#pragma once

#include "convolution/BlockConvolver.h"
#include "convolution/VectorLoops.h"
#include "memory/AlignedArray.h"
#include "memory/RtSection.h"

#include <cstddef>

namespace tovix {

/// What the bins of the gap (see BlockConvolver) carry of a convolution, computed bin by bin from the definition of
/// the 2B-point transform, to be subtracted from the output: at most three bins, none where B is a multiple of 4.
///
/// With blocks shorter than 4 the gap leaves nothing but bin B. Then that bin is computed instead, and is the output.
class GapBins {
public:
    /// [control] An empty one.
    GapBins() noexcept = default;

    /// [control] Empty (`!*this`) when there is no memory.
    static GapBins make(const VectorLoops& loops, const ConvolverTask& task) noexcept;

    /// [control]
    explicit operator bool() const noexcept { return m_tables && m_filter && m_inputs && m_before; }

    /// [audio] Whether the gap is all but one bin, so that nothing else need be computed.
    [[gnu::always_inline]] static bool leavesOneBin(std::size_t blockFrames) noexcept { return blockFrames < 4; }

    /// [audio] Notes the input block of a channel. Call it before that channel's `correct`, once for each block.
    void pushInput(std::size_t channel, const float* samples) noexcept RT_SECTION;
    /// [audio] Subtracts the gap's part from the channel's output block, or makes the output where it is one bin.
    void correct(std::size_t channel, float* samples) noexcept RT_SECTION;
    /// [audio] Ends the block, after `correct` of all channels.
    void nextBlock() noexcept RT_SECTION;

private:
    bool fillTables() noexcept;
    bool transformPartitions(const ConvolverTask& task) noexcept;

    [[nodiscard, gnu::always_inline]] float* tableRe(std::size_t bin) const noexcept {
        return m_tables.data() + 2 * bin * m_tableFloats;
    }
    [[nodiscard, gnu::always_inline]] float* filterRe(std::size_t bin) const noexcept {
        return m_filter.data() + 2 * bin * m_partitionCount;
    }
    [[nodiscard, gnu::always_inline]] float* inputRe(std::size_t channel, std::size_t bin) const noexcept {
        return m_inputs.data() + 2 * (channel * m_binCount + bin) * m_partitionCount;
    }

    const VectorLoops* m_pLoops = nullptr;
    std::size_t m_blockFrames = 0;
    std::size_t m_firstBin = 0;
    std::size_t m_binCount = 0;
    std::size_t m_partitionCount = 0;
    std::size_t m_tableFloats = 0;
    std::size_t m_newestSlot = 0;
    /// For each bin the cosines, then the sines, of a block's frames.
    RtArray<float> m_tables;
    /// For each bin the real parts of all partitions, then their imaginary ones, scaled.
    RtArray<float> m_filter;
    /// The same of the inputs, for each channel; the newest in a falling slot.
    RtArray<float> m_inputs;
    /// For each channel and bin the sum of the block before, two floats.
    RtArray<float> m_before;
};

} // namespace tovix
