#include "exchange/ConfigHelper.h"
#include "support/BriefLog.h"
#include "support/ControlSide.h"
#include "support/OwnResources.h"
#include "support/RegistryValue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

namespace tovix::test {
namespace {

const std::string createLog = "ApoConfigManager::CreateSharedConfigData: ";
const std::string openLog = "ApoConfigManager::OpenSharedConfigData: ";
const std::string cannotOpen =
    "WARNING " + openLog +
    "canTryToOpen IS FALSE. Probably just finishing thread prematurely because of object's "
    "destruction.";
const std::string waitingLog = "INFO ApoConfigManager::SharedDataCreateThread: ";

std::string padded(std::string text) {
    text.resize(256, '\0');
    return text;
}

std::string readBlock(const ApoConfigManager& manager) {
    std::ostringstream stream;
    manager.ReadConfigData(stream);
    return stream.str();
}

bool updateSeen(const ApoConfigManager& manager, DWORD milliseconds = 5000) {
    return ::WaitForSingleObject(manager.updateEvent(), milliseconds) == WAIT_OBJECT_0;
}

TEST(ApoConfigManager, TextOfAControlSideThatCameFirstIsReadAndKept) {
    ControlSide control;
    ASSERT_EQ(control("create-block"), "ok");
    control("write Boost: 60 dB 1|Equalizer: 100 -3");
    control("event create");
    const BriefLog log;
    {
        const ApoConfigManager manager;
        EXPECT_EQ(readBlock(manager), padded("Boost: 60 dB 1\nEqualizer: 100 -3"));
    }
    EXPECT_EQ(control.block(), padded("Boost: 60 dB 1\nEqualizer: 100 -3"));
    EXPECT_EQ(control("await create 50"), "timeout");
    const std::vector<std::string> expected{
        "INFO ApoConfigManager::ApoConfigManager: ENTERING",
        "INFO " + createLog + "m_pSharedData->Open( CONFIG_DATA_STRUCT ) SUCCEEDED",
        "INFO ApoConfigManager::ApoConfigManager: LEAVING",
        "INFO ApoConfigManager::~ApoConfigManager: ENTERING",
        "INFO ApoConfigManager::~ApoConfigManager: LEAVING",
    };
    EXPECT_EQ(log.lines(), expected);
}

TEST(ApoConfigManager, EffectThatComesFirstCreatesAZeroBlockAndReleasesOneWaiter) {
    ControlSide control;
    control("event create");
    const BriefLog log;
    const ApoConfigManager manager;
    EXPECT_TRUE(
        log.has("INFO " + createLog +
                "m_pSharedData->Open( CONFIG_DATA_STRUCT ) FAILED. GetLastError()=2 ipcsRes=1. Trying to create "
                "the struct..."));
    EXPECT_TRUE(log.has("INFO " + createLog + "m_pSharedData->Create( CONFIG_DATA_STRUCT, sa ) SUCCEEDED"));
    EXPECT_EQ(control("await create 2000"), "signalled");
    EXPECT_EQ(control("await create 50"), "timeout");
    EXPECT_EQ(readBlock(manager), padded(""));
    ASSERT_EQ(control("open-block"), "ok");
    EXPECT_EQ(control.block(), padded(""));

    control("write Boost: 35 dB 0");
    control("signal update");
    EXPECT_TRUE(updateSeen(manager));
    EXPECT_EQ(readBlock(manager), padded("Boost: 35 dB 0"));
}

/// An effect that can neither open nor create the block, beside the process that stands in its way.
struct WaitingEffect {
    ControlSide control;
    std::optional<ApoConfigManager> manager;

    explicit WaitingEffect(const std::string& obstacle = "occupy block") {
        EXPECT_EQ(control(obstacle), "ok");
        manager.emplace();
    }

