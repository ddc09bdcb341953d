#pragma once

#include "memory/RtPtr.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tovix {

class IFilter;
using FilterPtr = RtPtr<IFilter>;

/// Channel names in channel order; the length is the channel count.
using ChannelList = std::vector<std::wstring>;

/// One effect instance in a chain. It lives in MemoryMgr memory and belongs to the chain's stage. All operations but
/// `process` are [control].
///
/// Life: constructed and set up on a control thread, then handed with its chain to the audio thread, which alone
/// calls `process` from then on; destroyed on a control thread after the audio thread has let the chain go.
class IFilter {
public:
    virtual ~IFilter() = default;

    // The filters of the product keep these three as they are here; chains serve any filter that overrides them.

    /// Whether the filter is given every channel of the chain instead of the working channel set.
    [[nodiscard]] virtual bool usesAllChannels() const noexcept { return false; }

    /// True: the filter's outputs are the chain's working buffers, the same as its inputs where the channels are.
    /// False: they are scratch buffers, which the chain exchanges with the working ones afterwards.
    [[nodiscard]] virtual bool processesInPlace() const noexcept { return true; }

    /// Whether the working channel set becomes the filter's output channels (true) or stays its input channels.
    [[nodiscard]] virtual bool changesChannelSet() const noexcept { return false; }

    /// [control] Prepares for blocks of at most `maxFrames` frames of the given channels and returns the names
    /// of the filter's output channels. What cannot be prepared leaves the filter inert, never broken.
    virtual ChannelList setup(float sampleRateHz, std::uint32_t maxFrames, ChannelList channels) = 0;

    /// [audio] Processes one block of planar samples: one pointer per output and per input channel, each to the
    /// `maxFrames` floats promised at setup, of which the first `frameCount` are the block. Behind a shorter block
    /// the inputs are 0, and what the filter writes there is dropped.
    virtual void process(float** outputs, float** inputs, std::uint32_t frameCount) noexcept = 0;

    /// [control] A filter for a trial run (see ChainCost), not yet set up, whose blocks take at least as long as
    /// those of this one, which has been set up. It shares nothing with any other filter and logs nothing. Null where
    /// this one is inert, or when there is no memory.
    [[nodiscard]] virtual FilterPtr standIn() const noexcept = 0;

protected:
    IFilter() = default;
    IFilter(const IFilter&) = default;
    IFilter& operator=(const IFilter&) = default;
};

/// Filters in processing order; empty means that none was made.
using FilterList = std::vector<FilterPtr>;

} // namespace tovix
