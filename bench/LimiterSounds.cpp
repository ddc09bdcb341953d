#include "LimiterSounds.h"

#include "render/sound/Demo.h"

#include <cmath>
#include <numbers>
#include <random>
#include <utility>

namespace tovix::bench {
namespace {

struct Tone {
    double hz;
    double amplitude;
};

double angleOf(double hz, std::size_t frame) {
    return 2.0 * std::numbers::pi * hz * static_cast<double>(frame) / soundRateHz;
}

template <class SampleAt> std::vector<float> stereo(std::size_t milliseconds, SampleAt sampleAt) {
    std::vector<float> samples;
    for (std::size_t f = 0; f < framesOf(milliseconds); ++f) {
        samples.insert(samples.end(), 2, static_cast<float>(sampleAt(f)));
    }
    return samples;
}

std::vector<float> tones(const std::vector<Tone>& parts) {
    return stereo(3000, [&](std::size_t f) {
        double sum = 0.0;
        for (const Tone& tone : parts) {
            sum += tone.amplitude * std::sin(angleOf(tone.hz, f));
        }
        return sum;
    });
}

double burst(std::size_t f) {
    const bool isLoud = f >= burstFrame && f < burstFrame + burstFrames;
    return isLoud ? std::cos(angleOf(1000.0, f - burstFrame)) : 0.0025;
}

double onset(std::size_t f) {
    constexpr std::size_t silenceFrame = framesOf(1500);
    if (f < silenceFrame) {
        return (f < onsetFrame ? 0.25 : 1.0) * std::sin(angleOf(100.0, f));
    }
    return f < silenceEndFrame ? 0.0 : std::cos(angleOf(100.0, f - silenceEndFrame));
}

std::vector<float> linked() {
    std::vector<float> samples = stereo(1500, [](std::size_t f) { return 0.2 * std::cos(angleOf(100.0, f)); });
    for (std::size_t f = burstFrame; f < burstFrame + burstFrames; ++f) {
        samples[2 * f + 1] = static_cast<float>(std::cos(angleOf(1000.0, f - burstFrame)));
    }
    return samples;
}

std::vector<float> changingNoise() {
    const std::vector<float> noise = flatNoise(framesOf(5000), 1.0F);
    return stereo(5000, [&](std::size_t f) {
        const double loudness = f % framesOf(100) < framesOf(10)      ? 1.0
                                : f % framesOf(2000) < framesOf(1000) ? 0.4
                                                                      : 0.1;
        return loudness * static_cast<double>(noise[f]);
    });
}

} // namespace

std::vector<float> flatNoise(std::size_t count, float amplitude) {
    std::mt19937 generator{1};
    std::uniform_real_distribution<float> sample{-amplitude, amplitude};
    std::vector<float> samples(count);
    for (float& s : samples) {
        s = sample(generator);
    }
    return samples;
}

std::vector<LimiterSound> makeLimiterSounds() {
    std::vector<LimiterSound> sounds;
    sounds.push_back({"impulse", 0, stereo(500, [](std::size_t f) { return f == impulseFrame ? 0.1 : 0.0; })});
    sounds.push_back({"sine31", 89, tones({{31, 1.0}})});
    sounds.push_back({"sine50", 89, tones({{50, 1.0}})});
    sounds.push_back({"sine120", 89, tones({{120, 1.0}})});
    sounds.push_back({"sine1000", 89, tones({{1000, 1.0}})});
    sounds.push_back({"tones", 120, tones({{60, 0.2}, {250, 0.2}, {900, 0.2}, {2500, 0.2}, {7000, 0.2}})});
    sounds.push_back({"voices", 120, tones({{50, 0.6}, {3000, 0.2}})});
    sounds.push_back({"burst", 120, stereo(1500, burst)});
    sounds.push_back({"onset", 89, stereo(3500, onset)});
    sounds.push_back({"linked", 120, linked()});
    sounds.push_back({"noise", 120, changingNoise()});
    sounds.push_back({"demo6", 60, render::makeDemoProgramme()});
    sounds.push_back({"demo12", 120, sounds.back().samples});
    return sounds;
}

} // namespace tovix::bench
