#include "filters/EffectMaximizer.h"

#include "filters/Decibels.h"
#include "filters/PeakWindow.h"
#include "support/Planar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

using namespace tovix;
using namespace tovix::test;

namespace {

struct Settings {
    std::size_t channels = 1;
    std::int32_t level = 0;
    std::int32_t ceiling = 0;
    double rateHz = 48000.0;
};

class Maximized {
public:
    explicit Maximized(const Settings& settings) : m_filter(settings.level, settings.ceiling) {
        m_filter.setup(static_cast<float>(settings.rateHz), 1U << 20U, ChannelList(settings.channels, L"x"));
    }
    Planar played(Planar sound, std::size_t blockFrames) {
        play(m_filter, sound, blockFrames);
        return sound;
    }
    float frame(float sample) { return played({{sample}}, 1)[0][0]; }

private:
    EffectMaximizer m_filter;
};

double gainAt(double tenths) {
    return std::pow(10.0, tenths / 200.0);
}

/// What the limiter does to each frame, from its description: the window by search, the release by its recursion.
std::vector<double> reductionsOf(const Settings& settings, const Planar& sound) {
    PeakWindow window;
    EXPECT_TRUE(window.setup(static_cast<std::size_t>(std::ceil(0.025 * settings.rateHz))));
    EXPECT_GE(static_cast<double>(window.windowFrames()), 0.025 * settings.rateHz);
    const double segmentSeconds = static_cast<double>(window.segmentFrames()) / settings.rateHz;
    std::vector<double> peaks;
    std::vector<double> gains;
    double gain = 1.0;
    double slow = 1.0;
    double segmentNeed = 1.0;
    double reducedSeconds = 0.0;
    for (std::size_t f = 0; f < sound[0].size(); ++f) {
        double peak = 0.0;
        for (const auto& channel : sound) {
            peak = std::max(peak, std::fabs(static_cast<double>(channel[f])) * gainAt(settings.level));
        }
        peaks.push_back(peak);
        const auto length = static_cast<std::ptrdiff_t>(std::min(window.windowFrames(), peaks.size()));
        const double largest = *std::max_element(peaks.end() - length, peaks.end());
        const double need = std::min(1.0, gainAt(settings.ceiling) / largest);
        const double goal = std::min(need, slow);
        gain = std::min(goal, goal - (goal - gain) * std::exp(-10.0 / settings.rateHz));
        gains.push_back(gain);
        segmentNeed = std::min(segmentNeed, need);
        if (peaks.size() % window.segmentFrames() == 0) {
            reducedSeconds = segmentNeed < 1.0 ? reducedSeconds + segmentSeconds : 0.0;
            if (segmentNeed >= slow || reducedSeconds > 0.04 - segmentSeconds / 2) {
                const double timeConstant = segmentNeed >= slow ? 2.0 : 0.08;
                slow = segmentNeed + (slow - segmentNeed) * std::exp(-segmentSeconds / timeConstant);
            }
            segmentNeed = need;
        }
    }
    return gains;
}

constexpr std::size_t frameCount = 30000;

/// Noise whose loudness a function of the frame shapes.
Planar shapedNoise(std::size_t channels, float (*shaped)(float sample, std::size_t frame)) {
    Planar sound = planarNoise(channels, frameCount);
    for (auto& channel : sound) {
        for (std::size_t f = 0; f < frameCount; ++f) {
            channel[f] = shaped(channel[f], f);
        }
    }
    return sound;
}

/// Swells far beyond full scale and sinks below it, with single bursts in its quiet.
float changing(float sample, std::size_t frame) {
    const float swell = frame * 4 / frameCount % 2 == 0 ? 0.05F : 1.5F;
    return sample * (frame % 5000 < 200 ? 3.0F : swell);
}

/// Stays below half of full scale but for single peaks and one dense stretch, all beginning at odd frames.
float quietWithPeaks(float sample, std::size_t frame) {
    const bool isPeak = frame % 9973 == 1001 || frame % 9973 == 1044;
    const bool isDense = frame > 20000 && frame < 22000;
    return isPeak ? 3.0F : std::clamp(sample, -0.4F, 0.4F) * (isDense ? 9.0F : 1.0F);
}

void expectReference(const Settings& settings, const Planar& input) {
    SCOPED_TRACE(settings.rateHz);
    const Planar output = Maximized(settings).played(input, frameCount);
    const std::vector<double> reductions = reductionsOf(settings, input);
    const double preGain = std::exp(settings.level * nepersPerTenth);
    for (std::size_t f = 0; f < frameCount; ++f) {
        for (std::size_t c = 0; c < settings.channels; ++c) {
            const double amplified = static_cast<double>(input[c][f]) * preGain;
            ASSERT_NEAR(output[c][f], amplified * reductions[f], 1e-6) << "frame " << f;
            ASSERT_LE(std::fabs(output[c][f]), gainAt(settings.ceiling) * (1.0 + 2e-7));
            ASSERT_TRUE(reductions[f] < 1.0 - 1e-9 || output[c][f] == static_cast<float>(amplified))
                << "frame " << f << " has a trace of a reduction";
        }
    }
    for (const std::size_t blockFrames : {1U, 7U, 120U, 441U, 4096U}) {
        ASSERT_EQ(Maximized(settings).played(input, blockFrames), output) << blockFrames;
    }
}

TEST(Maximizer, FollowsTheReferenceAtAnyChannelCountLevelCeilingAndRateWhereverABlockEnds) {
    // At 100 Hz all reductions end within some thousand frames; at 5200 Hz the window has several segments.
    const Settings cases[] = {{1, 0, 0, 48000}, {2, 90, -10, 44100}, {5, 200, -200, 8000}, {17, -60, 0, 2000},
                              {2, 120, -3, 10}, {1, 60, 0, 384000},  {2, 60, 0, 5200},     {2, 60, 0, 100}};
    for (const Settings& settings : cases) {
        expectReference(settings, shapedNoise(settings.channels, changing));
        expectReference(settings, shapedNoise(settings.channels, quietWithPeaks));
    }
}

TEST(Maximizer, LeavesSteadySoundUnbent) {
    for (const double frequencyHz : {31.0, 50.0, 120.0, 997.0, 1000.0}) {
        Planar tone{std::vector<float>(48000)};
        for (std::size_t f = 0; f < tone[0].size(); ++f) {
            const double turns = frequencyHz * static_cast<double>(f) / 48000.0;
            tone[0][f] = static_cast<float>(std::sin(2.0 * std::numbers::pi * turns));
        }
        const Planar output = Maximized({1, 89}).played(tone, 480);
        for (std::size_t f = 4800; f < tone[0].size(); ++f) {
            ASSERT_NEAR(output[0][f], tone[0][f], 2e-4) << frequencyHz << " Hz, which had no room to become louder";
        }
    }
}

TEST(Maximizer, IsBackSoonAfterASinglePeakAndSlowlyAfterADenseProgramme) {
    const auto gainAfter = [](std::size_t loudFrames) {
        Planar sound(1, std::vector<float>(loudFrames + 12000, 0.01F));
        std::fill_n(sound[0].begin(), loudFrames, 4.0F);
        return Maximized({}).played(sound, 480)[0].back() / 0.01F;
    };
    EXPECT_GT(gainAfter(480), gainAt(-15)) << "250 ms after 10 ms";
    EXPECT_LT(gainAfter(48000), gainAt(-80)) << "250 ms after a second";
}

TEST(Maximizer, HoldsItsCeilingWhateverItIsSetTo) {
    EXPECT_FLOAT_EQ(Maximized({}).frame(std::numeric_limits<float>::max()), 1.0F);
    for (const std::int32_t beyond : {std::numeric_limits<std::int32_t>::max(), 201}) {
        EXPECT_FLOAT_EQ(Maximized({1, beyond, beyond}).frame(0.01F), 0.1F) << "held at 20 dB and full scale";
        EXPECT_FLOAT_EQ(Maximized({1, -beyond, -beyond}).frame(4.0F), 0.1F) << "held at -20 dB";
    }
    for (const double rateHz : {0.0, -48000.0, std::nan(""), 1e-30, 1e30}) {
        EXPECT_FLOAT_EQ(Maximized({1, 0, 0, rateHz}).frame(4.0F), 1.0F) << rateHz;
    }
}

} // namespace
