#pragma once

#include <cstdint>

namespace tovix {

/// What a stream looks like to the effect, fixed while it is locked.
struct StreamFormat {
    float sampleRateHz = 0.0F;
    /// The channel count of the stream itself where a previous effect changes it; stored only.
    std::uint32_t formatWord = 0;
    std::uint32_t inputChannels = 0;
    std::uint32_t outputChannels = 0;
    /// The platform's speaker mask, a bit per channel.
    std::uint32_t channelMask = 0;
    /// Largest block; also the block length of the equalizer.
    std::uint32_t maxFrames = 0;
};

} // namespace tovix
