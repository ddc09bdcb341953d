#pragma once

#include "BlockProcess.h"

namespace tovix {

/// Stands in for a previous effect that does not run although the chain was laid out for its output: gives the chain
/// the stream's own samples with the channel count that it expects. Channels beyond the input's are silent, but a
/// mono input also fills the second.
class ChannelAdapter final : public IPreviousEffect {
public:
    struct Block {
        float* output;
        /// May be the output's buffer.
        const float* input;
        std::uint32_t outputChannels;
        std::uint32_t inputChannels;
        std::uint32_t frameCount;
    };

    /// [audio] Both buffers hold `frameCount` interleaved frames of their channels; no channel count is 0.
    [[gnu::always_inline]] explicit ChannelAdapter(const Block& block) noexcept : m_block(block) {}

    void processBlock() noexcept override RT_SECTION;

private:
    void adaptFrame(std::size_t frame) const noexcept RT_SECTION;

    Block m_block;
};

} // namespace tovix
