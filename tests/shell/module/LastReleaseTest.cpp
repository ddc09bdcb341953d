#include "support/BecomesTrue.h"
#include "support/ImportWatch.h"
#include "support/ModuleUnderTest.h"
#include "support/OwnResources.h"
#include "support/SettingsWriter.h"
#include "support/SystemThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <optional>

namespace tovix::test {
namespace {

/// Holds the next thread that calls a function of the system from the module.
struct Gate {
    static inline const KernelHandle entered{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    static inline const KernelHandle opens{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    static inline std::atomic<bool> closed{false};

    template <auto function, class Argument> static BOOL WINAPI pass(Argument argument) {
        if (closed.exchange(false)) {
            ::SetEvent(entered.get());
            ::WaitForSingleObject(opens.get(), INFINITE);
        }
        return function(argument);
    }
};

/// A module with effects whose threads are somewhere when the last references go.
struct Scene {
    std::optional<SettingsWriter> settings{""};
    KernelHandle nameTaken;
    std::optional<ModuleUnderTest> module{std::in_place};
    std::optional<ImportWatch> imports{module->handle()};
    std::list<Effect> effects;

    void lockEffects(int count) {
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(effects.emplace_back(module->create()).lock(floatFormat(2), floatFormat(2), 64), S_OK);
        }
        awaitWaits(static_cast<std::uint32_t>(count));
    }
    void awaitWaits(std::uint32_t count) {
        EXPECT_TRUE(becomesTrue([&] { return imports->calls("WaitForMultipleObjects") >= count; }));
    }
    template <class Argument> void holdAtChange(const char* function, BOOL(WINAPI* pGate)(Argument)) {
        imports->redirect(function, pGate);
        Gate::closed = true;
        settings->change("Boost: 60 dB 1");
        EXPECT_EQ(::WaitForSingleObject(Gate::entered.get(), 20000), WAIT_OBJECT_0);
    }
};

void beIdle(Scene& scene) {
    scene.lockEffects(1);
}

void build(Scene& scene) {
    scene.lockEffects(1);
    scene.holdAtChange("QueryPerformanceCounter", &Gate::pass<&::QueryPerformanceCounter, LARGE_INTEGER*>);
}

void waitForTheToken(Scene& scene) {
    scene.lockEffects(1);
    scene.settings->change("Boost: 60 dB 1"); // no block takes it
    scene.awaitWaits(3);
    scene.settings->change("Boost: 90 dB 1");
    scene.awaitWaits(4);
}

void waitForThePage(Scene& scene) {
    scene.settings.reset();
    scene.nameTaken.reset(::CreateSemaphoreW(nullptr, 0, 1, L"Global\\TovixConfigData"));
    scene.effects.emplace_back(scene.module->create());
    scene.awaitWaits(1);
}

void relayAnUpdate(Scene& scene) {
    scene.lockEffects(2);
    scene.holdAtChange("SetEvent", &Gate::pass<&::SetEvent, HANDLE>);
}

TEST(LastRelease, EndsTheThreadsWhateverTheyAreDoingAndNothingIsUnloadedBefore) {
    const struct {
        const char* name;
        void (*arrange)(Scene&);
        bool isHeld = false;
    } states[] = {{"idle", beIdle},
                  {"building", build, true},
                  {"waiting for the token", waitForTheToken},
                  {"waiting for the page", waitForThePage},
                  {"relaying an update", relayAnUpdate, true}};
    for (const auto& state : states) {
        SCOPED_TRACE(state.name);
        const std::size_t threads = ownThreads();
        Scene scene;
        state.arrange(scene);
        scene.module.reset(); // a host that does not ask
        ASSERT_NE(::GetModuleHandleW(L"Tovix64.dll"), nullptr);
        scene.module.emplace();
        EXPECT_EQ(scene.module->canUnloadNow(), S_FALSE);
        SystemThread release([&] { scene.effects.clear(); });
        if (state.isHeld) {
            EXPECT_TRUE(becomesTrue([&] { return scene.imports->calls("WaitForSingleObject") == 1; }));
            EXPECT_EQ(scene.module->canUnloadNow(), S_FALSE);
            ::SetEvent(Gate::opens.get());
        }
        const ULONGLONG startMs = ::GetTickCount64();
        release.join();
        EXPECT_LT(::GetTickCount64() - startMs, 4500U) << "a thread was given up";
        EXPECT_EQ(scene.module->canUnloadNow(), S_OK);
        scene.imports.reset();
        scene.module.reset();
        EXPECT_TRUE(becomesTrue([] { return ::GetModuleHandleW(L"Tovix64.dll") == nullptr; }));
        EXPECT_EQ(threadsSettledAt(threads), threads);
    }
}

} // namespace
} // namespace tovix::test
