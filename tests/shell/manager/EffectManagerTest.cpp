// Longer than most: what a change, a clock, a storm and an end do to one manager is seen by the same means.

#include "manager/EffectManager.h"
#include "support/BuildingEffects.h"
#include "support/Durations.h"
#include "support/ImportWatch.h"
#include "support/OwnResources.h"
#include "support/SettingsWriter.h"
#include "support/SystemThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

namespace tovix::test {
namespace {

const std::string threadLog = "INFO EffectManager::notificationThread: ";
const std::string destructorLog = "INFO EffectManager::~EffectManager: ";
const std::string threadEnded = destructorLog + "params change notification thread was terminated";

constexpr StreamFormat stereo{48000.0F, 2, 2, 2, 3, 480};

/// The last sample of one block; with `stereo` that is the end of a fade.
float playBlock(EffectManager& manager, const StreamFormat& format = stereo) {
    std::vector<float> samples(std::size_t{format.maxFrames} * 2, 0.1F);
    manager.process(samples.data(), samples.data(), format.maxFrames);
    return samples.back();
}

/// Two blocks, enough for a fade to end and for the sound to be that of the chain behind it.
float play(EffectManager& manager) {
    playBlock(manager);
    return playBlock(manager);
}

TEST(EffectManager, OneSignalMakesEachEffectOfTheModuleBuildOnce) {
    SettingsWriter settings(BuildingEffects::text);
    BuildingEffects effects(4);
    EffectManager unlocked;
    for (int signal = 0; signal < 3; ++signal) {
        effects.hold();
        settings.signal();
        EXPECT_EQ(effects.awaitBuilds(4), 4);
        effects.release();
        ::Sleep(100); // for one too many
        EXPECT_EQ(effects.awaitBuilds(0), 4);
    }
    // Its first chain is of the text that the signals before announced.
    unlocked.initializeManager(stereo);
    EXPECT_EQ(effects.awaitBuilds(5), 5);
    ::Sleep(100);
    EXPECT_EQ(effects.awaitBuilds(0), 5);
}

TEST(EffectManager, ShutdownComesBeforeAFloodOfSignals) {
    SettingsWriter settings(BuildingEffects::text);
    const KernelHandle update(::CreateEventW(nullptr, FALSE, FALSE, L"Global\\TovixDataUpdate"));
    std::atomic<int> builds{0};
    const BriefLog log([&](const std::string& line) {
        if (BuildingEffects::isOfABuild(line)) {
            ++builds;
            ::SetEvent(update.get());
        }
    });
    {
        EffectManager manager;
        manager.initializeManager({48000.0F, 0, 0, 0, 0, 480}); // no channel: no chain, no fade to wait for
        EXPECT_TRUE(becomesTrue([&] { return builds >= 10; }));
    }
    EXPECT_TRUE(log.has(threadEnded));
}

TEST(EffectManager, ChangeThatTheAudioHasNotTakenHoldsUpTheNextOneButNotTheEnd) {
    SettingsWriter settings("");
    const BriefLog log;
    {
        ImportWatch watch(::GetModuleHandle(nullptr));
        EffectManager manager;
        manager.initializeManager(stereo);
        // It waits twice for each change: for the change and for the token.
        const auto itsWaitsBecome = [&](std::uint32_t count) {
            return becomesTrue([&] { return watch.calls("WaitForMultipleObjects") >= count; });
        };
        settings.change("Boost: 60 dB 1"); // takes the token, which no block gives back
        EXPECT_TRUE(itsWaitsBecome(3));
        // A lock while a fade is pending loses the token for good, and has taken the settings itself.
        manager.initializeManager(stereo);
        settings.change("Boost: 120 dB 1");
        EXPECT_TRUE(itsWaitsBecome(4));
        for (int i = 0; i < 2; ++i) {
            EXPECT_NEAR(play(manager), 0.1995F, 1e-4F);
        }
    }
    EXPECT_TRUE(log.has(threadLog + "Shutdown event received 2"));
    EXPECT_TRUE(log.has("INFO EffectManager::initializeManager: Channel count= 2 Device= FL FR"));
    EXPECT_TRUE(log.has("INFO EffectManager::EffectManager: ENTERED"));
    EXPECT_TRUE(log.has(destructorLog + "ENTERED"));
}

/// The clock of a trial run of `stereo`: every look at it is later by a share of a block's time.
class SteppingClock {
public:
    SteppingClock() {
        m_watch.redirect("QueryPerformanceFrequency", &frequency);
        m_watch.redirect("QueryPerformanceCounter", &counter);
    }
    static void setShare(double shareOfABlock) { m_step = static_cast<LONGLONG>(shareOfABlock * blockNs); }

private:
    static constexpr double blockNs = stereo.maxFrames * 1e9 / double{stereo.sampleRateHz};

