#include "support/ModuleUnderTest.h"
#include "support/OwnResources.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <numbers>
#include <thread>

namespace tovix::test {
namespace {

/// Small enough that the limiter of the dynamics mode stays out of it: the boost is a plain factor.
constexpr float quiet = 0.01F;
constexpr DWORD fadeFrames = 480;

std::string boostText(int tenthsOfDb) {
    return "Boost: " + std::to_string(tenthsOfDb) + " dB 1";
}

double boosted(int tenthsOfDb) {
    return static_cast<double>(quiet) * std::pow(10.0, tenthsOfDb / 200.0);
}

/// A locked effect under the settings of a control application, fed with a constant sound.
class Playing {
public:
    Playing(const ModuleUnderTest& module, DWORD frames, DWORD channels = 2)
        : m_frames(frames), m_channels(channels), effect(module.create()) {
        EXPECT_EQ(effect.lock(floatFormat(channels), floatFormat(channels), frames), S_OK);
    }
    ~Playing() { effect.config->UnlockForProcess(); }

    /// The first channel of the next block; the others must be the same.
    std::vector<float> block() {
        const auto samples =
            effect.process(std::vector<float>(std::size_t{m_frames} * m_channels, quiet), m_channels, m_channels);
        EXPECT_EQ(effect.output.u32BufferFlags, BUFFER_VALID);
        EXPECT_EQ(effect.output.u32ValidFrameCount, m_frames);
        std::vector<float> first(m_frames);
        for (std::size_t f = 0; f < m_frames; ++f) {
            first[f] = samples[f * m_channels];
            EXPECT_EQ(samples[f * m_channels + m_channels - 1], first[f]);
        }
        return first;
    }

