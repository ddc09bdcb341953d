#include "filters/EffectMaximizer.h"

#include "filters/Decibels.h"
#include "filters/PeakWindow.h"
#include "support/DirectConvolution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <numbers>
#include <numeric>
#include <span>
#include <vector>

using namespace tovix;

namespace {

using Planar = std::vector<std::vector<float>>;

constexpr double testRateHz = 48000.0;

class Maximized {
public:
    Maximized(std::int32_t level, std::int32_t ceiling, std::size_t channels, double rateHz = testRateHz)
        : m_filter(level, ceiling) {
        m_filter.setup(static_cast<float>(rateHz), 1U << 20U, ChannelList(channels, L"x"));
    }
    /// Frames `first` to `end` - 1 of the block, as one call.
    void process(Planar& block, std::size_t first, std::size_t end) {
        std::vector<float*> pointers;
        for (auto& channel : block) {
            pointers.push_back(channel.data() + first);
        }
        m_filter.process(pointers.data(), pointers.data(), static_cast<std::uint32_t>(end - first));
    }
    void processInBlocks(Planar& block, std::size_t blockFrames) {
        for (std::size_t first = 0; first < block[0].size(); first += blockFrames) {
            process(block, first, std::min(first + blockFrames, block[0].size()));
        }
    }
    float frame(float sample) {
        Planar block{{sample}};
        process(block, 0, 1);
        return block[0][0];
    }

private:
    EffectMaximizer m_filter;
};

double gainAt(double tenths) {
    return std::pow(10.0, tenths / 200.0);
}

/// The same limiter frame by frame from its description: the window by search, the release by its recursion.
class ReferenceMaximizer {
public:
    ReferenceMaximizer(double level, double ceiling, double rateHz)
        : m_preGain(gainAt(level)), m_ceiling(gainAt(ceiling)), m_rate(rateHz) {
        PeakWindow window;
        EXPECT_TRUE(window.setup(static_cast<std::size_t>(std::ceil(0.025 * rateHz))));
        m_windowFrames = window.windowFrames();
        EXPECT_GE(static_cast<double>(m_windowFrames), 0.025 * rateHz);
        m_segmentFrames = window.segmentFrames();
    }
    double gainFor(double peak) {
        m_peaks.push_back(peak * m_preGain);
        const auto length = static_cast<std::ptrdiff_t>(std::min(m_windowFrames, m_peaks.size()));
        const double need = std::min(1.0, m_ceiling / *std::max_element(m_peaks.end() - length, m_peaks.end()));
        const double goal = std::min(need, m_slow);
        m_gain = std::min(goal, goal - (goal - m_gain) * std::exp(-10.0 / m_rate));
        m_segmentNeed = std::min(m_segmentNeed, need);
        if (m_peaks.size() % m_segmentFrames == 0) {
            followSlowly();
            m_segmentNeed = need;
        }
        return m_gain * m_preGain;
    }

private:
    void followSlowly() {
        const double seconds = static_cast<double>(m_segmentFrames) / m_rate;
        m_reducedSeconds = m_segmentNeed < 1.0 ? m_reducedSeconds + seconds : 0.0;
        const bool lasting = m_reducedSeconds > 0.04 - seconds / 2;
        if (m_segmentNeed >= m_slow || lasting) {
            const double timeConstant = m_segmentNeed >= m_slow ? 2.0 : 0.08;
            m_slow = m_segmentNeed + (m_slow - m_segmentNeed) * std::exp(-seconds / timeConstant);
        }
    }

