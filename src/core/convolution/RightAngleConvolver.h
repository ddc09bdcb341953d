#pragma once

#include "convolution/BlockConvolver.h"
#include "convolution/GapBins.h"
#include "convolution/RightAngleTransform.h"
#include "convolution/TailConvolver.h"
#include "memory/AlignedArray.h"
#include "memory/RtSection.h"

#include <cstddef>

namespace tovix {

/// Partitioned convolution with right-angle transforms, for processors with wide vectors. Partitions have the length
/// of a block; where that makes very many of them the later taps are left to a TailConvolver, which has longer ones.
///
/// A block's spectrum goes into a ring of spectra, and the output's spectrum is the sum over all partitions, gathered
/// in registers: only one spectrum is written per block. One copy of the filter's spectra serves all channels, and
/// each load of it serves two of them. Rows of spectra are summed for several blocks at once (SpectrumSums::tile),
/// which loads the filter and the inputs once instead of once for each block.
class RightAngleConvolver final : public BlockConvolver {
public:
    /// [control] For a task that is in range; null when there is no memory. The processor must have the instructions
    /// of `loops`.
    static BlockConvolverPtr make(const VectorLoops& loops, const ConvolverTask& task) noexcept;

    /// [control] The tile for spectra of `rowCount` rows: the fastest one with which all blocks cost the same to
    /// within a tenth, or 1: few rows cannot always be divided evenly among the blocks of a tile.
    static std::size_t tileFor(const VectorLoops& loops, std::size_t partitionCount, std::size_t rowCount) noexcept;

    /// [control] Use `make`.
    RightAngleConvolver(const VectorLoops& loops, const ConvolverTask& task) noexcept;

    /// [audio] See BlockConvolver.
    void process(float* const* outputs, const float* const* inputs) noexcept override RT_SECTION;

private:
    bool prepare(const ConvolverTask& task) noexcept;
    bool allocate() noexcept;
    bool transformPartitions(const ConvolverTask& task) noexcept;

    void convolveGroup(std::size_t firstChannel, std::size_t count, float* const* outputs,
                       const float* const* inputs) noexcept RT_SECTION;

    const VectorLoops& m_loops;
    std::size_t m_channelCount;
    /// Without the tail's.
    std::size_t m_partitionCount;
    std::size_t m_tile = 1;
    std::size_t m_newestSlot = 0;
    std::size_t m_phase = 0;
    /// Which overlap of every channel is the older.
    std::size_t m_side = 0;

    /// Empty where the gap leaves one bin alone, and all arrays below with it.
    RightAngleTransform m_transform;
    GapBins m_gap;
    /// Empty where all partitions have the length of a block.
    TailConvolver m_tail;
    RtArray<float> m_filter;
    /// Spectra of the inputs, and what is known of sums to come, of all channels: two channels side by side, an odd
    /// last one on its own.
    RtArray<float> m_inputs;
    RtArray<float> m_known;
    RtArray<float> m_overlaps;
    RtArray<float> m_work;
};

} // namespace tovix
