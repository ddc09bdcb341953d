#include "LimiterFigures.h"

#include "ToneFit.h"
#include "render/measure/Loudness.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tovix::bench {
namespace {

constexpr std::size_t settledFrame = framesOf(100);

double decibels(double factor) {
    return 20.0 * std::log10(factor);
}

double preGainOf(const Take& take) {
    return std::pow(10.0, take.pSound->tenths / 200.0);
}

/// The first channel from `first` up to `count` frames.
std::vector<float> leftOf(const std::vector<float>& stereo, std::size_t first, std::size_t count) {
    std::vector<float> left;
    for (std::size_t f = first; f < std::min(first + count, stereo.size() / 2); ++f) {
        left.push_back(stereo[2 * f]);
    }
    return left;
}

/// The gain of the first channel, frame by frame from `first` on.
std::vector<double> gainsOf(const Take& take, std::size_t first, std::size_t count) {
    std::vector<double> gains;
    for (std::size_t f = first; f < std::min(first + count, take.output.size() / 2); ++f) {
        gains.push_back(static_cast<double>(take.output[2 * f]) / static_cast<double>(take.pSound->samples[2 * f]));
    }
    return gains;
}

/// From the frame before to this one.
double stepAt(const std::vector<float>& stereo, std::size_t channel, std::size_t frame) {
    const float* const sample = stereo.data() + 2 * frame + channel;
    return std::fabs(static_cast<double>(sample[0]) - static_cast<double>(sample[-2]));
}

/// The first channel's gain, none in silence.
double gainAt(const Take& take, std::size_t frame) {
    const auto input = static_cast<double>(take.pSound->samples[2 * frame]);
    return input == 0.0 ? 0.0 : std::fabs(static_cast<double>(take.output[2 * frame]) / input);
}

} // namespace

double distortionOf(const Take& take, const std::vector<double>& frequenciesHz) {
    const std::size_t frames = take.pSound->samples.size() / 2 - 2 * settledFrame;
    return residualOf(leftOf(take.output, settledFrame, frames), soundRateHz, frequenciesHz);
}

double modulationOf(const Take& take) {
    // One second: all that is periodic in a whole number of Hz falls into one bin.
    const std::vector<float> second = leftOf(take.output, framesOf(1000), soundRateHz);
    std::vector<double> cosines(soundRateHz);
    for (std::size_t i = 0; i < cosines.size(); ++i) {
        cosines[i] = std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / soundRateHz);
    }
    double tone = 0.0;
    double around = 0.0;
    for (std::size_t hz = 2000; hz <= 4000; ++hz) {
        double re = 0.0;
        double im = 0.0;
        std::size_t turn = 0;
        for (const float sample : second) {
            re += static_cast<double>(sample) * cosines[turn];
            im += static_cast<double>(sample) * cosines[(turn + soundRateHz / 4) % soundRateHz];
            turn = (turn + hz) % soundRateHz;
        }
        (hz == 3000 ? tone : around) += re * re + im * im;
    }
    return std::sqrt(around / tone);
}

double excessOf(const Take& take, double ceiling) {
    double most = 0.0;
    for (const float sample : take.output) {
        most = std::max(most, std::fabs(static_cast<double>(sample)));
    }
    return std::max(most / ceiling - 1.0, 0.0);
}

double recoveryDbOf(const Take& take) {
    const double before = gainsOf(take, burstFrame - framesOf(100), 1).front();
    return decibels(gainsOf(take, burstFrame + burstFrames + framesOf(250), 1).front() / before);
}

double relapseDbOf(const Take& take) {
    const std::vector<double> gains = gainsOf(take, burstFrame + burstFrames, framesOf(500));
    double highest = gains.front();
    double relapse = 0.0;
    for (const double gain : gains) {
        highest = std::max(highest, gain);
        relapse = std::max(relapse, decibels(highest / gain));
    }
    return relapse;
}

double extraStepOf(const Take& take, std::size_t frame) {
    const double preGain = preGainOf(take);
    const std::vector<float>& input = take.pSound->samples;
    double most = 0.0;
    for (std::size_t f = frame - framesOf(2); f < std::min(frame + framesOf(50), take.output.size() / 2); ++f) {
        // Where a delay is not a whole number of frames, what is taken for the gain has no bound near zero.
        const double gain = std::min(std::max(gainAt(take, f), gainAt(take, f - 1)), preGain);
        most = std::max(most, stepAt(take.output, 0, f) - gain * stepAt(input, 0, f));
    }
    return most;
}

double loudnessOf(const Take& take) {
    render::Loudness loudness(2, 0x3, soundRateHz);
    loudness.add(take.output.data(), take.output.size() / 2);
    return loudness.figures().integratedLufs.value_or(std::nan(""));
}

std::size_t delayOf(const Take& take) {
    const auto largest = std::max_element(take.output.begin(), take.output.end(),
                                          [](float a, float b) { return std::fabs(a) < std::fabs(b); });
    const auto frame = static_cast<std::size_t>(largest - take.output.begin()) / 2;
    return frame < impulseFrame ? 0 : frame - impulseFrame;
}

double largestStep(const std::vector<float>& samples, std::size_t channel, std::size_t first, std::size_t end) {
    double largest = 0.0;
    for (std::size_t f = first; f < end; ++f) {
        largest = std::max(largest, stepAt(samples, channel, f));
    }
    return largest;
}

} // namespace tovix::bench