    static BOOL WINAPI frequency(LARGE_INTEGER* pValue) {
        pValue->QuadPart = 1000000000;
        return TRUE;
    }
    static BOOL WINAPI counter(LARGE_INTEGER* pValue) {
        pValue->QuadPart = m_now += m_step;
        return TRUE;
    }

    static inline std::atomic<LONGLONG> m_step{0};
    static inline std::atomic<LONGLONG> m_now{0};
    ImportWatch m_watch{::GetModuleHandleW(nullptr)};
};

TEST(EffectManager, SettingsThatWouldStarveTheAudioThreadAreNotUsed) {
    const SteppingClock clock;
    clock.setShare(0.3);
    SettingsWriter settings("Boost: 60 dB 1");
    const BriefLog log;
    const auto hasWarning = [&log](const std::string& end) {
        return log.has("WARNING EffectManager::buildChain: The settings take too much of each block's time and are "
                       "not used. Percent= 71.000000 Limit= 70.000000. " +
                       end);
    };
    EffectManager manager;
    manager.initializeManager(stereo);
    clock.setShare(0.71);
    settings.change("Boost: 90 dB 1");
    EXPECT_TRUE(becomesTrue([&] { return hasWarning("The chain that plays goes on"); }));
    EXPECT_NEAR(play(manager), 0.1995F, 1e-4F);
    clock.setShare(0.3);
    settings.change("Boost: 120 dB 1");
    EXPECT_TRUE(becomesTrue([&] { return play(manager) > 0.39F; })) << "the next change is heard";
    // At the start of a stream.
    clock.setShare(0.71);
    settings.write("Boost: 90 dB 1");
    EXPECT_FALSE(hasWarning("The sound passes unchanged"));
    manager.initializeManager(stereo);
    EXPECT_TRUE(hasWarning("The sound passes unchanged"));
    EXPECT_EQ(play(manager), 0.1F);
    clock.setShare(0.3);
    settings.change("Boost: 60 dB 1");
    EXPECT_TRUE(becomesTrue([&] { return play(manager) > 0.19F; }));
}

TEST(EffectManager, ChainsThatTakeTooMuchInAFadeFollowEachOtherByWayOfThePlainSound) {
    const SteppingClock clock;
    for (const double share : {0.35, 0.36}) {
        SCOPED_TRACE(share);
        clock.setShare(share);
        SettingsWriter settings("Boost: 60 dB 1");
        EffectManager manager;
        manager.initializeManager(stereo);
        std::optional<OwnResources> held; // after each two changes
        for (int change = 0; change < 6; ++change) {
            const float level = change % 2 == 0 ? 0.3981F : 0.1995F;
            settings.change(change % 2 == 0 ? "Boost: 120 dB 1" : "Boost: 60 dB 1");
            float lowest = 1.0F;
            EXPECT_TRUE(becomesTrue([&] {
                const float last = playBlock(manager);
                lowest = std::min(last, lowest);
                return std::abs(last - level) < 1e-4F;
            }));
            EXPECT_EQ(share > 0.35, lowest < 0.11F) << "the plain sound";
            if (change % 2 == 1) {
                held = held.value_or(OwnResources::now());
                EXPECT_EQ(settledAt(*held), *held);
            }
        }
    }
}

TEST(EffectManager, AStormOfSignalsBuildsOnceForEachFadeAndNoBuildHoldsUpABlock) {
    constexpr int signals = 100000;
    constexpr StreamFormat shortBlocks{48000.0F, 2, 2, 2, 3, 48};
    const std::string text = "Boost: loud\nEqualizer: 100 0 10000 0\nBoost: ";
    SettingsWriter settings(text + "0 dB 1");
    std::atomic<int> blocks{0};
    std::atomic<int> builds{0};
    std::atomic<int> blocksHeldUp{0};
    std::atomic<bool> streaming{false};
    // Every build of the storm lasts until the stream has gone on by two blocks.
    const BriefLog log([&](const std::string& line) {
        if (BuildingEffects::isOfABuild(line) && streaming) {
            ++builds;
            const int playing = blocks;
            blocksHeldUp += becomesTrue([&] { return blocks >= playing + 2 || !streaming; }) ? 0 : 1;
        }
    });
    EffectManager manager;
    manager.initializeManager(shortBlocks);
    float last = 0.0F;
    const auto playNext = [&] {
        last = playBlock(manager, shortBlocks);
        ++blocks;
    };
    Durations quiet;
    for (; blocks < 300; ::Sleep(1)) {
        quiet.time(playNext);
    }
    quiet.print("blocks without a storm");
    blocks = 0;
    streaming = true;
    std::atomic<bool> over{false};
    const SystemThread storm([&] {
        for (int i = 0; i < signals; ++i) {
            settings.signal();
        }
        over = true;
    });
    Durations inStorm;
    for (; !over; ::Sleep(1)) {
        inStorm.time(playNext);
    }
    inStorm.print("blocks in the storm");
    const int inAll = builds;
    std::printf("%d builds for %d signals\n", inAll, signals);
    // One is being built, one waits for its fade, which takes ten blocks, and nothing else does.
    EXPECT_LE(inAll, blocks / 10 + 2);
    EXPECT_GT(inAll, 1);
    settings.change(text + "120 dB 1");
    EXPECT_TRUE(becomesTrue([&] {
        playNext();
        return std::abs(last - 0.3981F) < 1e-3F;
    }));
    EXPECT_LE(builds, inAll + 3) << "what is left of the storm, and the last text";
    EXPECT_EQ(blocksHeldUp, 0);
    streaming = false;
}

TEST(EffectManager, WithoutEventsOrAThreadItPlaysAndHearsNoChange) {
    constexpr HANDLE (*noHandle)() = [] { return HANDLE{nullptr}; };
    constexpr HANDLE (*invalidHandle)() = [] { return INVALID_HANDLE_VALUE; };
    for (const bool hasThread : {true, false}) {
        SettingsWriter settings("Boost: 60 dB 1");
        const BriefLog log;
        {
            ImportWatch watch(::GetModuleHandleW(nullptr));
            watch.redirect(hasThread ? "CreateEventW" : "CreateThread", hasThread ? noHandle : invalidHandle);
            EffectManager manager;
            manager.initializeManager(stereo);
            settings.change("Boost: 0 dB 1");
            ::Sleep(100);
            EXPECT_NEAR(play(manager), 0.1995F, 1e-4F);
        }
        EXPECT_EQ(log.has("ERROR EffectManager::notificationThread: NO update event exists!"), hasThread);
        EXPECT_EQ(log.has(threadLog + "Shutdown event received 1"), hasThread);
        EXPECT_EQ(log.has(threadEnded), hasThread);
        EXPECT_NE(
            log.has("ERROR EffectManager::initializeManager: E: Filed to create params change notification thread"),
            hasThread);
    }
}

TEST(EffectManagerSlow, ThreadThatOutlivesTheLastWaitFindsEverythingInPlace) {
    SettingsWriter settings("Boost: 60 dB 1");
    const std::size_t threads = ownThreads();
    const KernelHandle gate(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const BriefLog log([&gate](const std::string& line) {
        if (line.ends_with("Shutdown event received 1")) {
            ::WaitForSingleObject(gate.get(), INFINITE);
        }
    });
    std::optional<EffectManager> manager(std::in_place);
    manager->initializeManager(stereo);
    const std::size_t bytes = OwnResources::now().heapBytes;
    manager.reset();
    EXPECT_FALSE(log.has(threadEnded));
    EXPECT_EQ(ownThreads(), threads + 1);
    ::SetEvent(gate.get());
    EXPECT_EQ(threadsSettledAt(threads), threads);
    EXPECT_LT(OwnResources::now().heapBytes, bytes);
}

} // namespace
} // namespace tovix::test
