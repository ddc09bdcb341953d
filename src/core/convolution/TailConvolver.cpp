#include "convolution/TailConvolver.h"

#include "convolution/GapBins.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

namespace tovix {
namespace {

/// With fewer partitions for each lane of a vector than this, the transforms of long blocks cost more than they save.
constexpr std::size_t fewestPartitionsPerLane = 6;

/// A part of a long block's way.
struct Stage {
    /// Of one row, in the units of the others: as measured on vectors of 8 and of 16 lanes.
    std::size_t cost;
    std::size_t rows;

    [[nodiscard]] std::size_t whole() const noexcept { return cost * rows; }
    /// The rows that are done when so much is spent on this stage and those after it.
    [[nodiscard]] std::size_t doneWith(std::size_t spent) const noexcept { return std::min(spent / cost, rows); }
};

} // namespace

/// The long blocks' products and the short ones' are least together where K is the root of half the partitions.
std::size_t TailConvolver::stepCountFor(const VectorLoops& loops, const ConvolverTask& task) noexcept {
    const std::size_t partitionCount = (task.taps.size() - 1) / task.blockFrames + 1;
    if (GapBins::leavesOneBin(task.blockFrames) || partitionCount < fewestPartitionsPerLane * loops.lanes) {
        return 0;
    }
    std::size_t stepCount = 1;
    while (8 * stepCount * stepCount <= partitionCount) {
        stepCount *= 2;
    }
    return stepCount;
}

TailConvolver TailConvolver::make(const VectorLoops& loops, const ConvolverTask& task,
                                  std::size_t stepCount) noexcept {
    const std::size_t longFrames = stepCount * task.blockFrames;
    TailConvolver tail;
    tail.m_pLoops = &loops;
    tail.m_blockFrames = task.blockFrames;
    tail.m_stepCount = stepCount;
    tail.m_partitionCount = (task.taps.size() - 1) / longFrames - 1;
    tail.m_tile = loops.longestTile;
    tail.m_transform = RightAngleTransform::make(loops, longFrames);
    if (!tail.m_transform || !tail.planSteps() || !tail.allocate(task.channelCount) ||
        !tail.transformPartitions(task)) {
        return {};
    }
    return tail;
}

bool TailConvolver::allocate(std::size_t channelCount) noexcept {
    const std::size_t spectrumFloats = m_transform.spectrumFloats();
    const std::size_t perChannel = (m_partitionCount + m_tile + 2) * spectrumFloats;
    if (perChannel > std::numeric_limits<std::size_t>::max() / channelCount) {
        return false;
    }
    m_filter = RtArray<float>::make(m_partitionCount * spectrumFloats);
    m_inputs = RtArray<float>::make(channelCount * m_partitionCount * spectrumFloats);
    m_known = RtArray<float>::make(channelCount * (m_tile + 1) * spectrumFloats);
    m_overlaps = RtArray<float>::make(channelCount * m_transform.overlapCount() * m_transform.overlapFloats());
    m_work = RtArray<float>::make(channelCount * spectrumFloats);
    m_heard = RtArray<float>::make(channelCount * spectrumFloats);
    m_played = RtArray<float>::make(channelCount * spectrumFloats);
    return m_filter && m_inputs && m_known && m_overlaps && m_work && m_heard && m_played;
}

bool TailConvolver::planSteps() noexcept {
    const std::size_t rows = m_transform.rowCount();
    const std::size_t middle = m_transform.columnSteps() - rows;
    // The first pass has weights and the last one an overlap; a row across the lanes has as many passes and products.
    const Stage stages[]{{6, rows}, {4, middle}, {26, rows}, {4, middle}, {8, rows}};
    std::size_t whole = 0;
    for (const Stage& stage : stages) {
        whole += stage.whole();
    }
    m_plan = RtArray<StepEnds>::make(m_stepCount + 1);
    if (!m_plan) {
        return false;
    }
    for (std::size_t step = 0; step <= m_stepCount; ++step) {
        std::size_t spent = whole * step / m_stepCount;
        std::size_t done[std::size(stages)];
        for (std::size_t i = 0; i < std::size(stages); ++i) {
            done[i] = stages[i].doneWith(spent);
            spent -= std::min(spent, stages[i].whole());
        }
        m_plan[step] = {done[0] + done[1], done[2], done[3] + done[4]};
    }
    return true;
}

/// Scaled as RightAngleConvolver's.
bool TailConvolver::transformPartitions(const ConvolverTask& task) noexcept {
    const std::size_t rowFloats = 2 * m_pLoops->lanes;
    const std::size_t longFrames = m_stepCount * m_blockFrames;
    const float scale = 1.0F / static_cast<float>(m_transform.pointCount());
    const auto block = HeapArray<float>::make(longFrames);
    if (!block) {
        return false;
    }
    for (std::size_t k = 0; k < m_partitionCount; ++k) {
        const auto rest = task.taps.subspan((k + 2) * longFrames);
        const auto taps = rest.first(std::min(longFrames, rest.size()));
        std::transform(taps.begin(), taps.end(), block.data(), [scale](float tap) { return scale * tap; });
        std::fill(block.data() + taps.size(), block.data() + longFrames, 0.0F);
        m_transform.forward(block.data(), m_work.data(), m_filter.data() + k * rowFloats,
                            m_partitionCount * rowFloats);
    }
    std::fill_n(m_work.data(), m_transform.spectrumFloats(), 0.0F);
    return true;
}

void TailConvolver::pushInput(std::size_t channel, const float* samples) noexcept {
    std::memcpy(sideOf(m_heard, channel, m_side) + m_step * m_blockFrames, samples, m_blockFrames * sizeof(float));
}

void TailConvolver::addOutput(std::size_t channel, float* samples) const noexcept {
    m_pLoops->add(sideOf(m_played, channel, m_side) + m_step * m_blockFrames, samples, m_blockFrames);
}

void TailConvolver::step(std::size_t firstChannel, std::size_t count) noexcept {
    const StepEnds& from = m_plan[m_step];
    const StepEnds& to = m_plan[m_step + 1];
    const std::size_t rowCount = m_transform.rowCount();
    const std::size_t spectrumFloats = rowCount * 2 * m_pLoops->lanes;
    const TailSums sums{
        rowCount,
        m_partitionCount,
        count,
        m_filter.data(),
        m_inputs.data() + firstChannel * m_partitionCount * spectrumFloats,
        m_newestSlot,
        m_tile,
        m_phase,
        m_knownSlot,
        m_known.data() + firstChannel * (m_tile + 1) * spectrumFloats,
        {m_work.data() + firstChannel * spectrumFloats, m_work.data() + (firstChannel + count - 1) * spectrumFloats}};
    const std::size_t firstTurn = m_phase == 0 ? 0 : m_tile - m_phase;
    const std::size_t inputs = (rowCount - firstTurn + m_tile - 1) / m_tile * (m_partitionCount - 2);
    m_pLoops->sumTail(sums, inputs * m_step / m_stepCount, inputs * (m_step + 1) / m_stepCount);
    if (from.forward < to.forward) {
        for (std::size_t c = firstChannel; c < firstChannel + count; ++c) {
            m_transform.forwardPart({from.forward, to.forward}, sideOf(m_heard, c, 1 - m_side),
                                    m_work.data() + c * spectrumFloats);
        }
    }
    m_pLoops->finishTail(sums, from.rows, to.rows);
    if (from.inverse < to.inverse) {
        for (std::size_t c = firstChannel; c < firstChannel + count; ++c) {
            stepBack(c, {from.inverse, to.inverse});
        }
    }
}

void TailConvolver::stepBack(std::size_t channel, const ColumnSteps& steps) noexcept {
    const std::size_t count = m_transform.overlapCount();
    const std::size_t floats = m_transform.overlapFloats();
    const std::size_t older = count == 1 ? 0 : m_side;
    float* const overlaps = m_overlaps.data() + channel * count * floats;
    m_transform.inversePart(steps, m_work.data() + channel * m_transform.rowCount() * 2 * m_pLoops->lanes,
                            sideOf(m_played, channel, 1 - m_side), overlaps + older * floats,
                            overlaps + (count - 1 - older) * floats);
}

void TailConvolver::nextBlock() noexcept {
    if (++m_step < m_stepCount) {
        return;
    }
    m_step = 0;
    m_side = 1 - m_side;
    m_newestSlot = m_newestSlot == 0 ? m_partitionCount - 1 : m_newestSlot - 1;
    m_phase = m_phase + 1 < m_tile ? m_phase + 1 : 0;
    m_knownSlot = m_knownSlot < m_tile ? m_knownSlot + 1 : 0;
}

} // namespace tovix
