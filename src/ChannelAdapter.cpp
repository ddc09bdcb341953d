#include "ChannelAdapter.h"

#include <cstring>

namespace tovix {

void ChannelAdapter::processBlock() noexcept {
    // A wider output is filled from the last frame back, so that a shared buffer is read before it is overwritten.
    const bool backward = m_block.outputChannels > m_block.inputChannels;
    for (std::size_t i = 0; i < m_block.frameCount; ++i) {
        adaptFrame(backward ? m_block.frameCount - 1 - i : i);
    }
}

void ChannelAdapter::adaptFrame(std::size_t frame) const noexcept {
    const std::size_t in = m_block.inputChannels;
    const std::size_t out = m_block.outputChannels;
    const std::size_t shared = in < out ? in : out;
    float* const target = m_block.output + frame * out;
    std::memmove(target, m_block.input + frame * in, shared * sizeof(float));
    std::memset(target + shared, 0, (out - shared) * sizeof(float));
    if (in == 1 && out >= 2) {
        target[1] = target[0];
    }
}

} // namespace tovix
