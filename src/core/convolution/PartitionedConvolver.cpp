#include "convolution/PartitionedConvolver.h"

#include "convolution/SpectrumRows.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

namespace tovix {
namespace {

/// FFTW's bins as the kernels see them: interleaved frames of a real and an imaginary channel.
RT_SECTION float* asFrames(const RtArray<ComplexBin>& spectrum) noexcept {
    return &spectrum.data()[0][0];
}

} // namespace

bool PartitionedConvolver::stepsAllocateNothing(std::uint32_t blockFrames) noexcept {
    constexpr std::uint32_t largestCleanFactor = 31;
    for (std::uint32_t factor = 2; factor <= largestCleanFactor && blockFrames != 0; ++factor) {
        while (blockFrames % factor == 0) {
            blockFrames /= factor;
        }
    }
    return blockFrames <= 1;
}

bool PartitionedConvolver::init(std::span<const float> h, std::uint32_t blockFrames) noexcept {
    return initAll({this, 1}, h, blockFrames);
}

bool PartitionedConvolver::initAll(std::span<PartitionedConvolver> records, std::span<const float> h,
                                   std::uint32_t blockFrames) noexcept {
    destroyAll(records);
    if (blockFrames == 0 || blockFrames > maxBlockFrames || h.empty() ||
        h.size() > std::size_t{std::numeric_limits<std::int32_t>::max()} - maxBlockFrames) {
        return false;
    }
    bool isReady = true;
    for (PartitionedConvolver& record : records) {
        isReady = isReady && record.allocate(h, blockFrames);
    }
    if (isReady) {
        const PlannerHold hold;
        for (PartitionedConvolver& record : records) {
            isReady = isReady && record.plan(hold);
        }
    }
    if (!isReady) {
        destroyAll(records);
        return false;
    }
    for (PartitionedConvolver& record : records) {
        record.transformPartitions(h);
    }
    return true;
}

bool PartitionedConvolver::allocate(std::span<const float> h, std::uint32_t blockFrames) noexcept {
    scheduleLength = 1;
    blockSize = static_cast<std::int32_t>(blockFrames);
    partitionCount = (blockSize - 1 + static_cast<std::int32_t>(h.size())) / blockSize;
    ringLength = partitionCount + 1;
    innerLoops = &kernels();
    const auto blockLength = static_cast<std::size_t>(blockSize);
    const std::size_t binCount = blockLength + 1;
    schedule = RtArray<std::int32_t>::make(static_cast<std::size_t>(scheduleLength) + 1);
    timeBuffer = RtArray<float>::make(2 * blockLength);
    spectrum = RtArray<ComplexBin>::make(binCount);
    inputRe = RtArray<float>::make(binCount);
    inputIm = RtArray<float>::make(binCount);
    overlap = RtArray<float>::make(blockLength);
    SpectrumRows partitions = SpectrumRows::make(static_cast<std::size_t>(partitionCount), binCount);
    SpectrumRows accumulators = SpectrumRows::make(static_cast<std::size_t>(ringLength), binCount);
    if (!schedule || !timeBuffer || !spectrum || !inputRe || !inputIm || !overlap || !partitions || !accumulators) {
        return false;
    }
    schedule[1] = partitionCount;
    partitionRe = std::move(partitions.re);
    partitionIm = std::move(partitions.im);
    partitionBins = std::move(partitions.bins);
    accRe = std::move(accumulators.re);
    accIm = std::move(accumulators.im);
    accBins = std::move(accumulators.bins);
    return true;
}

bool PartitionedConvolver::plan(const PlannerHold& hold) noexcept {
    forwardPlan = FftPlan::realForward(hold, blockSize, timeBuffer.data(), spectrum.data());
    backwardPlan = FftPlan::realBackward(hold, blockSize, spectrum.data(), timeBuffer.data());
    return forwardPlan && backwardPlan;
}

/// FFTW's transforms are unnormalised; the whole factor of 1 / (2B) goes into the partitions.
void PartitionedConvolver::transformPartitions(std::span<const float> h) noexcept {
    const auto blockLength = static_cast<std::size_t>(blockSize);
    const float scale = 0.5F / static_cast<float>(blockSize);
    float* const time = timeBuffer.data();
    for (std::size_t k = 0; k < static_cast<std::size_t>(partitionCount); ++k) {
        const auto taps = h.subspan(k * blockLength, std::min(blockLength, h.size() - k * blockLength));
        std::transform(taps.begin(), taps.end(), time, [scale](float tap) { return scale * tap; });
        std::fill(time + taps.size(), time + 2 * blockLength, 0.0F);
        forwardPlan.execute();
        const std::array<float*, 2> parts{partitionRe[k], partitionIm[k]};
        innerLoops->deinterleave(asFrames(spectrum), parts.data(), 2, static_cast<std::uint32_t>(blockSize) + 1);
    }
}

void PartitionedConvolver::destroy() noexcept {
    destroyAll({this, 1});
}

void PartitionedConvolver::destroyAll(std::span<PartitionedConvolver> records) noexcept {
    destroyPlans(records);
    for (PartitionedConvolver& record : records) {
        record = {};
    }
}

void PartitionedConvolver::destroyPlans(std::span<PartitionedConvolver> records) noexcept {
    const auto isPlanned = [](const PartitionedConvolver& record) {
        return record.forwardPlan || record.backwardPlan;
    };
    if (std::none_of(records.begin(), records.end(), isPlanned)) {
        return;
    }
    const PlannerHold hold;
    for (PartitionedConvolver& record : records) {
        record.backwardPlan.destroy(hold);
        record.forwardPlan.destroy(hold);
    }
}

void PartitionedConvolver::pushInput(const float* x) noexcept {
    const auto blockLength = static_cast<std::uint32_t>(blockSize);
    // One sample that is not finite would spoil all its block's contributions, a third of a second of sound.
    innerLoops->copyFinite(x, timeBuffer.data(), blockLength);
    std::memset(timeBuffer.data() + blockLength, 0, blockLength * sizeof(float));
    forwardPlan.execute();
    float* const parts[]{inputRe.data(), inputIm.data()};
    innerLoops->deinterleave(asFrames(spectrum), parts, 2, blockLength + 1);
}

void PartitionedConvolver::accumulate() noexcept {
    const std::int32_t last = schedule[static_cast<std::size_t>(scheduleIndex) + 1];
    std::int32_t k = schedule[static_cast<std::size_t>(scheduleIndex)];
    // One run up to the end of the ring, one from its start.
    while (k < last) {
        const std::int32_t slot = (ringPos + k) % ringLength;
        const std::int32_t rows = last - k < ringLength - slot ? last - k : ringLength - slot;
        innerLoops->multiplyAccumulate({inputRe.data(), inputIm.data(), partitionRe.data() + k,
                                        partitionIm.data() + k, accRe.data() + slot, accIm.data() + slot,
                                        static_cast<std::size_t>(rows), static_cast<std::size_t>(blockSize)});
        k += rows;
    }
    scheduleIndex = (scheduleIndex + 1) % scheduleLength;
}

void PartitionedConvolver::popOutput(float* y) noexcept {
    const auto blockLength = static_cast<std::uint32_t>(blockSize);
    float* const re = accRe[static_cast<std::size_t>(ringPos)];
    float* const im = accIm[static_cast<std::size_t>(ringPos)];
    const float* const parts[]{re, im};
    innerLoops->interleaveFinite(parts, asFrames(spectrum), 2, blockLength + 1);
    std::memset(re, 0, (std::size_t{blockLength} + 1) * sizeof(float));
    std::memset(im, 0, (std::size_t{blockLength} + 1) * sizeof(float));
    backwardPlan.execute();
    innerLoops->add(overlap.data(), timeBuffer.data(), y, blockLength);
    std::memcpy(overlap.data(), timeBuffer.data() + blockLength, blockLength * sizeof(float));
    ringPos = (ringPos + 1) % ringLength;
}

} // namespace tovix
