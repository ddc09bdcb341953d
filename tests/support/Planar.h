#pragma once

#include "filters/IFilter.h"
#include "support/DirectConvolution.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tovix::test {

/// The samples of each channel.
using Planar = std::vector<std::vector<float>>;

inline Planar planarNoise(std::size_t channelCount, std::size_t frames) {
    Planar sound;
    while (sound.size() < channelCount) {
        sound.push_back(noise(frames, static_cast<unsigned>(sound.size() + 1)));
    }
    return sound;
}

/// The channels from a frame on, as filters take them.
inline std::vector<float*> channelsFrom(Planar& sound, std::size_t frame) {
    std::vector<float*> channels;
    for (auto& channel : sound) {
        channels.push_back(channel.data() + frame);
    }
    return channels;
}

/// Plays all of the sound through the filter, in place; its last block may be shorter.
inline void play(IFilter& filter, Planar& sound, std::size_t blockFrames) {
    const std::size_t frames = sound.at(0).size();
    for (std::size_t first = 0; first < frames; first += blockFrames) {
        std::vector<float*> channels = channelsFrom(sound, first);
        filter.process(channels.data(), channels.data(),
                       static_cast<std::uint32_t>(std::min(blockFrames, frames - first)));
    }
}

} // namespace tovix::test
