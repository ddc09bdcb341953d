#pragma once

#include "memory/RtSection.h"

#include <cstdint>

namespace tovix {

/// A block whose channel count changes on the way.
struct ChannelChange {
    float* output;
    /// May be the output's buffer.
    const float* input;
    std::uint32_t outputChannels;
    std::uint32_t inputChannels;
    std::uint32_t frameCount;
};

/// [audio] Copies interleaved frames: the channels that both sides have; channels beyond the input's are silent, but
/// a mono input also fills the second.
void adaptChannels(const ChannelChange& change) noexcept RT_SECTION;

} // namespace tovix
