#include "chain/ChainSlots.h"

#include "kernels/Kernels.h"
#include "stream/ChannelAdapter.h"

#include <algorithm>

namespace tovix {
namespace {

constexpr float crossfadeSeconds = 0.01F;

} // namespace

std::uint32_t crossfadeFramesAt(float sampleRateHz) noexcept {
    constexpr float highestHz = 1e9F;
    return sampleRateHz > 0.0F && sampleRateHz < highestHz
               ? static_cast<std::uint32_t>(sampleRateHz * crossfadeSeconds)
               : 0;
}

ChainSlots::~ChainSlots() {
    reset({});
}

void ChainSlots::reset(const StreamFormat& format) noexcept {
    freeChain(m_pPending);
    freeChain(m_pCurrent);
    freeChain(m_pRetired);
    m_format = format;
    m_crossfadePosition = 0;
    m_crossfadeFrames = crossfadeFramesAt(format.sampleRateHz);
}

void ChainSlots::freeRetired() noexcept {
    freeChain(m_pRetired);
}

void ChainSlots::freeChain(std::atomic<FilterChain*>& slot) noexcept {
    const RtPtr<FilterChain> pChain{slot.exchange(nullptr, std::memory_order_acq_rel)};
}

ChainSlots::Published ChainSlots::publish(RtPtr<FilterChain> chain) noexcept {
    const bool fading = m_pCurrent.load(std::memory_order_acquire) != nullptr;
    auto& slot = fading ? m_pPending : m_pCurrent;
    slot.store(chain.release(), std::memory_order_release);
    return fading ? Published::pending : Published::current;
}

bool ChainSlots::process(float* output, const float* input, std::uint32_t frameCount) noexcept {
    // The equalizer always consumes a whole block, and would treat an empty one as a block of silence.
    if (frameCount == 0) {
        return false;
    }
    // With a maximum of 0 no chain can be built, and a piece of any length passes through.
    if (frameCount <= m_format.maxFrames || m_format.maxFrames == 0) {
        return processPiece(output, input, frameCount);
    }
    // In one buffer the first piece of a wider output would overwrite the input of the next.
    if (output == input && m_format.outputChannels > m_format.inputChannels) {
        passThrough(output, input, frameCount);
        return false;
    }
    bool swapped = false;
    std::uint32_t done = 0;
    while (done < frameCount) {
        const std::uint32_t piece = std::min(frameCount - done, m_format.maxFrames);
        swapped |= processPiece(output + std::size_t{done} * m_format.outputChannels,
                                input + std::size_t{done} * m_format.inputChannels, piece);
        done += piece;
    }
    return swapped;
}

bool ChainSlots::processPiece(float* output, const float* input, std::uint32_t frameCount) noexcept {
    FilterChain* const pCurrent = m_pCurrent.load(std::memory_order_acquire);
    FilterChain* const pPending = m_pPending.load(std::memory_order_acquire);
    if (pCurrent == nullptr ||
        (pCurrent->stageCount() == 0 && pPending == nullptr && m_format.inputChannels == m_format.outputChannels)) {
        passThrough(output, input, frameCount);
        return false;
    }
    pCurrent->run(input, frameCount);
    if (pPending != nullptr) {
        pPending->run(input, frameCount);
        fade(pCurrent->buffers(), pPending->buffers(), frameCount);
    }
    pCurrent->writeOutput(output, frameCount);
    if (pPending == nullptr || m_crossfadePosition < m_crossfadeFrames) {
        return false;
    }
    m_pRetired.store(pCurrent, std::memory_order_release);
    m_pCurrent.store(pPending, std::memory_order_release);
    m_pPending.store(nullptr, std::memory_order_release);
    m_crossfadePosition = 0;
    return true;
}

void ChainSlots::fade(float* const* current, float* const* pending, std::uint32_t frameCount) noexcept {
    constexpr std::uint32_t stretchFrames = 64;
    float weights[stretchFrames];
    const Kernels& loops = kernels();
    for (std::uint32_t done = 0; done < frameCount;) {
        const std::uint32_t frames = std::min(frameCount - done, stretchFrames);
        loops.fadeInWeights(m_crossfadePosition, m_crossfadeFrames, weights, frames);
        for (std::uint32_t c = 0; c < m_format.outputChannels; ++c) {
            loops.crossfade(weights, pending[c] + done, current[c] + done, frames);
        }
        m_crossfadePosition += frames;
        done += frames;
    }
}

void ChainSlots::passThrough(float* output, const float* input, std::uint32_t frameCount) const noexcept {
    adaptChannels({output, input, m_format.outputChannels, m_format.inputChannels, frameCount});
}

} // namespace tovix
