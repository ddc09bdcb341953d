#pragma once

#include "memory/RtPtr.h"

#include <cstdint>
#include <span>

namespace tovix {

/// Convolves all channels of one filter with the same impulse response, block by block, without any latency beyond
/// the block itself.
///
/// Whatever the implementation, a block length B that is not a multiple of 4 has a gap: the bins from 4 * floor(B /
/// 4) to B - 1 of the 2B-point spectrum of a block never reach the output. That is kept on purpose, so that all of
/// them sound the same.
class BlockConvolver {
public:
    /// [control]
    virtual ~BlockConvolver() = default;
    BlockConvolver(const BlockConvolver&) = delete;
    BlockConvolver& operator=(const BlockConvolver&) = delete;

    /// [audio] Reads one block of each channel, taking a sample that is not finite as 0, and writes one. A channel's
    /// output may be its input's buffer. Every pointer is to as many floats as the block has frames, at any address.
    virtual void process(float* const* outputs, const float* const* inputs) noexcept = 0;

protected:
    BlockConvolver() = default;
};

using BlockConvolverPtr = RtPtr<BlockConvolver>;

/// What a convolver is made for. The taps are not needed afterwards.
struct ConvolverTask {
    /// Longest block: more than any audio engine uses, little enough for 32-bit sizes.
    static constexpr std::uint32_t maxBlockFrames = 1U << 22U;

    /// The impulse response, at least one tap.
    std::span<const float> taps;
    /// Frames of every block, 1 to `maxBlockFrames`.
    std::uint32_t blockFrames;
    /// Channels, at least one.
    std::uint32_t channelCount;
};

} // namespace tovix
