#include "manager/EffectManager.h"
#include "support/BriefLog.h"
#include "support/OwnResources.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <optional>

namespace tovix::test {
namespace {

constexpr const char* threadEnds = "INFO EffectManager::notificationThread: Shutdown event received 1";
constexpr const char* threadEnded =
    "INFO EffectManager::~EffectManager: params change notification thread was terminated";

TEST(EffectManagerSlow, ThreadThatOutlivesTheLastWaitFindsEverythingInPlace) {
    SettingsWriter settings("Boost: 60 dB 1");
    const std::size_t threads = ownThreads();
    const BriefLog log([](const std::string& line) {
        if (line.ends_with("Shutdown event received 1")) {
            ::Sleep(6000); // longer than the manager waits
        }
    });
    std::optional<EffectManager> manager(std::in_place);
    manager->initializeManager({48000.0F, 2, 2, 2, 3, 480});
    const std::size_t bytes = ownHeapBytes();
    manager.reset();
    EXPECT_TRUE(BriefLog::has(threadEnds));
    EXPECT_FALSE(BriefLog::has(threadEnded));
    EXPECT_EQ(ownThreads(), threads + 1);
    ::Sleep(2000);
    EXPECT_EQ(ownThreads(), threads);
    EXPECT_LT(ownHeapBytes(), bytes);
}

} // namespace
} // namespace tovix::test
