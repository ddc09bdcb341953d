#include "filters/Decibels.h"
#include "filters/EffectBoost.h"
#include "kernels/LimiterLoops.h"
#include "support/ChosenAgain.h"
#include "support/FloatRules.h"
#include "support/Planar.h"
#include "text/Limits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <deque>
#include <limits>
#include <string>
#include <vector>

using namespace tovix;

namespace {

constexpr std::size_t longestBlock = 4096;

/// Scrambles a number.
std::uint32_t hash(std::size_t n) {
    auto h = static_cast<std::uint32_t>(n * 2654435761U);
    h = (h ^ (h >> 15U)) * 0x2C1B3C6DU;
    h = (h ^ (h >> 12U)) * 0x297A2D39U;
    return h ^ (h >> 15U);
}

/// Between -1 and 1.
float noise(std::size_t frame, std::size_t channel) {
    return static_cast<float>(static_cast<std::int32_t>(hash(frame * 31 + channel))) * 0x1p-31F;
}

struct Sound {
    const char* name;
    float (*at)(std::size_t frame, std::size_t channel);
};

const Sound sounds[] = {
    {"noise", noise},
    {"sine", [](std::size_t f, std::size_t c) { return 0.9F * std::sin(0.13F * static_cast<float>(f + 7 * c)); }},
    {"bursts", [](std::size_t f, std::size_t c) { return noise(f, c) * (f % 5000 < 300 ? 1.0F : 0.03F); }},
    {"swelling",
     [](std::size_t f, std::size_t c) {
         const float swell = 1.2F * (1.0F + std::sin(static_cast<float>(f) * 0.0007F));
         return swell * swell * (0.3F * noise(f, c) + 0.4F * std::sin(0.01F * static_cast<float>(f * (c + 1))));
     }},
    {"one loud channel", [](std::size_t f, std::size_t c) { return noise(f, c) * (c == 0 ? 1.0F : 0.1F); }},
    {"clicks in silence", [](std::size_t f, std::size_t c) { return f % 3001 == 7 * c ? 1.0F : 0.0F; }},
    {"full scale", [](std::size_t f, std::size_t) { return f % 1000 < 500 ? 1.0F : -0.5F; }},
    {"denormal", [](std::size_t f, std::size_t c) { return noise(f, c) * (f % 2003 == 5 ? 1.0F : 1e-39F); }},
    {"not finite",
     [](std::size_t f, std::size_t c) {
         const float bad[]{HUGE_VALF, -HUGE_VALF, std::numeric_limits<float>::quiet_NaN()};
         return hash(f + c) % 701 == 0 ? bad[f % 3] : noise(f, c);
     }},
    {"far too loud",
     [](std::size_t f, std::size_t c) { return noise(f, c) * std::numeric_limits<float>::max() * 0x1p-9F; }},
};

struct Case {
    Sound sound;
    /// Tenths of a dB.
    std::int32_t level;
    std::size_t channelCount;
    float sampleRateHz;
    std::size_t frames;
    /// Those of the following blocks of 4096 frames, where they differ.
    std::vector<std::int32_t> laterLevels;
};

/// Floats between two floats, and one more.
std::int64_t distance(float a, float b) {
    const auto ordered = [](float x) {
        const auto bits = std::bit_cast<std::int32_t>(x);
        return std::int64_t{bits < 0 ? std::numeric_limits<std::int32_t>::min() - bits : bits};
    };
    return std::abs(ordered(a) - ordered(b));
}

/// A filter with one set of loops, playing blocks whole or in pieces.
struct Player {
    Player(std::string_view loops, const Case& task, bool inPieces)
        : name(loops), pieces(inPieces), boost(task.level, true) {
        boost.setup(task.sampleRateHz, longestBlock, ChannelList(task.channelCount, L"x"));
    }
    void play(std::size_t frames) {
        for (std::size_t f = 0; f < frames;) {
            const std::size_t octave = longestBlock >> hash(frames + f) % 12U;
            const std::size_t count = pieces ? std::min(frames - f, 1 + hash(frames - f) % octave) : frames;
            auto channels = test::channelsFrom(sound, f);
            boost.process(channels.data(), channels.data(), static_cast<std::uint32_t>(count));
            f += count;
        }
    }
    std::string name;
    bool pieces;
    test::Planar sound;
    EffectBoost boost;
};

/// The limiter by its definition: frame after frame, with the library's logarithm and exponential and no shortcut.
class DefinedLimiter {
public:
    DefinedLimiter(double boostDb, double sampleRateHz) : m_releaseFrames(5.0 * sampleRateHz) { setBoost(boostDb); }

