#include "convolution/GapBins.h"

#include "convolution/UnitCircle.h"

#include <algorithm>
#include <complex>
#include <cstring>

namespace tovix {
namespace {

constexpr std::size_t alignmentFloats = RtArray<float>::alignmentBytes / sizeof(float);

} // namespace

GapBins GapBins::make(const VectorLoops& loops, const ConvolverTask& task) noexcept {
    GapBins gap;
    gap.m_pLoops = &loops;
    gap.m_blockFrames = task.blockFrames;
    const bool isOne = leavesOneBin(task.blockFrames);
    gap.m_firstBin = isOne ? task.blockFrames : task.blockFrames / 4 * 4;
    gap.m_binCount = isOne ? 1 : task.blockFrames % 4;
    gap.m_partitionCount = (task.taps.size() - 1) / task.blockFrames + 1;
    gap.m_tableFloats = (task.blockFrames + alignmentFloats - 1) / alignmentFloats * alignmentFloats;
    const std::size_t channelBins = gap.m_binCount * task.channelCount;
    gap.m_tables = RtArray<float>::make(2 * gap.m_binCount * gap.m_tableFloats);
    gap.m_filter = RtArray<float>::make(2 * gap.m_binCount * gap.m_partitionCount);
    gap.m_inputs = RtArray<float>::make(2 * channelBins * gap.m_partitionCount);
    gap.m_before = RtArray<float>::make(2 * channelBins);
    if (!gap || (gap.m_binCount > 0 && !(gap.fillTables() && gap.transformPartitions(task)))) {
        return {};
    }
    return gap;
}

bool GapBins::fillTables() noexcept {
    const UnitCircle circle = UnitCircle::make(2 * m_blockFrames);
    if (!circle) {
        return false;
    }
    for (std::size_t bin = 0; bin < m_binCount; ++bin) {
        for (std::size_t n = 0; n < m_blockFrames; ++n) {
            const std::complex<double> root = circle.root((m_firstBin + bin) * n);
            tableRe(bin)[n] = static_cast<float>(root.real());
            tableRe(bin)[m_tableFloats + n] = static_cast<float>(root.imag());
        }
    }
    return true;
}

/// A bin counts twice, for its mirror image too; bin B, which has none, counts once. Where that bin is the output,
/// its sign is turned, because `correct` subtracts.
bool GapBins::transformPartitions(const ConvolverTask& task) noexcept {
    for (std::size_t bin = 0; bin < m_binCount; ++bin) {
        const double scale = (leavesOneBin(m_blockFrames) ? -0.5 : 1.0) / static_cast<double>(m_blockFrames);
        const float* const re = tableRe(bin);
        const float* const im = re + m_tableFloats;
        for (std::size_t k = 0; k < m_partitionCount; ++k) {
            const auto taps = task.taps.subspan(k * m_blockFrames);
            const std::size_t count = std::min(m_blockFrames, taps.size());
            std::complex<double> sum;
            for (std::size_t n = 0; n < count; ++n) {
                sum += double{taps[n]} * std::complex<double>{re[n], -im[n]};
            }
            filterRe(bin)[k] = static_cast<float>(scale * sum.real());
            filterRe(bin)[m_partitionCount + k] = static_cast<float>(scale * sum.imag());
        }
    }
    return true;
}

void GapBins::pushInput(std::size_t channel, const float* samples) noexcept {
    for (std::size_t bin = 0; bin < m_binCount; ++bin) {
        float sum[2];
        m_pLoops->dot(samples, tableRe(bin), tableRe(bin) + m_tableFloats, m_blockFrames, sum);
        float* const slot = inputRe(channel, bin) + m_newestSlot;
        slot[0] = sum[0];
        slot[m_partitionCount] = -sum[1];
    }
}

/// A tone that begins in one block goes on in the next one, there with its sign turned for every odd bin.
void GapBins::correct(std::size_t channel, float* samples) noexcept {
    if (leavesOneBin(m_blockFrames)) {
        std::memset(samples, 0, m_blockFrames * sizeof(float));
    }
    const std::size_t toEnd = m_partitionCount - m_newestSlot;
    for (std::size_t bin = 0; bin < m_binCount; ++bin) {
        const float* const filter = filterRe(bin);
        const float* const inputs = inputRe(channel, bin);
        const float* const late[2]{filter, filter + m_partitionCount};
        const float* const lateInputs[2]{inputs + m_newestSlot, inputs + m_newestSlot + m_partitionCount};
        const float* const early[2]{filter + toEnd, filter + toEnd + m_partitionCount};
        const float* const earlyInputs[2]{inputs, inputs + m_partitionCount};
        float sum[2]{};
        m_pLoops->complexDot(late, lateInputs, toEnd, sum);
        m_pLoops->complexDot(early, earlyInputs, m_newestSlot, sum);
        float* const before = m_before.data() + 2 * (channel * m_binCount + bin);
        const float sign = (m_firstBin + bin) % 2 == 0 ? 1.0F : -1.0F;
        const float factor[2]{sum[0] + sign * before[0], sum[1] + sign * before[1]};
        before[0] = sum[0];
        before[1] = sum[1];
        m_pLoops->subtractTone(samples, tableRe(bin), tableRe(bin) + m_tableFloats, m_blockFrames, factor);
    }
}

void GapBins::nextBlock() noexcept {
    m_newestSlot = m_newestSlot == 0 ? m_partitionCount - 1 : m_newestSlot - 1;
}

} // namespace tovix