    void createBlock(const std::string& text) {
        control("drop");
        EXPECT_EQ(control("create-block"), "ok");
        control("write " + text);
    }
};

TEST(ApoConfigManager, EffectThatMayNotCreateWaitsAndThenWritesItsOwnSettings) {
    const struct {
        std::optional<DWORD> oldApo;
        std::string text;
    } cases[] = {{std::nullopt, "#Boost: 0 dB 0\n#EnableOldApo:"}, {2, "#Boost: 0 dB 0\nEnableOldApo:"}};
    const std::string before = "Boost: 200 dB 1|Equalizer: 100 -3 1000 0 10000 6";
    for (const auto& c : cases) {
        std::optional<RegistryValue> value;
        if (c.oldApo) {
            value.emplace(L"EnableOldApo", *c.oldApo);
        }
        const BriefLog log;
        WaitingEffect effect;
        EXPECT_EQ(effect.manager->GetSetting(2, 0), c.oldApo ? 1 : 0);
        EXPECT_EQ(readBlock(*effect.manager), "");
        effect.createBlock(before);
        effect.control("event update");
        effect.control("signal create");
        EXPECT_EQ(effect.control("await update 5000"), "signalled");
        // What stood behind the new text stays.
        std::string expected = padded("Boost: 200 dB 1\nEqualizer: 100 -3 1000 0 10000 6");
        expected.replace(0, c.text.size() + 1, c.text.c_str(), c.text.size() + 1);
        EXPECT_EQ(effect.control.block(), expected);
        EXPECT_EQ(readBlock(*effect.manager), expected);
        EXPECT_TRUE(
            log.has("WARNING " + createLog +
                    "m_pSharedData->Create( CONFIG_DATA_STRUCT, sa ) FAILED. GetLastError()=6 ipcsRes=2. Going "
                    "to wait for other process to create the struct."));
        EXPECT_TRUE(log.has("INFO " + createLog + "Starting a thread to wait for the data creation"));
        EXPECT_TRUE(log.has(waitingLog + "Beginning to wait for shared config data creation"));
        EXPECT_TRUE(log.has(waitingLog +
                            "Wait for shared config data creation succeeded. Trying to open shared config data..."));
        EXPECT_TRUE(log.has("INFO " + openLog + "m_pSharedData->Open(CONFIG_DATA_STRUCT) SUCCEEDED"));
        EXPECT_TRUE(log.has("INFO ApoConfigManager::ReadConfigData: m_pSharedData DOESN'T EXIST"));
    }
}

TEST(ApoConfigManager, BlockThatCannotBeViewedIsDroppedAndWaitedFor) {
    const BriefLog log;
    WaitingEffect effect("unviewable");
    EXPECT_TRUE(
        log.has("INFO " + createLog +
                "m_pSharedData->Open( CONFIG_DATA_STRUCT ) FAILED. GetLastError()=5 ipcsRes=3. Trying to create "
                "the struct..."));
    EXPECT_TRUE(
        log.has("WARNING " + createLog +
                "m_pSharedData->Create( CONFIG_DATA_STRUCT, sa ) FAILED. GetLastError()=5 ipcsRes=4. Going to "
                "wait for other process to create the struct."));
    // The new block is a different one only if the effect has let go of the old one.
    effect.createBlock("x");
    effect.control("event update");
    effect.control("signal create");
    EXPECT_EQ(effect.control("await update 5000"), "signalled");
    EXPECT_EQ(effect.control.block(), padded("#Boost: 0 dB 0\n#EnableOldApo:"));
}

TEST(ApoConfigManager, SignalWithoutABlockLeavesTheEffectWithoutOneForGood) {
    const BriefLog log;
    WaitingEffect effect;
    effect.control("signal create");
    const std::string failed =
        "ERROR " + openLog + "m_pSharedData->Open(CONFIG_DATA_STRUCT) FAILED. GetLastError()=6 ipcsRes=1";
    for (int i = 0; i < 500 && !log.has(failed); ++i) {
        ::Sleep(10);
    }
    EXPECT_TRUE(log.has(failed));
    effect.createBlock("text");
    effect.control("signal create");
    EXPECT_FALSE(updateSeen(*effect.manager, 200));
    EXPECT_EQ(effect.control.block(), padded("text"));
}

TEST(ApoConfigManager, DestructionEndsTheThreadAlsoWhereAnotherWaiterTakesItsSignal) {
    const BriefLog log;
    const std::size_t threadsBefore = ownThreads();
    WaitingEffect effect;
    std::optional<ApoConfigManager> second(std::in_place);
    EXPECT_EQ(ownThreads(), threadsBefore + 2);
    ::Sleep(100);
    const ULONGLONG startMs = ::GetTickCount64();
    second.reset();
    effect.manager.reset();
    EXPECT_LT(::GetTickCount64() - startMs, 3000U);
    EXPECT_EQ(ownThreads(), threadsBefore);
}

TEST(ApoConfigManager, DestructionWhileWaitingLeavesTheBlockAloneAndNoSignalBehind) {
    const BriefLog log;
    WaitingEffect effect;
    ::Sleep(100);
    effect.createBlock("text");
    effect.control("event create");
    effect.control("event update");
    const ULONGLONG startMs = ::GetTickCount64();
    effect.manager.reset();
    EXPECT_LT(::GetTickCount64() - startMs, 3000U);
    EXPECT_TRUE(log.has(cannotOpen));
    EXPECT_EQ(log.lines().back(), "INFO ApoConfigManager::~ApoConfigManager: LEAVING");
    EXPECT_EQ(effect.control.block(), padded("text"));
    EXPECT_EQ(effect.control("await create 50"), "timeout");
    EXPECT_EQ(effect.control("await update 50"), "timeout");
}

TEST(ApoConfigManager, EventNamesTakenByOtherObjectsLeaveItUsable) {
    const BriefLog log;
    ControlSide updateTaken;
    ASSERT_EQ(updateTaken("occupy update"), "ok");
    {
        const ApoConfigManager manager;
        EXPECT_TRUE(log.has("ERROR ApoConfigManager::ApoConfigManager: "
                            "CreateEvent(CONFIG_DATA_UPDATE_EVENT) FAILED. GetLastError()=6"));
        EXPECT_FALSE(updateSeen(manager, 0));
        EXPECT_NE(::SetEvent(manager.updateEvent()), FALSE);
        EXPECT_TRUE(updateSeen(manager));
        EXPECT_FALSE(updateSeen(manager, 0));
    }
    ControlSide createTaken;
    ASSERT_EQ(createTaken("occupy create"), "ok");
    {
        const ApoConfigManager manager;
        EXPECT_TRUE(
            log.has("ERROR " + createLog + "CreateEvent(CONFIG_DATA_CREATE_EVENT) 2 FAILED. GetLastError()=6"));
    }
    const WaitingEffect effect;
    EXPECT_TRUE(log.has("ERROR " + createLog + "CreateEvent(CONFIG_DATA_CREATE_EVENT) FAILED. GetLastError()=6"));
}

TEST(ApoConfigManager, BlockMayBeRewrittenWhileItIsRead) {
    ControlSide control;
    ApoConfigManager manager;
    ASSERT_EQ(control("open-block"), "ok");
    std::atomic<bool> scribbling{true};
    std::atomic<int> changes{0};
    const auto reader = [&] {
        std::string last;
        while (scribbling) {
            const std::string bytes = readBlock(manager);
            EXPECT_EQ(bytes.size(), 256U);
            changes += bytes != last ? 1 : 0;
            last = bytes;
        }
    };
    std::thread thread(reader);
    for (int i = 0; i < 30 && changes <= 10; ++i) { // a busy machine lets the two meet seldom
        control("scribble 300");
    }
    scribbling = false;
    thread.join();
    EXPECT_GT(changes, 10);
    control("write Boost: 10 dB 0");
    control("signal update");
    EXPECT_TRUE(updateSeen(manager));
    EXPECT_STREQ(readBlock(manager).c_str(), "Boost: 10 dB 0");
}

TEST(ApoConfigManager, AThousandLivesLeaveNoHandleThreadOrByte) {
    const auto expectNothingLeft = [](int lives) {
        { const ApoConfigManager warmUp; }
        const std::size_t handles = ownHandles();
        const std::size_t bytes = ownHeapBytes();
        for (int i = 0; i < lives; ++i) {
            const ApoConfigManager manager;
        }
        EXPECT_EQ(ownHandles(), handles);
        EXPECT_EQ(ownHeapBytes(), bytes);
    };
    expectNothingLeft(1000);
    ControlSide control;
    ASSERT_EQ(control("occupy block"), "ok");
    const std::size_t threads = ownThreads();
    expectNothingLeft(200);
    EXPECT_EQ(ownThreads(), threads);
}

TEST(ApoConfigManagerSlow, ThreadThatALoggerHoldsBeyondTheLimitFindsNothingToTouch) {
    const KernelHandle gate(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const BriefLog log([&gate](const std::string& line) {
        if (line.find("Beginning to wait") != std::string::npos) {
            ::WaitForSingleObject(gate.get(), INFINITE);
        }
    });
    const std::size_t threadsBefore = ownThreads();
    WaitingEffect effect;
    effect.createBlock("text");
    const ULONGLONG startMs = ::GetTickCount64();
    effect.manager.reset();
    EXPECT_GE(::GetTickCount64() - startMs, 4900U);
    EXPECT_LT(::GetTickCount64() - startMs, 8000U);
    // Were the thread's memory free by now, one of these would take its place.
    const std::vector<std::string> reused(64, std::string(sizeof(ConfigExchange) - 1, '\xEE'));
    ::SetEvent(gate.get());
    for (int i = 0; i < 500 && ownThreads() > threadsBefore; ++i) {
        ::Sleep(10);
    }
    EXPECT_EQ(ownThreads(), threadsBefore);
    EXPECT_TRUE(log.has(cannotOpen));
    EXPECT_EQ(effect.control.block(), padded("text"));
}

} // namespace
} // namespace tovix::test
