#include "render/sound/SpeakerMask.h"

#include <sndfile.h>

#include <algorithm>
#include <array>

namespace tovix::render {
namespace {

/// In the order of the mask's bits.
constexpr std::array speakers{
    SF_CHANNEL_MAP_LEFT,
    SF_CHANNEL_MAP_RIGHT,
    SF_CHANNEL_MAP_CENTER,
    SF_CHANNEL_MAP_LFE,
    SF_CHANNEL_MAP_REAR_LEFT,
    SF_CHANNEL_MAP_REAR_RIGHT,
    SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER,
    SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER,
    SF_CHANNEL_MAP_REAR_CENTER,
    SF_CHANNEL_MAP_SIDE_LEFT,
    SF_CHANNEL_MAP_SIDE_RIGHT,
    SF_CHANNEL_MAP_TOP_CENTER,
    SF_CHANNEL_MAP_TOP_FRONT_LEFT,
    SF_CHANNEL_MAP_TOP_FRONT_CENTER,
    SF_CHANNEL_MAP_TOP_FRONT_RIGHT,
    SF_CHANNEL_MAP_TOP_REAR_LEFT,
    SF_CHANNEL_MAP_TOP_REAR_CENTER,
    SF_CHANNEL_MAP_TOP_REAR_RIGHT,
};

/// libsndfile has two names for each of the front three.
int plainName(int entry) noexcept {
    switch (entry) {
    case SF_CHANNEL_MAP_FRONT_LEFT:
        return SF_CHANNEL_MAP_LEFT;
    case SF_CHANNEL_MAP_FRONT_RIGHT:
        return SF_CHANNEL_MAP_RIGHT;
    case SF_CHANNEL_MAP_FRONT_CENTER:
    case SF_CHANNEL_MAP_MONO:
        return SF_CHANNEL_MAP_CENTER;
    default:
        return entry;
    }
}

} // namespace

std::uint32_t usualSpeakerMask(std::uint32_t channels) noexcept {
    // Mono, stereo, 3.0, quad, 5.0, 5.1, 6.1, 7.1.
    constexpr std::array<std::uint32_t, 9> masks{0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x70F, 0x63F};
    return channels < masks.size() ? masks[channels] : 0;
}

std::optional<std::uint32_t> speakerMaskOf(const std::vector<int>& channelMap) {
    std::uint32_t mask = 0;
    for (const int entry : channelMap) {
        const auto found = std::find(speakers.begin(), speakers.end(), plainName(entry));
        if (found == speakers.end()) {
            return std::nullopt;
        }
        const std::uint32_t bit = 1U << (found - speakers.begin());
        if (bit <= mask) {
            return std::nullopt;
        }
        mask |= bit;
    }
    return mask;
}

std::vector<int> channelMapOf(std::uint32_t mask, std::uint32_t channels) {
    std::vector<int> channelMap;
    for (std::size_t bit = 0; bit < speakers.size(); ++bit) {
        if ((mask >> bit & 1U) != 0) {
            channelMap.push_back(speakers[bit]);
        }
    }
    if (channelMap.size() != channels || mask >> speakers.size() != 0) {
        channelMap.clear();
    }
    return channelMap;
}

} // namespace tovix::render
