#pragma once

#include "LimiterSounds.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tovix::bench {

/// The effect without a limiter, with the boost's and with the maximizer.
enum class Setting { off, limit, clean };

/// The settings for a level in tenths of a dB.
std::string lineOf(Setting setting, std::int32_t tenths);

/// What the effect makes of a whole number of blocks of stereo; `next`, unless empty, are the settings from the frame
/// `changeFrame` on, where a block begins.
std::vector<float> play(const std::vector<float>& input, const std::string& settings, const std::string& next = {},
                        std::size_t changeFrame = 0);

/// The largest step within 20 ms of a change of the settings, from and to the maximizer, over the larger of the
/// output's own well before and well after it. Of either channel; they are unlike.
double worstChangeStep();

/// By what share the largest of ten million frames of the programme, with bursts in it, of noise and of bursts
/// through the maximizer is above its ceiling, at several levels and ceilings.
double excessOfTenMillionFrames(const std::vector<LimiterSound>& sounds);

} // namespace tovix::bench
