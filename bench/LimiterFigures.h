#pragma once

#include "LimiterSounds.h"

#include <optional>
#include <string>
#include <vector>

namespace tovix::bench {

/// What one limiter made of a sound, with its delay taken out: sample by sample beside the sound, shorter at the end.
struct Take {
    const LimiterSound* pSound = nullptr;
    std::vector<float> output;
};

/// Shares and factors unless the name says otherwise. Of the first channel, and without what lies within 0.1 s of
/// either end where it is about steady sound.
double distortionOf(const Take& take, const std::vector<double>& frequenciesHz);
/// All within 1 kHz of the 3 kHz tone, over the tone: its modulation.
double modulationOf(const Take& take);
/// By what share the largest sample is above `ceiling`.
double excessOf(const Take& take, double ceiling = 1.0);
/// The gain 250 ms after the burst over that before it, in dB.
double recoveryDbOf(const Take& take);
/// The furthest that the gain falls on its way back, in dB.
double relapseDbOf(const Take& take);
/// By how much a step between two samples of the output near `frame` is larger, at most, than that of the input times
/// the larger gain of the two: what a move of the gain adds.
double extraStepOf(const Take& take, std::size_t frame);
/// Integrated loudness in LUFS.
double loudnessOf(const Take& take);
/// Frames by which the impulse is late.
std::size_t delayOf(const Take& take);

/// The largest step of one channel of stereo to the frames from `first` to `end` - 1.
double largestStep(const std::vector<float>& samples, std::size_t channel, std::size_t first, std::size_t end);

} // namespace tovix::bench
