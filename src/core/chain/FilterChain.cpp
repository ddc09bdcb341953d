#include "chain/FilterChain.h"

#include <algorithm>
#include <cstring>

namespace tovix {
namespace {

constexpr std::size_t cacheLineFloats = 16;

/// Floats from one planar buffer to the next: whole cache lines, and one more so that buffers of a power of two
/// do not all meet in the same cache set.
std::size_t bufferStride(std::uint32_t maxFrames) noexcept {
    return (std::size_t{maxFrames} + cacheLineFloats - 1) / cacheLineFloats * cacheLineFloats + cacheLineFloats;
}

} // namespace

RtPtr<FilterChain> FilterChain::make(const ChainShape& shape, std::span<StagePtr> stages) noexcept {
    auto pChain = makeRt<FilterChain>(shape);
    if (!pChain || !pChain->allocate(stages.size())) {
        return nullptr;
    }
    for (std::size_t i = 0; i < stages.size(); ++i) {
        pChain->m_stages[i] = stages[i].release();
    }
    return pChain;
}

FilterChain::FilterChain(const ChainShape& shape) noexcept : m_shape(shape), m_pKernels(&kernels()) {}

FilterChain::~FilterChain() {
    for (std::size_t i = 0; i < m_stages.size(); ++i) {
        const StagePtr pStage{m_stages[i]};
    }
}

bool FilterChain::allocate(std::size_t stageCount) noexcept {
    const std::size_t count = m_shape.bufferCount;
    const std::size_t stride = bufferStride(m_shape.maxFrames);
    m_samples = RtArray<float>::make(2 * count * stride);
    m_buffers = RtArray<float*>::make(count);
    m_scratch = RtArray<float*>::make(count);
    m_inputPtrs = RtArray<float*>::make(count);
    m_outputPtrs = RtArray<float*>::make(count);
    m_stages = RtArray<FilterStage*>::make(stageCount);
    if (!m_samples || !m_buffers || !m_scratch || !m_inputPtrs || !m_outputPtrs || !m_stages) {
        return false;
    }
    for (std::size_t c = 0; c < count; ++c) {
        m_buffers[c] = m_samples.data() + c * stride;
        m_scratch[c] = m_samples.data() + (count + c) * stride;
    }
    m_pInputs = m_inputPtrs.data();
    m_pOutputs = m_outputPtrs.data();
    return true;
}

void FilterChain::run(const float* input, std::uint32_t frameCount) noexcept {
    splitInput(input, frameCount);
    for (std::size_t i = 0; i < m_stages.size(); ++i) {
        if (frameCount < m_shape.maxFrames) {
            clearRest(frameCount);
        }
        runStage(*m_stages[i], frameCount);
    }
}

/// Behind a short block the first stage would find old samples, and a later one what a filter that works on the whole
/// length has left there.
void FilterChain::clearRest(std::uint32_t frameCount) noexcept {
    const std::size_t restFrames = std::size_t{m_shape.maxFrames} - frameCount;
    for (std::size_t c = 0; c < m_shape.bufferCount; ++c) {
        std::memset(m_buffers[c] + frameCount, 0, restFrames * sizeof(float));
    }
}

void FilterChain::splitInput(const float* input, std::uint32_t frameCount) noexcept {
    m_pKernels->deinterleave(input, m_buffers.data(), m_shape.inputChannels, frameCount);
    for (std::size_t c = m_shape.inputChannels; c < m_shape.bufferCount; ++c) {
        std::memset(m_buffers[c], 0, std::size_t{frameCount} * sizeof(float));
    }
    // Only the second channel is filled. The rest of a wider output is meant to stay silent unless a filter fills it.
    if (m_shape.inputChannels == 1 && m_shape.outputChannels >= 2) {
        std::memcpy(m_buffers[1], m_buffers[0], std::size_t{frameCount} * sizeof(float));
    }
}

void FilterChain::runStage(const FilterStage& stage, std::uint32_t frameCount) noexcept {
    for (std::size_t i = 0; i < stage.inputIndices.size(); ++i) {
        m_pInputs[i] = m_buffers[stage.inputIndices[i]];
    }
    float* const* const pTargets = stage.inPlace ? m_buffers.data() : m_scratch.data();
    for (std::size_t j = 0; j < stage.outputIndices.size(); ++j) {
        m_pOutputs[j] = pTargets[stage.outputIndices[j]];
    }
    stage.filter->process(m_pOutputs, m_pInputs, frameCount);
    if (stage.inPlace) {
        return;
    }
    for (std::size_t j = 0; j < stage.outputIndices.size(); ++j) {
        float*& working = m_buffers[stage.outputIndices[j]];
        float*& written = m_scratch[stage.outputIndices[j]];
        float* const freshlyWritten = written;
        written = working;
        working = freshlyWritten;
    }
    float** const pPreviousInputs = m_pInputs;
    m_pInputs = m_pOutputs;
    m_pOutputs = pPreviousInputs;
}

void FilterChain::writeOutput(float* output, std::uint32_t frameCount) const noexcept {
    m_pKernels->interleaveFinite(m_buffers.data(), output, m_shape.outputChannels, frameCount);
}

float* const* FilterChain::buffers() const noexcept {
    return m_buffers.data();
}

} // namespace tovix