    /// Plays until a block is not all `before`, ten seconds at most, and answers that block.
    std::vector<float> firstChangedBlock(double before) {
        for (int i = 0; i < 10000; ++i) {
            const auto samples = block();
            for (const float sample : samples) {
                if (std::abs(sample - before) > 1e-7 * before) {
                    return samples;
                }
            }
            ::Sleep(1);
        }
        ADD_FAILURE() << "no change was heard";
        return std::vector<float>(m_frames);
    }

private:
    DWORD m_frames;
    DWORD m_channels;

public:
    Effect effect;
};

/// The frames of a block against a raised-cosine fade that began `position` frames before it.
void expectFade(const std::vector<float>& samples, std::size_t position, double before, double after) {
    for (std::size_t f = 0; f < samples.size(); ++f) {
        const double p = static_cast<double>(position + f) / fadeFrames;
        const double w = p >= 1.0 ? 1.0 : (1.0 - std::cos(p * std::numbers::pi)) / 2.0;
        ASSERT_NEAR(samples[f], before + w * (after - before), 2e-6 * after) << "frame " << position + f;
    }
}

TEST(SettingsChange, FadesInOverTenMillisecondsFromTheFirstFrameOfABlock) {
    const ModuleUnderTest module;
    for (const DWORD frames : {480U, 441U, 128U}) {
        SCOPED_TRACE(frames);
        SettingsWriter settings(boostText(0));
        Playing playing(module, frames);
        expectFade(playing.block(), fadeFrames, 0, boosted(0));
        settings.change(boostText(120));
        expectFade(playing.firstChangedBlock(boosted(0)), 0, boosted(0), boosted(120));
        for (std::size_t position = frames; position < fadeFrames + frames; position += frames) {
            expectFade(playing.block(), position, boosted(0), boosted(120));
        }
    }
}

TEST(SettingsChange, DuringAFadeWaitsForItsEndAndThenArrives) {
    const ModuleUnderTest module;
    constexpr DWORD frames = 48;
    SettingsWriter settings(boostText(0));
    Playing playing(module, frames);
    settings.change(boostText(120));
    expectFade(playing.firstChangedBlock(boosted(0)), 0, boosted(0), boosted(120));
    settings.change(boostText(60));
    ::Sleep(300); // the thread has taken the event and waits for the chain's slot
    for (std::size_t position = frames; position < fadeFrames; position += frames) {
        expectFade(playing.block(), position, boosted(0), boosted(120));
    }
    expectFade(playing.firstChangedBlock(boosted(120)), 0, boosted(120), boosted(60));
}

TEST(SettingsChange, ThatCannotBeBuiltOrEndsInSilenceOfLinesStillLetsTheNextOneArrive) {
    const ModuleUnderTest module;
    SettingsWriter settings(boostText(60));
    Playing playing(module, 480);
    settings.change("Boost: what dB 1\nno colon\n\xFF\xFE:");
    expectFade(playing.firstChangedBlock(boosted(60)), 0, boosted(60), boosted(0));
    settings.change(boostText(120));
    expectFade(playing.firstChangedBlock(boosted(0)), 0, boosted(0), boosted(120));
}

TEST(SettingsChange, NewLockTakesTheNewestTextAndAnotherFormat) {
    const ModuleUnderTest module;
    SettingsWriter settings(boostText(0));
    Effect effect(module.create());
    const DWORD channelCounts[] = {2, 6, 1, 8, 3, 2};
    int level = 0;
    for (const DWORD channels : channelCounts) {
        level += 10;
        settings.change(boostText(level)); // arrives between the locks, and once more as an update
        ASSERT_EQ(effect.lock(floatFormat(channels), floatFormat(channels), 0, 64), S_OK);
        const auto samples = effect.process(std::vector<float>(64 * channels, quiet), channels, channels);
        for (const float sample : samples) {
            ASSERT_NEAR(sample, boosted(level), 1e-6);
        }
        for (int i = 0; i < 50; ++i) { // lets a pending fade finish, which holds the token otherwise
            effect.process(std::vector<float>(64 * channels, quiet), channels, channels);
            ::Sleep(1);
        }
        ASSERT_EQ(effect.config->UnlockForProcess(), S_OK);
    }
}

TEST(SettingsChangeSlow, TwoThousandUnderContinuousAudioMissNoBlockAndLeaveNothing) {
    const ModuleUnderTest module;
    SettingsWriter settings(boostText(0));
    Playing playing(module, 480);
    // The steepest a raised cosine gets, half way, in one frame.
    const double largestStep = (boosted(120) - boosted(0)) * std::numbers::pi / 2.0 / fadeFrames * 1.001;
    float last = playing.block().back();
    std::size_t handles = 0;
    std::size_t threads = 0;
    std::size_t bytes = 0;
    for (int i = 1; i <= 2000; ++i) {
        const int level = i % 2 == 0 ? 0 : 120;
        settings.change(boostText(level));
        int blocks = 0;
        while (std::abs(last - boosted(level)) > 1e-6 * boosted(level)) {
            for (const float sample : playing.block()) {
                ASSERT_LE(std::abs(sample - last), largestStep) << "change " << i;
                last = sample;
            }
            ASSERT_LT(++blocks, 100000) << "change " << i << " never arrived";
        }
        if (i == 200) {
            handles = ownHandles();
            threads = ownThreads();
            bytes = ownHeapBytes();
        }
    }
    EXPECT_EQ(ownHandles(), handles);
    EXPECT_EQ(ownThreads(), threads);
    EXPECT_EQ(ownHeapBytes(), bytes);
}

TEST(SettingsChange, ReachesSeveralEffectsThatBuildAtOnce) {
    const ModuleUnderTest module;
    SettingsWriter settings("Equalizer: 100 0 10000 0\n" + boostText(60));
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (DWORD channels = 1; channels <= 4; ++channels) {
        threads.emplace_back([&, channels] {
            for (int life = 0; life < 5; ++life) {
                Effect effect(module.create());
                if (effect.lock(floatFormat(channels), floatFormat(channels), 240) != S_OK) {
                    ++failures;
                    return;
                }
                // A flat equalizer passes the sound on, a fraction of a block later at most.
                std::vector<float> samples;
                for (int i = 0; i < 4; ++i) {
                    samples = effect.process(std::vector<float>(240 * channels, quiet), channels, channels);
                }
                for (const float sample : samples) {
                    failures += std::abs(sample - boosted(60)) > 1e-3 * boosted(60) ? 1 : 0;
                }
                effect.config->UnlockForProcess();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
}

} // namespace
} // namespace tovix::test
