#include "convolution/RightAngleConvolver.h"

#include <algorithm>
#include <limits>

namespace tovix {
namespace {

/// With fewer partitions than this a tile saves less than its bookkeeping costs.
constexpr std::size_t fewestTiledPartitions = 9;

/// `floats` for each of `channelCount` channels; empty when the product overflows or there is no memory.
RtArray<float> forChannels(std::size_t channelCount, std::size_t floats) noexcept {
    if (floats > std::numeric_limits<std::size_t>::max() / channelCount) {
        return {};
    }
    return RtArray<float>::make(channelCount * floats);
}

} // namespace

std::size_t RightAngleConvolver::tileFor(const VectorLoops& loops, std::size_t partitionCount,
                                         std::size_t rowCount) noexcept {
    if (partitionCount >= fewestTiledPartitions) {
        for (const std::size_t tile : {3U, 4U, 2U}) {
            const std::size_t busiest = (rowCount + tile - 1) / tile;
            if (tile <= loops.longestTile && 10 * busiest * tile <= 11 * rowCount) {
                return tile;
            }
        }
    }
    return 1;
}

BlockConvolverPtr RightAngleConvolver::make(const VectorLoops& loops, const ConvolverTask& task) noexcept {
    auto pConvolver = makeRt<RightAngleConvolver>(loops, task);
    if (!pConvolver || !pConvolver->prepare(task)) {
        return nullptr;
    }
    return pConvolver;
}

RightAngleConvolver::RightAngleConvolver(const VectorLoops& loops, const ConvolverTask& task) noexcept
    : m_loops(loops), m_channelCount(task.channelCount),
      m_partitionCount((task.taps.size() - 1) / task.blockFrames + 1) {}

bool RightAngleConvolver::prepare(const ConvolverTask& task) noexcept {
    m_gap = GapBins::make(m_loops, task);
    if (GapBins::leavesOneBin(task.blockFrames)) {
        return bool{m_gap};
    }
    m_transform = RightAngleTransform::make(m_loops, task.blockFrames);
    if (!m_transform || !m_gap) {
        return false;
    }
    if (const std::size_t steps = TailConvolver::stepCountFor(m_loops, task); steps > 0) {
        m_tail = TailConvolver::make(m_loops, task, steps);
        m_partitionCount = 2 * steps;
        if (!m_tail) {
            return false;
        }
    }
    m_tile = tileFor(m_loops, m_partitionCount, m_transform.rowCount());
    return allocate() && transformPartitions(task);
}

bool RightAngleConvolver::allocate() noexcept {
    const std::size_t spectrumFloats = m_transform.spectrumFloats();
    m_filter = RtArray<float>::make(m_partitionCount * spectrumFloats);
    m_inputs = forChannels(m_channelCount, m_partitionCount * spectrumFloats);
    m_known = forChannels(m_channelCount, (m_tile - 1) * spectrumFloats);
    m_overlaps = forChannels(m_channelCount, m_transform.overlapCount() * m_transform.overlapFloats());
    m_work = RtArray<float>::make(std::min<std::size_t>(m_channelCount, 2) * spectrumFloats);
    return m_filter && m_inputs && m_known && m_overlaps && m_work;
}

/// The transforms are unnormalised; the whole factor of 1 / N goes into the partitions.
bool RightAngleConvolver::transformPartitions(const ConvolverTask& task) noexcept {
    const std::size_t rowFloats = 2 * m_loops.lanes;
    const float scale = 1.0F / static_cast<float>(m_transform.pointCount());
    const auto block = HeapArray<float>::make(task.blockFrames);
    if (!block) {
        return false;
    }
    for (std::size_t k = 0; k < m_partitionCount; ++k) {
        const auto rest = task.taps.subspan(k * task.blockFrames);
        const auto taps = rest.first(std::min<std::size_t>(task.blockFrames, rest.size()));
        std::transform(taps.begin(), taps.end(), block.data(), [scale](float tap) { return scale * tap; });
        std::fill(block.data() + taps.size(), block.data() + task.blockFrames, 0.0F);
        m_transform.forward(block.data(), m_work.data(), m_filter.data() + k * rowFloats,
                            m_partitionCount * rowFloats);
    }
    return true;
}

void RightAngleConvolver::process(float* const* outputs, const float* const* inputs) noexcept {
    for (std::size_t channel = 0; channel < m_channelCount; channel += 2) {
        const std::size_t count = m_channelCount - channel < 2 ? 1 : 2;
        for (std::size_t c = channel; c < channel + count; ++c) {
            m_gap.pushInput(c, inputs[c]);
            if (m_tail) {
                m_tail.pushInput(c, inputs[c]);
            }
        }
        if (m_transform) {
            convolveGroup(channel, count, outputs + channel, inputs + channel);
        }
        if (m_tail) {
            m_tail.step(channel, count);
        }
        for (std::size_t c = channel; c < channel + count; ++c) {
            if (m_tail) {
                m_tail.addOutput(c, outputs[c]);
            }
            m_gap.correct(c, outputs[c]);
        }
    }
    m_gap.nextBlock();
    if (m_tail) {
        m_tail.nextBlock();
    }
    m_newestSlot = m_newestSlot == 0 ? m_partitionCount - 1 : m_newestSlot - 1;
    m_phase = m_phase + 1 < m_tile ? m_phase + 1 : 0;
    if (m_transform) {
        m_side = m_transform.overlapCount() - 1 - m_side;
    }
}

void RightAngleConvolver::convolveGroup(std::size_t firstChannel, std::size_t count, float* const* outputs,
                                        const float* const* inputs) noexcept {
    const std::size_t rowFloats = 2 * m_loops.lanes;
    const std::size_t spectrumFloats = m_transform.rowCount() * rowFloats;
    float* const work[2]{m_work.data(), m_work.data() + (count - 1) * spectrumFloats};
    for (std::size_t c = 0; c < count; ++c) {
        m_transform.forwardColumns(inputs[c], work[c]);
    }
    m_loops.multiplySpectra({m_transform.rowCount(),
                             m_partitionCount,
                             count,
                             m_filter.data(),
                             m_inputs.data() + firstChannel * m_partitionCount * spectrumFloats,
                             m_newestSlot,
                             m_tile,
                             m_phase,
                             m_known.data() + firstChannel * (m_tile - 1) * spectrumFloats,
                             {work[0], work[1]}});
    const std::size_t overlapCount = m_transform.overlapCount();
    const std::size_t overlapFloats = m_transform.overlapFloats();
    for (std::size_t c = 0; c < count; ++c) {
        float* const overlaps = m_overlaps.data() + (firstChannel + c) * overlapCount * overlapFloats;
        m_transform.inverseColumns(work[c], outputs[c], overlaps + m_side * overlapFloats,
                                   overlaps + (overlapCount - 1 - m_side) * overlapFloats);
    }
}

} // namespace tovix
