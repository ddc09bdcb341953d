#include "manager/EffectManager.h"
#include "support/BecomesTrue.h"
#include "support/FastestAgain.h"
#include "support/ImportWatch.h"
#include "support/LogCapture.h"
#include "support/OwnResources.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <optional>
#include <vector>

namespace tovix::test {
namespace {

const std::string threadLog = "INFO EffectManager::notificationThread: ";
const std::string destructorLog = "INFO EffectManager::~EffectManager: ";
const std::string threadEnded = destructorLog + "params change notification thread was terminated";

constexpr StreamFormat stereo{48000.0F, 2, 2, 2, 3, 480};
/// Every build of this text logs a line.
constexpr const char* loggedText = "Boost: loud";

bool tellsOfABuild(const std::string& line) {
    return line.find("Couldn't create boost filter") != std::string::npos;
}

/// Blocks of a fade and one more. Returns the last sample.
float play(EffectManager& manager, const StreamFormat& format = stereo) {
    std::vector<float> samples(std::size_t{format.maxFrames} * format.inputChannels);
    for (std::uint32_t played = 0; played < crossfadeFramesAt(format.sampleRateHz) + format.maxFrames;
         played += format.maxFrames) {
        std::fill(samples.begin(), samples.end(), 0.1F);
        manager.process(samples.data(), samples.data(), format.maxFrames);
    }
    return samples.back();
}

TEST(EffectManager, OneSignalMakesEachEffectOfTheModuleBuildOnce) {
    std::atomic<int> builds{0};
    const BriefLog log([&builds](const std::string& line) { builds += tellsOfABuild(line) ? 1 : 0; });
    const auto expectBuilds = [&builds](int expected) {
        EXPECT_TRUE(becomesTrue([&] { return builds >= expected; }));
        ::Sleep(100); // for one too many
        EXPECT_EQ(builds, expected);
        builds = 0;
    };
    SettingsWriter settings(loggedText);
    std::array<EffectManager, 4> managers;
    for (auto& manager : managers) {
        manager.initializeManager(stereo);
    }
    expectBuilds(4);
    EffectManager unlocked;
    for (int signal = 0; signal < 3; ++signal) {
        settings.change(loggedText);
        expectBuilds(4);
        for (auto& manager : managers) {
            play(manager);
        }
    }
    // Its first chain is of the text that the signals before announced.
    unlocked.initializeManager(stereo);
    expectBuilds(1);
}

TEST(EffectManager, ShutdownComesBeforeAFloodOfSignals) {
    SettingsWriter settings(loggedText);
    const KernelHandle update(::CreateEventW(nullptr, FALSE, FALSE, L"Global\\TovixDataUpdate"));
    std::atomic<int> builds{0};
    const BriefLog log([&](const std::string& line) {
        if (tellsOfABuild(line)) {
            ++builds;
            ::SetEvent(update.get());
        }
    });
    {
        EffectManager manager;
        manager.initializeManager({48000.0F, 0, 0, 0, 0, 480}); // no channel: no chain, no fade to wait for
        while (builds < 10) {
            ::Sleep(1);
        }
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

TEST(EffectManager, SettingsThatWouldStarveTheAudioThreadAreNotUsed) {
    constexpr StreamFormat shortBlocks{192000.0F, 8, 8, 8, 0x63F, 16};
    const FastestAgain atEnd;
    ASSERT_TRUE(forceConvolverEngine("fftw"));
    std::string expensive;
    for (int line = 0; line < 18; ++line) {
        expensive += "Equalizer:1 1\n";
    }
    SettingsWriter settings("Boost: 60 dB 1");
    const BriefLog log;
    const auto hasWarning = [&log](const std::string& end) {
        const auto lines = log.lines();
        return std::any_of(lines.begin(), lines.end(), [&end](const std::string& line) {
            return line.starts_with("WARNING EffectManager::buildChain: The settings take too much of each block's "
                                    "time and are not used. Percent= ") &&
                   line.ends_with(" Limit= 70.000000. " + end);
        });
    };
    EffectManager manager;
    manager.initializeManager(shortBlocks);
    settings.change(expensive);
    EXPECT_TRUE(becomesTrue([&] { return hasWarning("The chain that plays goes on"); }));
    EXPECT_NEAR(play(manager, shortBlocks), 0.1995F, 1e-4F);
    settings.change("Boost: 120 dB 1");
    EXPECT_TRUE(becomesTrue([&] { return play(manager, shortBlocks) > 0.39F; })) << "the next change is heard";
    settings.write(expensive);
    EXPECT_FALSE(hasWarning("The sound passes unchanged"));
    manager.initializeManager(shortBlocks);
    EXPECT_TRUE(hasWarning("The sound passes unchanged"));
    EXPECT_EQ(play(manager, shortBlocks), 0.1F);
    settings.change("Boost: 60 dB 1");
    EXPECT_TRUE(becomesTrue([&] { return play(manager, shortBlocks) > 0.19F; }));
}

HANDLE WINAPI noEvent(SECURITY_ATTRIBUTES*, BOOL, BOOL, LPCWSTR) {
    return nullptr;
}

HANDLE WINAPI invalidThread() {
    return INVALID_HANDLE_VALUE;
}

TEST(EffectManager, WithoutEventsOrAThreadItPlaysAndHearsNoChange) {
    const struct {
        const char* function;
        const void* pStandIn;
        std::vector<std::string> told;
    } cases[] = {
        {"CreateEventW",
         reinterpret_cast<const void*>(&noEvent),
         {"ERROR EffectManager::notificationThread: NO update event exists!", threadLog + "Shutdown event received 1",
          threadEnded}},
        {"CreateThread",
         reinterpret_cast<const void*>(&invalidThread),
         {"ERROR EffectManager::initializeManager: E: Filed to create params change notification thread"}},
    };
    for (const auto& c : cases) {
        SettingsWriter settings("Boost: 60 dB 1");
        const BriefLog log;
        {
            ImportWatch watch(::GetModuleHandleW(nullptr));
            watch.redirect(c.function, c.pStandIn);
            EffectManager manager;
            manager.initializeManager(stereo);
            settings.change("Boost: 0 dB 1");
            ::Sleep(100);
            EXPECT_NEAR(play(manager), 0.1995F, 1e-4F);
        }
        for (const auto& line : c.told) {
            EXPECT_TRUE(log.has(line)) << line;
        }
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
