#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace tovix::render {

/// [control] The platform's usual speaker mask for a channel count; 0 where there is none.
std::uint32_t usualSpeakerMask(std::uint32_t channels) noexcept;

/// [control] The mask of libsndfile's channel map; none when an entry is not a speaker of the mask or stands out of
/// its order, since a mask also says in which order the channels come.
std::optional<std::uint32_t> speakerMaskOf(const std::vector<int>& channelMap);

/// [control] libsndfile's channel map of a mask with exactly `channels` speakers; empty otherwise.
std::vector<int> channelMapOf(std::uint32_t mask, std::uint32_t channels);

} // namespace tovix::render
