#pragma once

#include "chain/FilterChain.h"
#include "stream/StreamFormat.h"

#include <vector>

namespace tovix {

/// Collects the stages of a chain under construction and works out which planar buffers each reads and writes.
///
/// It mirrors, by channel name, what the two pointer arrays of FilterChain will hold when each stage is reached;
/// where an array already holds what a stage needs, the stage gets no indices and reuses it. All [control].
class StagePlanner {
public:
    /// Starts with the stream's own channels, which are also the working channel set.
    explicit StagePlanner(const StreamFormat& format);

    /// Sets the filter up for the working channel set (or all channels) and appends it; false when there is no
    /// memory, which ends the build.
    bool append(FilterPtr filter);

    /// The stages so far; the chain takes them from here.
    [[nodiscard]] std::vector<StagePtr>& stages() noexcept { return m_stages; }

    /// The shape of the chain: the stream's channels and those that filters added.
    [[nodiscard]] ChainShape shape() const noexcept;

private:
    std::uint64_t bufferIndex(const std::wstring& name);
    RtArray<std::uint64_t> bufferIndices(const ChannelList& names);

    StreamFormat m_format;
    std::vector<StagePtr> m_stages;
    /// Every channel of the chain; a name's position is its buffer's index.
    ChannelList m_channels;
    ChannelList m_workingSet;
    /// List A: the names that the array of input pointers holds.
    ChannelList m_inputPtrNames;
    /// List B: the names that the array of output pointers holds.
    ChannelList m_outputPtrNames;
    bool m_previousInPlace = false;
};

} // namespace tovix
