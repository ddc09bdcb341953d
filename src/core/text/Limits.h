#pragma once

#include <cstddef>
#include <cstdint>

/// What the effect takes, in one place for the effect itself and for the tools. Constants and functions for any
/// thread.
namespace tovix {

/// Size of the page of shared memory that carries the settings text, and the longest text: a NUL ends it.
constexpr std::size_t settingsPageBytes = 256;
constexpr std::size_t longestSettingsTextBytes = settingsPageBytes - 1;

/// The most that the plain boost raises the level: 20 dB, in tenths of a dB as the text counts.
constexpr std::int32_t maxBoostTenths = 200;
constexpr double maxBoostDb = maxBoostTenths / 10.0;

/// The maximizer's pre-gain lies between the negative and this, its ceiling between `minCeilingTenths` and full
/// scale; tenths of a dB.
constexpr std::int32_t maxMaximizerTenths = 200;
constexpr std::int32_t minCeilingTenths = -200;

/// Lowest gain of the equalizer; lower ones count as this.
constexpr double minEqualizerGainDb = -100.0;

/// The streams that the effect processes.
constexpr std::uint32_t maxChannelCount = 4096;
constexpr std::uint32_t minSampleRateHz = 10;
constexpr std::uint32_t maxSampleRateHz = 384000;

/// Whether the effect takes `inputChannels` for an output of `outputChannels`: one or two always, more only where
/// the output has as many, because the effect does not mix channels down.
constexpr bool acceptsChannelCounts(std::uint32_t inputChannels, std::uint32_t outputChannels) noexcept {
    constexpr std::uint32_t alwaysTaken = 2;
    return inputChannels <= alwaysTaken || inputChannels <= outputChannels;
}

} // namespace tovix
