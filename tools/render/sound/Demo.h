#pragma once

#include "render/sound/SoundSource.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace tovix::render {

constexpr std::uint32_t demoRateHz = 48000;
constexpr std::uint32_t demoChannels = 2;

/// [control] The built-in programme, interleaved stereo of 20 s, always the same: tones, a sweep from 20 Hz to 20
/// kHz, speech-like bursts, a passage far below full scale and one close to it, and a string that dies away.
std::vector<float> makeDemoProgramme();

/// [control] The programme as an input.
std::unique_ptr<ISource> openDemo();

} // namespace tovix::render