    void setBoost(double boostDb) {
        if (m_boostDb < 0.0 || m_boostDb > maxBoostDb) {
            return;
        }
        m_boostDb = boostDb;
        m_preGain = std::min(std::exp(boostDb * nepersPerDecibel), largestPreGain);
        const double ratio = boostDb / maxBoostDb + 2.0;
        if (ratio >= 2.0 && ratio <= 3.0) {
            m_ratio = ratio;
            m_thresholdDb = std::min(m_thresholdDb, m_envelopeDb / (1.0 - ratio));
        }
    }
    void process(const std::vector<float*>& channels, std::size_t frameCount) {
        for (std::size_t f = 0; f < frameCount; ++f) {
            double peak = 0.0;
            for (float* const channel : channels) {
                channel[f] = std::isfinite(channel[f]) ? channel[f] : 0.0F;
                peak = std::max(peak, std::fabs(static_cast<double>(channel[f]) * m_preGain));
            }
            const double gain = gainFor(std::log(peak + 1e-25) * decibelsPerNeper);
            for (float* const channel : channels) {
                channel[f] = static_cast<float>(static_cast<double>(channel[f]) * m_preGain * gain);
            }
        }
    }

private:
    static constexpr double largestPreGain =
        0.5 / std::numeric_limits<double>::min() / static_cast<double>(std::numeric_limits<float>::max());

    double gainFor(double levelDb) {
        if (levelDb > m_envelopeDb) {
            m_envelopeDb = m_heldDb = levelDb;
            m_thresholdDb = std::min(m_thresholdDb, levelDb / (1.0 - m_ratio));
        } else if (m_envelopeDb > 0.0) {
            const double releasedDb = std::max(m_envelopeDb - m_heldDb / m_releaseFrames, 0.0);
            if (levelDb <= releasedDb) {
                m_envelopeDb = releasedDb;
                m_thresholdDb = releasedDb / (1.0 - m_ratio);
            }
        }
        const double excessDb = std::max(levelDb - m_thresholdDb, 0.0);
        return std::exp((1.0 / m_ratio - 1.0) * excessDb * nepersPerDecibel);
    }

