// What the announcement of a change owes to effects that wait, come later, are busy or never listen.

#include "host/SettingsPage.h"

#include "exchange/ConfigHelper.h"
#include "support/BecomesTrue.h"
#include "support/BuildingEffects.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

namespace tovix {
namespace {

/// An effect of another process as far as the update event goes: opens it, listens once it is free, and is busy for
/// good with the first signal that it takes.
class Listener {
public:
    explicit Listener(std::function<bool()> isFree)
        : m_hEvent(::OpenEventW(SYNCHRONIZE, FALSE, CONFIG_DATA_UPDATE_EVENT)),
          m_thread([this, isFree = std::move(isFree)] {
              constexpr DWORD sliceMs = 10;
              while (!m_ending && !isFree()) {
                  ::Sleep(1);
              }
              while (!m_ending && !m_heard) {
                  m_heard = ::WaitForSingleObject(m_hEvent.get(), sliceMs) == WAIT_OBJECT_0;
              }
          }) {}
    ~Listener() {
        m_ending = true;
        m_thread.join();
    }

    [[nodiscard]] bool hears() const {
        return test::becomesTrue([this] { return m_heard.load(); });
    }

private:
    KernelHandle m_hEvent;
    std::atomic<bool> m_heard = false;
    std::atomic<bool> m_ending = false;
    std::thread m_thread;
};

TEST(SettingsPage, ASignalThatANewcomerTakesIsNotMissing) {
    SettingsPage page = SettingsPage::openOrCreate();
    std::atomic<bool> newcomerIsBusy = false;
    const Listener there([&] { return newcomerIsBusy.load(); });
    std::optional<Listener> newcomer;
    std::thread arrival([&] {
        while (page.signalTaken()) {
            ::Sleep(1);
        }
        newcomer.emplace([] { return true; });
        newcomerIsBusy = newcomer->hears();
    });
    page.announce();
    arrival.join();
    EXPECT_TRUE(newcomerIsBusy);
    EXPECT_TRUE(there.hears());
}

TEST(SettingsPage, SignalsForEffectsThatAreBusyDoNotBecomeOne) {
    SettingsPage page = SettingsPage::openOrCreate();
    const auto signalIsThere = [&page] { return !page.signalTaken(); };
    const Listener first(signalIsThere);
    const Listener second(signalIsThere);
    page.announce();
    EXPECT_TRUE(first.hears());
    EXPECT_TRUE(second.hears());
}

TEST(SettingsPage, EachEffectOfTwoProcessesBuildsOnceForOneChange) {
    SettingsPage page = SettingsPage::openOrCreate();
    page.write(test::BuildingEffects::text);
    test::BuildingEffects effects(3);
    test::ChildProcess other({test::programFolder() / "tovix-effect-side.exe", L""});
    ASSERT_EQ(other.ask("effects 3"), "ok");
    for (int change = 0; change < 5; ++change) {
        // Nobody who has built comes back for the other process's signal.
        effects.hold();
        other.ask("hold");
        page.announce();
        EXPECT_EQ(effects.awaitBuilds(3), 3);
        EXPECT_EQ(other.ask("builds 3"), "3");
        effects.release();
        other.ask("release");
        ::Sleep(50); // for one too many
        EXPECT_EQ(effects.awaitBuilds(0), 3);
        EXPECT_EQ(other.ask("builds 0"), "3");
    }
}

TEST(SettingsPage, AnEffectThatTakesNoSignalKeepsNobodyWaiting) {
    SettingsPage page = SettingsPage::openOrCreate();
    const KernelHandle deaf(::OpenEventW(SYNCHRONIZE, FALSE, CONFIG_DATA_UPDATE_EVENT));
    const ULONGLONG startMs = ::GetTickCount64();
    page.announce();
    EXPECT_LT(::GetTickCount64() - startMs, 5000U);
    EXPECT_FALSE(page.signalTaken());
}

} // namespace
} // namespace tovix
