#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tovix::bench {

constexpr std::uint32_t soundRateHz = 48000;

constexpr std::size_t framesOf(std::size_t milliseconds) {
    return milliseconds * soundRateHz / 1000;
}

/// A sound that limiters are compared by: stereo with both channels alike, but for "linked" and the demo programme. A
/// name of letters and digits, and the level it is raised by, as the settings count.
struct LimiterSound {
    std::string_view name;
    std::int32_t tenths;
    std::vector<float> samples;
};

/// Where something happens in them.
constexpr std::size_t impulseFrame = framesOf(100);
constexpr std::size_t burstFrame = framesOf(500);
constexpr std::size_t burstFrames = framesOf(10);
constexpr std::size_t onsetFrame = framesOf(500);
constexpr std::size_t silenceEndFrame = framesOf(2500);

/// "impulse", far below the ceiling; "sine31", "sine50", "sine120", "sine1000": 8.9 dB over; "tones": 60, 250, 900,
/// 2500 and 7000 Hz; "voices": 50 Hz and 3 kHz; "burst": 10 ms, 12 dB over, on a faint constant; "onset": a tone that
/// jumps over the ceiling, falls silent and comes back at its crest; "linked": a tone below the ceiling, and 10 ms
/// far above it in the right channel alone, as the left one is at its crest; "noise": with louder stretches; "demo6"
/// and "demo12": the demo programme by 6 and 12 dB.
std::vector<LimiterSound> makeLimiterSounds();

/// Noise in -amplitude to amplitude.
std::vector<float> flatNoise(std::size_t count, float amplitude);

} // namespace tovix::bench