    double m_releaseFrames;
    double m_boostDb = 0.0;
    double m_preGain = 1.0;
    double m_ratio = 2.0;
    double m_thresholdDb = 0.0;
    double m_envelopeDb = 0.0;
    /// From which the release began.
    double m_heldDb = 0.0;
};

/// Plays the case with every set of loops, whole and in pieces, beside the limiter by its definition.
void expectSameSound(const Case& task) {
    const test::ChosenAgain atEnd;
    const double rateHz = task.sampleRateHz > 0.0F ? static_cast<double>(task.sampleRateHz) : 44100.0;
    DefinedLimiter given(task.level * 0.1, rateHz);
    test::Planar expected(task.channelCount, std::vector<float>(longestBlock));
    std::deque<Player> players;
    for (const LimiterLoops* const pLoops : availableLimiterLoops()) {
        ASSERT_TRUE(forceLimiterLoops(pLoops->name));
        players.emplace_back(pLoops->name, task, false);
        players.emplace_back(pLoops->name, task, true);
    }
    for (std::size_t first = 0; first < task.frames; first += longestBlock) {
        const std::size_t frames = std::min(longestBlock, task.frames - first);
        for (std::size_t c = 0; c < task.channelCount; ++c) {
            for (std::size_t f = 0; f < frames; ++f) {
                expected[c][f] = task.sound.at(first + f, c);
            }
        }
        const std::size_t block = first / longestBlock;
        const bool changes = block > 0 && block <= task.laterLevels.size();
        if (changes) {
            given.setBoost(task.laterLevels[block - 1] * 0.1);
        }
        for (Player& player : players) {
            if (changes) {
                player.boost.setBoost(task.laterLevels[block - 1] * 0.1);
            }
            player.sound = expected;
            player.play(frames);
        }
        given.process(test::channelsFrom(expected, 0), frames);
        for (std::size_t p = 0; p < players.size(); ++p) {
            ASSERT_EQ(players[p].sound, players[p / 2 * 2].sound) << players[p].name << " in pieces";
            for (std::size_t c = 0; c < task.channelCount; ++c) {
                for (std::size_t f = 0; f < frames; ++f) {
                    const float sample = players[p].sound[c][f];
                    ASSERT_LE(std::fabs(expected[c][f]), 1.0F + 2e-7F);
                    ASSERT_LE(distance(sample, expected[c][f]), 1)
                        << players[p].name << ", " << task.sound.name << ", level " << task.level << ", "
                        << task.channelCount << " channels, frame " << first + f << ": " << sample << " for "
                        << expected[c][f];
                }
            }
        }
    }
}

TEST(BoostDynamics, EveryBoostChannelCountRateAndLaterBoostSoundsAsFrameByFrame) {
    // At this rate a release takes 1500 frames.
    constexpr float rate = 300.0F;
    using Level = std::numeric_limits<std::int32_t>;
    std::vector<std::int32_t> levels{Level::min(), -100000, -60,   7,     193,   201,
                                     250,          1000,    10000, 53000, 60000, Level::max()};
    for (std::int32_t level = 0; level <= 200; level += 10) {
        levels.push_back(level);
    }
    for (const Sound& sound : sounds) {
        for (const std::int32_t level : levels) {
            expectSameSound({sound, level, 2, rate, 5000});
        }
        for (std::size_t channels = 1; channels <= 17; ++channels) {
            expectSameSound({sound, 120, channels, 600.0F, 4500});
        }
        for (const float anyRate : {0.0F, 1e-3F, 10.0F, 8000.0F, 44100.0F, 384000.0F, 1e30F}) {
            expectSameSound({sound, 90, 2, anyRate, 20000});
        }
        for (const float anyRate : {rate, 48000.0F}) {
            expectSameSound({sound, 30, 2, anyRate, 10 * longestBlock, {200, 10, 120, 0, 200, 60, 70, 250, 100}});
        }
    }
}

TEST(BoostDynamics, WithoutDenormalsEveryBoostSoundsAsFrameByFrame) {
    // Among samples around the smallest normal float a loud one, after which they are turned down.
    const Sound smallest{"around the smallest", [](std::size_t f, std::size_t c) {
                             return noise(f, c) * (f % 2003 == 5 ? 1.0F : 4.0F * std::numeric_limits<float>::min());
                         }};
    // As in every block of the effect.
    const test::FloatRules before = test::FloatRules::now();
    test::FloatRules{0x9FC0, before.x87}.enforce();
    for (const std::int32_t level : {-100000, -7600, -60, 0, 60, 120, 200, 53000}) {
        for (const Sound& sound : sounds) {
            expectSameSound({sound, level, 2, 300.0F, 5000});
        }
        for (const std::size_t channels : {1U, 2U, 17U}) {
            expectSameSound({smallest, level, channels, 300.0F, 5000});
        }
    }
    before.enforce();
}

TEST(BoostDynamics, MinutesOfReleasesDoNotDriftApart) {
    // A click every eleven seconds; what follows is turned down for as long as the release lasts.
    const Sound quiet{"quiet", [](std::size_t f, std::size_t) {
                          return f % 528000 == 1000 ? 1.0F
                                                    : 0.4F * noise(f, 0) * (f % 8000000 < 4000000 ? 1.0F : 0.01F);
                      }};
    expectSameSound({quiet, 200, 1, 48000.0F, std::size_t{180} * 48000});
    expectSameSound({quiet, 200, 1, 192000.0F, std::size_t{30} * 192000});
    expectSameSound({sounds[3], 60, 1, 48000.0F, std::size_t{60} * 48000});
}

TEST(BoostDynamics, TakesLogarithmsAndPowersInDoublePrecision) {
    for (const LimiterLoops* const pLoops : availableLimiterLoops()) {
        for (float peak = 1.0F; peak < std::numeric_limits<float>::max() / 1.01F; peak *= 1.001F) {
            const std::array<float, 16> peaks{peak};
            std::array<double, 16> factors{};
            // Below the envelope and above the threshold of 0 by the peak's own level.
            LimiterState state{1100.0, 0.0, 1100.0, 0.0, 0.0};
            pLoops->limit({1.0, 0.0, -1.0, 0.0}, state, peaks.data(), 1, factors.data());
            const double level = std::max(1.0, std::log2(static_cast<double>(peak)));
            ASSERT_NEAR(factors[0] * static_cast<double>(peak), 1.0, 3e-16 * level + 1e-15) << peak;
        }
    }
}

} // namespace
