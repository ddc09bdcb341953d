#include "support/BecomesTrue.h"
#include "support/ImportWatch.h"
#include "support/ModuleUnderTest.h"
#include "support/OwnResources.h"
#include "support/SettingsWriter.h"
#include "support/SystemThread.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>
#include <string_view>

namespace tovix::test {
namespace {

TEST(Module, HoldsTheKeysUnderWhichAPreviousEffectMayStand) {
    const std::string bytes = contentOf(programFolder() / "Tovix64.dll");
    for (const int id : {1, 2, 5, 6, 7, 13, 14, 15}) {
        const std::wstring text = L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d}," + std::to_wstring(id);
        const std::string_view inModule(reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * 2);
        EXPECT_NE(bytes.find(inModule), std::string::npos) << id;
    }
}

/// Threads that throw without memory and stay, until there is no reserve for one more.
void exhaustTheReserveForExceptions() {
    const ModuleUnderTest module;
    ImportWatch imports(module.handle());
    const auto factory = module.factory();
    const KernelHandle thrown(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const auto throwAndStay = [&] {
        void* pEffect = nullptr;
        factory->CreateInstance(nullptr, IID_IUnknown, &pEffect);
        ::SetEvent(thrown.get());
        ::Sleep(INFINITE);
    };
    for (const char* const function : {"malloc", "calloc", "realloc", "HeapAlloc"}) {
        imports.redirect(
            function, +[]() -> void* { return nullptr; });
    }
    std::list<SystemThread> threads;
    while (threads.size() < 65) {
        threads.emplace_back(throwAndStay);
        ::WaitForSingleObject(thrown.get(), 5000);
    }
    ::TerminateProcess(::GetCurrentProcess(), 1);
}

TEST(ModuleDeathTest, AModuleThatCannotGoOnEndsTheProcessWithoutAMessageBox) {
    constexpr auto failedFast = static_cast<int>(0xC0000602);
    EXPECT_EXIT(exhaustTheReserveForExceptions(), testing::ExitedWithCode(failedFast), "");
}

/// Plays 0.1 until the effect gives `wanted`.
bool playUntil(Effect& effect, float wanted) {
    return becomesTrue(
        [&] { return std::fabs(effect.process(std::vector<float>(960, 0.1F), 2, 2).back() - wanted) < 1e-4F; });
}

/// One whole life of the module with a stream in it whose settings change.
void liveOnce(SettingsWriter& settings, const char* text) {
    settings.write(text);
    const ModuleUnderTest module;
    Effect effect(module.create());
    ASSERT_EQ(effect.initialize(), S_OK);
    FormatDouble request(floatFormat(2, 5.0F));
    FormatDouble output(floatFormat(2));
    ASSERT_EQ(negotiate(*effect.apo, &output, &request).result, S_FALSE);
    ASSERT_EQ(effect.lock(floatFormat(2), floatFormat(2), 64), S_OK);
    ASSERT_GT(effect.process(std::vector<float>(128, 0.1F), 2, 2).front(), 0.15F);
    settings.change("Boost: 0 dB 1");
    ASSERT_TRUE(playUntil(effect, 0.1F));
    ASSERT_EQ(effect.config->UnlockForProcess(), S_OK);
}

/// More for a long run.
int timesOf(const char* variable, int usual) {
    const char* const pText = std::getenv(variable);
    return pText != nullptr ? std::atoi(pText) : usual;
}

TEST(ModuleSlow, WholeLivesLeaveNothingBehind) {
    SettingsWriter settings("");
    const auto live = [&settings](int lives) {
        for (int i = 0; i < lives; ++i) {
            const char* const text = i % 10 == 0 ? "Boost: 60 dB 1\nEqualizer: 100 3" : "Boost: 60 dB 1";
            SystemThread([&] { liveOnce(settings, text); }).join();
        }
    };
    live(20);
    const auto before = OwnResources::now();
    const int lives = timesOf("TOVIX_LIVES", 100);
    live(lives);
    EXPECT_EQ(::GetModuleHandleW(L"Tovix64.dll"), nullptr);
    EXPECT_EQ(settledAt(before), before);
    std::printf("%d lives: %s\n", lives, testing::PrintToString(before).c_str());
}

TEST(ModuleSlow, ChangesOfAPlayingStreamLeaveNothingBehind) {
    SettingsWriter settings("");
    const ModuleUnderTest module;
    Effect effect(module.create());
    ASSERT_EQ(effect.lock(floatFormat(2), floatFormat(2), 480), S_OK);
    const auto change = [&](int changes) {
        for (int i = 1; i <= changes; ++i) {
            const int tenthsOfDb = i % 2 == 0 ? 20 : 60;
            settings.change("Boost: " + std::to_string(tenthsOfDb) +
                            (i % 10 < 2 ? " dB 1\nEqualizer: 100 0 1000 0\nMaximizer: 0 dB" : " dB 1"));
            ASSERT_TRUE(playUntil(effect, 0.1F * std::pow(10.0F, static_cast<float>(tenthsOfDb) / 200.0F)));
        }
    };
    change(100);
    const auto before = OwnResources::now();
    const std::size_t privateBytes = ownPrivateBytes();
    const int changes = timesOf("TOVIX_CHANGES", 500);
    change(changes);
    EXPECT_EQ(settledAt(before), before);
    EXPECT_LE(ownPrivateBytes(), privateBytes + (1U << 20U));
    std::printf("%d changes: %s, %zu private bytes before, %zu after\n", changes,
                testing::PrintToString(before).c_str(), privateBytes, ownPrivateBytes());
}

} // namespace
} // namespace tovix::test