    double m_preGain;
    double m_ceiling;
    double m_rate;
    std::size_t m_windowFrames = 0;
    std::size_t m_segmentFrames = 0;
    std::vector<double> m_peaks;
    double m_gain = 1.0;
    double m_slow = 1.0;
    double m_segmentNeed = 1.0;
    double m_reducedSeconds = 0.0;
};

/// Noise that swells far beyond full scale and sinks below it, with single bursts in its quiet.
Planar changingNoise(std::size_t channels, std::size_t frames) {
    Planar block;
    while (block.size() < channels) {
        block.push_back(test::noise(frames, static_cast<unsigned>(block.size() + 1)));
        for (std::size_t f = 0; f < frames; ++f) {
            const float swell = f * 4 / frames % 2 == 0 ? 0.05F : 1.5F;
            block.back()[f] *= f % 5000 < 200 ? 3.0F : swell;
        }
    }
    return block;
}

/// Noise below half of full scale with single peaks and one dense stretch, all beginning at odd frames.
Planar quietNoiseWithPeaks(std::size_t channels, std::size_t frames) {
    Planar block;
    while (block.size() < channels) {
        block.push_back(test::noise(frames, static_cast<unsigned>(block.size() + 1)));
        for (std::size_t f = 0; f < frames; ++f) {
            const bool isPeak = f % 9973 == 1001 || f % 9973 == 1044;
            const bool isDense = f > 20000 && f < 22000;
            block.back()[f] = isPeak ? 3.0F : std::clamp(block.back()[f], -0.4F, 0.4F) * (isDense ? 9.0F : 1.0F);
        }
    }
    return block;
}

TEST(Maximizer, FollowsTheReferenceAtAnyChannelCountLevelCeilingAndRate) {
    const struct {
        std::size_t channels;
        std::int32_t level;
        std::int32_t ceiling;
        double rateHz;
    } cases[] = {{1, 0, 0, 48000}, {2, 90, -10, 44100}, {5, 200, -200, 8000}, {17, -60, 0, 2000},
                 {2, 120, -3, 10}, {1, 60, 0, 384000},  {2, 60, 0, 5200}};
    const auto expectReference = [](const auto& c, const Planar& input) {
        SCOPED_TRACE(c.rateHz);
        Maximized maximizer(c.level, c.ceiling, c.channels, c.rateHz);
        ReferenceMaximizer reference(c.level, c.ceiling, c.rateHz);
        Planar output = input;
        maximizer.processInBlocks(output, 480);
        const double most = gainAt(c.ceiling) * (1.0 + 2e-7);
        for (std::size_t f = 0; f < input[0].size(); ++f) {
            double peak = 0.0;
            for (const auto& channel : input) {
                peak = std::max(peak, std::fabs(static_cast<double>(channel[f])));
            }
            const double gain = reference.gainFor(peak);
            for (std::size_t i = 0; i < c.channels; ++i) {
                ASSERT_NEAR(output[i][f], input[i][f] * gain, 3e-7) << "frame " << f;
                ASSERT_LE(std::fabs(output[i][f]), most);
            }
        }
    };
    for (const auto& c : cases) {
        expectReference(c, changingNoise(c.channels, 30000));
        expectReference(c, quietNoiseWithPeaks(c.channels, 30000));
    }
}

TEST(Maximizer, GivesTheSameSamplesWhereverOneBlockEndsAndTheNextBegins) {
    // At low rates the gains are back within some thousand frames, and with them the plain path; at 5200 Hz with a
    // window of several segments.
    const struct {
        double rateHz;
        Planar input;
    } cases[] = {{48000, changingNoise(2, 60000)},
                 {48000, quietNoiseWithPeaks(2, 30000)},
                 {5200, quietNoiseWithPeaks(2, 30000)},
                 {100, quietNoiseWithPeaks(2, 30000)},
                 {10, quietNoiseWithPeaks(2, 30000)}};
    for (const auto& c : cases) {
        Planar expected = c.input;
        Maximized(60, 0, 2, c.rateHz).process(expected, 0, expected[0].size());
        for (const std::size_t blockFrames : {1U, 7U, 120U, 441U, 4096U}) {
            Planar output = c.input;
            Maximized(60, 0, 2, c.rateHz).processInBlocks(output, blockFrames);
            ASSERT_EQ(output, expected) << c.rateHz << " Hz, " << blockFrames;
        }
        if (c.rateHz < 1000) {
            EXPECT_EQ(expected[0].back(), static_cast<float>(c.input[0].back() * std::exp(60 * nepersPerTenth)))
                << "no trace of a reduction is left";
        }
    }
}

/// What is left of whole seconds of sound without its tones, which have whole periods in them, as a share of the
/// whole.
double residualOf(std::span<const float> sound, const std::vector<double>& frequenciesHz) {
    const double whole = std::inner_product(sound.begin(), sound.end(), sound.begin(), 0.0);
    double left = whole;
    for (const double frequencyHz : frequenciesHz) {
        std::complex<double> sum;
        for (std::size_t f = 0; f < sound.size(); ++f) {
            const double turns = frequencyHz * static_cast<double>(f) / testRateHz;
            sum += static_cast<double>(sound[f]) * std::polar(1.0, 2.0 * std::numbers::pi * turns);
        }
        left -= std::norm(sum) * 2.0 / static_cast<double>(sound.size());
    }
    return std::sqrt(std::max(left, 0.0) / whole);
}

TEST(Maximizer, LeavesSteadySoundUnbent) {
    const struct {
        std::vector<double> frequenciesHz;
        std::vector<double> amplitudes;
        std::int32_t level;
        double most;
    } cases[] = {
        {{31}, {1}, 89, 2e-4},
        {{50}, {1}, 89, 2e-4},
        {{120}, {1}, 89, 2e-4},
        {{1000}, {1}, 89, 2e-4},
        {{997}, {1}, 89, 2e-4},
        {{50, 3000}, {0.6, 0.2}, 120, 2e-4},
        {{60, 250, 900, 2500, 7000}, {0.2, 0.2, 0.2, 0.2, 0.2}, 120, 5e-3},
    };
    for (const auto& c : cases) {
        Planar sound(1, std::vector<float>(static_cast<std::size_t>(3 * testRateHz)));
        for (std::size_t f = 0; f < sound[0].size(); ++f) {
            double sample = 0.0;
            for (std::size_t i = 0; i < c.frequenciesHz.size(); ++i) {
                const double turns = c.frequenciesHz[i] * static_cast<double>(f) / testRateHz;
                sample += c.amplitudes[i] * std::sin(2.0 * std::numbers::pi * turns);
            }
            sound[0][f] = static_cast<float>(sample);
        }
        Maximized(c.level, 0, 1).processInBlocks(sound, 480);
        constexpr std::size_t settled = 4800;
        constexpr auto second = static_cast<std::size_t>(testRateHz);
        EXPECT_LE(residualOf(std::span(sound[0]).subspan(settled, 2 * second), c.frequenciesHz), c.most)
            << c.frequenciesHz[0] << " Hz";
        EXPECT_GT(*std::max_element(sound[0].begin() + settled, sound[0].end()), 0.9F) << "and it is loud";
    }
}

TEST(Maximizer, IsBackSoonAfterASinglePeakAndSlowlyAfterADenseProgramme) {
    const auto gainAfter = [](std::size_t loudFrames) {
        Planar sound(1, std::vector<float>(loudFrames + 12000, 0.01F));
        std::fill_n(sound[0].begin(), loudFrames, 4.0F);
        Maximized(0, 0, 1).processInBlocks(sound, 480);
        EXPECT_TRUE(std::is_sorted(sound[0].begin() + static_cast<std::ptrdiff_t>(loudFrames), sound[0].end()));
        return sound[0].back() / 0.01F;
    };
    EXPECT_GT(gainAfter(480), gainAt(-15)) << "250 ms after 10 ms";
    EXPECT_LT(gainAfter(48000), gainAt(-80)) << "250 ms after a second";
}

TEST(Maximizer, PassesWhatLiesBelowTheCeilingToTheLastBitAndReturnsToThatAfterLimiting) {
    Maximized maximizer(-35, -60, 1);
    Planar loud(1, std::vector<float>(48000, 1.0F));
    const Planar quiet{test::noise(48000, 3)};
    const auto passes = [&] {
        Planar sound = quiet;
        for (float& sample : sound[0]) {
            sample *= 0.5F;
        }
        const Planar input = sound;
        maximizer.processInBlocks(sound, 480);
        for (std::size_t f = 0; f < sound[0].size(); ++f) {
            const auto expected =
                static_cast<float>(static_cast<double>(input[0][f]) * std::exp(-35 * 0.01151292546497023));
            if (sound[0][f] != expected) {
                return false;
            }
        }
        return true;
    };
    EXPECT_TRUE(passes());
    maximizer.processInBlocks(loud, 480);
    EXPECT_FALSE(passes()) << "the release has an end, but not within a second";
    int seconds = 1;
    while (!passes() && seconds < 60) {
        ++seconds;
    }
    EXPECT_LT(seconds, 60);
}

TEST(Maximizer, HoldsItsCeilingOverTenMillionFramesAndWhateverComesIn) {
    Maximized maximizer(200, -10, 1);
    std::uint32_t random = 1;
    Planar block(1, std::vector<float>(10000));
    float most = 0.0F;
    for (int i = 0; i < 1000; ++i) {
        for (float& sample : block[0]) {
            random = random * 1664525U + 1013904223U;
            sample = static_cast<float>(static_cast<std::int32_t>(random)) * (i % 7 == 0 ? 1e-12F : 5e-10F);
        }
        block[0][static_cast<std::size_t>(i)] = i % 3 == 0 ? std::numeric_limits<float>::max() : 20.0F;
        maximizer.process(block, 0, block[0].size());
        for (const float sample : block[0]) {
            most = std::max(most, std::fabs(sample));
        }
    }
    EXPECT_LE(most, gainAt(-10) * (1.0 + 2e-7));
    EXPECT_GT(most, gainAt(-10) * 0.999);
    for (const std::int32_t beyond : {std::numeric_limits<std::int32_t>::max(), 201}) {
        EXPECT_FLOAT_EQ(Maximized(beyond, beyond, 1).frame(0.01F), 0.1F) << "held at 20 dB and full scale";
        EXPECT_FLOAT_EQ(Maximized(-beyond, -beyond, 1).frame(4.0F), 0.1F) << "held at -20 dB";
    }
    for (const double rateHz : {0.0, -48000.0, std::nan(""), 1e-30, 1e30}) {
        EXPECT_FLOAT_EQ(Maximized(0, 0, 1, rateHz).frame(4.0F), 1.0F) << rateHz;
    }
}

} // namespace
